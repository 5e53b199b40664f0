// Reading the save files back: one record interpreter for both files, which creates entities
// and applies every further record to the entity created last.
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "base/LogChat.h"
#include "base/MessageBox.h"
#include "base/Settings.h"
#include "core/Server.h"
#include "game/GameConstants.h"
#include "net/Packet.h"
#include "persist/Server_File.h"
#include "platform/Console.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "world/Server_EntityKinds.h"

namespace {

constexpr uint32_t kMaxLoadedEnergy = 20'000;
constexpr uint32_t kMaxLoadedPocketCoins = 2'000'000'000;
constexpr uint16_t kMaxAdminLevel = 100;
constexpr float kMinPowerupSpawnHeight = 8.0f;
constexpr float kMaxSpiritOfZorbinTime = 10.0f;
constexpr uint32_t kPrincessTurnSlots = 5;
constexpr uint32_t kPlayerScanSlots = 6;
constexpr uint32_t kZorbinTurnSlots = 6;

// The state of one pass over one file.
class LoadState {
public:
    LoadState(Server* server, Packet* in) : m_pServer(server), m_pIn(in) {}
    LoadState(const LoadState&) = delete;
    LoadState& operator=(const LoadState&) = delete;

    // Short reads leave the missing bytes zero.
    uint8_t U8() { return Read<uint8_t>(); }
    uint32_t U32() { return Read<uint32_t>(); }
    float F32() { return Read<float>(); }
    VUKVector Vec() {
        VUKVector v;
        v.x = F32();
        v.y = F32();
        v.z = F32();
        return v;
    }
    // The text stays valid until the next string is read.
    const std::string& Str() {
        m_pIn->ReadString(m_strText);
        return m_strText;
    }

    Server_Player* Player() const {
        return m_pCurrent && m_pCurrent->GetKind() == kKindPlayer ? static_cast<Server_Player*>(m_pCurrent) : nullptr;
    }

    // Records that re-file an entity all act on the newest one, behind which nothing else gets
    // filed; filing it once, when it is complete, leaves every array and zone as re-filing after
    // each of those records would, at a fraction of the cost. (A hand-made file whose records
    // change a flag without re-filing, say a tag pad made by its amount alone, gets the entity
    // filed by its final flags.)
    void BeginEntity(Server_Entity* e) {
        FileCurrent();
        m_pCurrent = e;
    }
    void FileCurrent() {
        if (m_pCurrent) m_pServer->AddEntityToZonesAndGroups(m_pCurrent);
        m_pCurrent = nullptr;
    }

    Server* m_pServer;
    Packet* m_pIn;
    const Setting* m_pSetting = nullptr; // the row of a setting record being read
    LoadError m_Error = LoadError::None;
    Server_Entity* m_pCurrent = nullptr;
    const std::string* m_pLastLabel = nullptr;
    uint32_t m_uiPrincessTurn = 0;
    uint32_t m_uiPlayerScan = 0;
    uint32_t m_uiZorbinTurn = 0;
    uint32_t m_uiSkipLength = 0;
    bool m_bMaySkip = false;

private:
    // A whole field is copied in one load; the packet's own reads go byte by byte, which costs
    // more than the rest of loading an entity.
    template <typename T> T Read() {
        T v{};
        if (m_pIn->Remaining() >= sizeof(T)) {
            std::memcpy(&v, m_pIn->Data() + m_pIn->m_uiReadPos, sizeof(T));
            m_pIn->m_uiReadPos += uint32_t(sizeof(T));
        } else {
            m_pIn->ReadBytes(&v, m_pIn->Remaining());
        }
        return v;
    }

    std::string m_strText;
};

using RecordReader = void (*)(LoadState&);

// ---- entities ----------------------------------------------------------------------------------

bool IsLoadableKind(uint8_t kind) {
    switch (kind) {
    case kKindPlayer:
    case kKindNormalPad:
    case kKindTalvyCube:
    case kKindOrisetCube:
    case kKindZorbinCube:
    case kKindPalaceCube:
    case kKindQuillhobCube:
        return true;
    default:
        return false;
    }
}

void ReadPlayerTail(LoadState& s, Server_Player* p) {
    p->SetFlag(kPlayerByte10Bit1, false);
    p->m_fJumpBonus = 0.0f;
    p->m_strName = s.Str();
    Server::ApplyFilteringToName(p);
    p->m_strPassword = s.Str();
    uint32_t energy = s.U32();
    p->m_uiEnergy = energy > kMaxLoadedEnergy ? kMaxLoadedEnergy : energy;
    s.U8();
    bool keepModal = s.U8() != 0;
    p->SetFlag(kPlayerMessageWindow, keepModal);
    p->SetFlag(kPlayerSavedBit0, s.U8() != 0);
    const std::string& modal = s.Str();
    if (keepModal)
        p->m_strModalText = modal;
    else
        p->m_strModalText.clear();
    uint32_t coins = s.U32();
    p->m_i64PocketCoins = coins > kMaxLoadedPocketCoins ? kMaxLoadedPocketCoins : coins;
    p->m_vStartPoint = s.Vec();
    p->m_vRespawnPoint = s.Vec();
    p->SetPlayerMoving(true);
    p->m_uiScanCounter = s.m_uiPlayerScan;
    s.m_uiPlayerScan = (s.m_uiPlayerScan + 1) % kPlayerScanSlots;
}

void ReadNormalPadTail(LoadState& s, Server_Entity* pad) {
    Server_Entity::SetBit(pad->m_ucRuleFlags, kRulePyramid, s.U8() != 0);
    bool hasReward = s.U8() != 0;
    Server_Entity::SetBit(pad->m_ucRuleFlags, kRulePrincessReward, hasReward);
    s.U8();
    s.U8();
    uint32_t reward = s.U32();
    if (hasReward) pad->SetEEA(kEEAPrincessReward, reward);
}

int16_t TakeTurn(uint32_t& counter, uint32_t slots) {
    int16_t slot = int16_t(counter);
    counter = (counter + 1) % slots;
    return slot;
}

void Read_FILE_ADD_ENTITY(LoadState& s) {
    uint8_t kind = s.U8();
    if (kind == kKindFireBlock) {
        s.m_Error = LoadError::FireBlockEntity;
        return;
    }
    if (!IsLoadableKind(kind)) {
        s.m_Error = LoadError::BadEntityType;
        return;
    }

    Server_Entity* e = World::CreateByType(kind);
    s.BeginEntity(e);
    e->m_vPosition = s.Vec();
    e->m_vSize = s.Vec();
    e->SetYaw(s.F32());
    e->m_vTextureScale = s.Vec();
    uint16_t texture = uint16_t(s.U32());
    e->m_usTexture = texture == 0 ? 8 : texture;
    uint32_t mode = s.U32();
    e->SetTextureMode(e->m_usTexture == kTexturePowerupPad ? 1 : uint8_t(mode & 3));

    switch (kind) {
    case kKindPlayer:
        ReadPlayerTail(s, static_cast<Server_Player*>(e));
        break;
    case kKindNormalPad:
        ReadNormalPadTail(s, e);
        break;
    case kKindTalvyCube: {
        auto* cube = static_cast<Server_TalvyCube*>(e);
        cube->m_vHomePoint = s.Vec();
        cube->m_sTurnSlot = TakeTurn(s.m_uiPrincessTurn, kPrincessTurnSlots);
        break;
    }
    case kKindOrisetCube: {
        auto* cube = static_cast<Server_OrisetCube*>(e);
        cube->m_fHoverHeight = s.F32();
        cube->m_vHomePoint = s.Vec();
        cube->m_sTurnSlot = TakeTurn(s.m_uiPrincessTurn, kPrincessTurnSlots);
        break;
    }
    case kKindZorbinCube: {
        auto* cube = static_cast<Server_ZorbinCube*>(e);
        cube->SetMoving(true);
        cube->m_uiTurnSlot = uint32_t(TakeTurn(s.m_uiZorbinTurn, kZorbinTurnSlots));
        cube->m_uiStoredCoins = cube->m_usTexture == kTextureIRSCube ? kCostIRSCube : kCostZorbinCube;
        break;
    }
    default:
        break;
    }
}

void Read_NORMALPAD_EXTENSION_ONE(LoadState& s) {
    uint8_t flags1 = s.U8();
    uint8_t flags2 = s.U8();
    const std::string& message = s.Str();
    Server_Entity* pad = s.m_pCurrent;
    if (pad) {
        Server_Entity::SetBit(pad->m_ucRuleFlags, kRuleZorbinBuildAllowed, (flags1 & 0x02) == 0);
        if (flags2 & 0x01)
            pad->GetOrCreateGoalPad()->m_strMessage = message;
        else
            pad->DeleteGoalPad();
        bool wasTagPad = pad->IsTagPad();
        Server_Entity::SetBit(pad->m_ucSurfaceFlags, kSurfaceTagPad, (flags2 & 0x02) != 0);
        if (!wasTagPad && pad->IsTagPad()) pad->SetEEA(kEEATagPayout, kTagPadStartingPayout);
        Server_Entity::SetBit(pad->m_ucSurfaceFlags, kSurfaceNoFly, (flags2 & 0x04) != 0);
        Server_Entity::SetBit(pad->m_ucSurfaceFlags, kSurfaceFlyAgain, (flags2 & 0x08) != 0);
    }
    uint32_t reward = s.U32();
    VUKVector respawn = s.Vec();
    if (!pad) return;
    if (pad->m_ucRuleFlags & kRulePrincessReward) pad->SetEEA(kEEAPrincessReward, reward);
    if (pad->m_pGoalPad) pad->m_pGoalPad->m_vRespawnPoint = respawn;
}

void Read_NORMALPAD_EXTENSION_TWO(LoadState& s) {
    uint32_t reward = s.U32();
    if (s.m_pCurrent && s.m_pCurrent->m_pGoalPad) s.m_pCurrent->m_pGoalPad->m_iCoinReward = int32_t(reward);
}

void Read_IgnoredU32(LoadState& s) { s.U32(); }

void Read_Nothing(LoadState&) {}

void Read_NORMALPAD_TEXTURE_68(LoadState& s) {
    uint32_t texture = s.U32();
    if (s.m_pCurrent) s.m_pCurrent->m_usTexture = uint16_t(texture);
}

void Read_TEMP_POWERUP_TABLE_ADD(LoadState& s) {
    VUKVector point = s.Vec();
    uint32_t id = s.U32();
    // Entries below the ground level of powerups are leftovers of a retired layout.
    if (point.y < kMinPowerupSpawnHeight) return;
    s.m_pServer->m_PowerupTablePositions.Append(new VUKVector(point));
    s.m_pServer->m_PowerupTableTypes.push_back(id);
}

void Read_PLAYER_TEMP_EFFECTS(LoadState& s) {
    Server_Player* p = s.Player();
    for (int slot = 0; slot < kPlayerEffectSlots; ++slot) {
        const std::string& name = s.Str();
        float time = s.F32();
        uint32_t id = s.U32();
        if (!p) continue;
        if (id == kPowerupSpiritOfZorbin && time > kMaxSpiritOfZorbinTime) time = kMaxSpiritOfZorbinTime;
        p->m_strEffectNames[slot] = name;
        p->m_fEffectTimes[slot] = time;
        p->m_uiEffectIds[slot] = id;
    }
}

void Read_EXTRA_ROTATION(LoadState& s) {
    float pitch = s.F32();
    float roll = s.F32();
    if (!s.m_pCurrent) return;
    s.m_pCurrent->SetPitch(pitch);
    s.m_pCurrent->SetRoll(roll);
}

void Read_BOUNCY_PAD(LoadState& s) {
    uint32_t amount = s.U32();
    if (s.m_pCurrent) s.m_pCurrent->SetEEA(kEEABounce, amount);
}

void Read_PLAYER_CREATED_BLOCK(LoadState& s) {
    bool built = s.U8() != 0;
    s.U32();
    Server_Entity* e = s.m_pCurrent;
    if (!e) return;
    Server_Entity::SetBit(e->m_ucSurfaceFlags, kSurfacePlayerBuilt, built);
    if (built) {
        e->m_ucMoveState = 0;
        e->SetMoving(true);
    }
    e->m_uiStoredCoins = e->m_usTexture == kTextureBuildingBlock ? kCostBuildingBlock : kCostStoneBlock;
}

void Read_Label(LoadState& s) {
    const std::string& text = s.Str();
    // Pads of one area tend to share a label: skip the walk through the label cache then.
    if (!s.m_pLastLabel || *s.m_pLastLabel != text) s.m_pLastLabel = Entity::CacheLabel(text);
    if (s.m_pCurrent) s.m_pCurrent->m_pLabel = s.m_pLastLabel;
}

void Read_NP_LABEL_SAME_AS_LAST(LoadState& s) {
    if (s.m_pCurrent) s.m_pCurrent->m_pLabel = s.m_pLastLabel;
}

void Read_OFFPLAYER_COINS(LoadState& s) {
    uint32_t value = s.U32();
    if (Server_Player* p = s.Player()) p->m_i64PropertyValue = value;
}

void Read_ADMIN_LEVEL(LoadState& s) {
    int16_t level = int16_t(uint16_t(s.U32()));
    // The field is unsigned: a negative level would read as one far above 100.
    if (level < 0 || level > int16_t(kMaxAdminLevel)) level = 0;
    if (Server_Player* p = s.Player()) p->m_usAdminLevel = uint16_t(level);
}

void Read_ADMIN_PERMIT_COIN_CHANGING(LoadState& s) {
    bool permitted = s.U8() != 0;
    if (Server_Player* p = s.Player()) p->SetFlag(kPlayerCoinCommands, permitted);
}

void Read_TICKS_SINCE_LAST_LOGIN(LoadState& s) {
    uint32_t ticks = s.U32();
    if (Server_Player* p = s.Player()) p->m_uiTicksSinceLastLogin = ticks;
}

void Read_PLAYER_TEAMNAME(LoadState& s) {
    const std::string& team = s.Str();
    if (Server_Player* p = s.Player()) p->m_strTeamName = team;
}

void Read_ENTITY_LIFTINFO(LoadState& s) {
    bool running = s.U8() != 0;
    VUKVector start = s.Vec();
    VUKVector end = s.Vec();
    float speed = s.F32();
    Server_Entity* e = s.m_pCurrent;
    if (!e) return;
    LiftStuff* lift = e->GetOrCreateLift();
    lift->m_bRunning = running;
    lift->m_vStart = start;
    lift->m_vEnd = end;
    lift->m_fSpeed = speed;
    e->m_ucMoveState = 0;
}

void Read_IGNORE_LIST_ENTRY(LoadState& s) {
    const std::string& name = s.Str();
    if (Server_Player* p = s.Player()) p->m_IgnoreList.Append(new std::string(name));
}

void Read_PALACECUBE_HP(LoadState& s) {
    uint32_t hitPoints = s.U32();
    if (s.m_pCurrent && s.m_pCurrent->GetKind() == kKindPalaceCube)
        static_cast<Server_PalaceCube*>(s.m_pCurrent)->m_uiHitPoints = hitPoints;
}

void Read_TAGPAD_AMOUNT(LoadState& s) {
    uint32_t payout = s.U32();
    Server_Entity* e = s.m_pCurrent;
    if (!e) return;
    e->m_ucSurfaceFlags |= kSurfaceTagPad;
    e->SetEEA(kEEATagLockTime, 10'800);
    e->SetEEA(kEEATagPayout, payout);
}

void Read_ALPHA_BLEND_FACTOR(LoadState& s) {
    uint8_t alpha = s.U8();
    if (s.m_pCurrent) s.m_pCurrent->SetEEA(kEEAInverseAlpha, 255u - alpha);
}

void Read_TAGPAD_LOCK_TIME(LoadState& s) {
    uint32_t left = s.U32();
    if (s.m_pCurrent) s.m_pCurrent->SetEEA(kEEATagLockLeft, left);
}

void Read_TAGPAD_STARTING_LOCK_TIME(LoadState& s) {
    uint32_t lockTime = s.U32();
    if (s.m_pCurrent) s.m_pCurrent->SetEEA(kEEATagLockTime, lockTime);
}

void Read_STORED_COINS(LoadState& s) {
    uint32_t coins = s.U32();
    if (s.m_pCurrent) s.m_pCurrent->m_uiStoredCoins = coins;
}

// Every saved setting: its table row gives the field's type and the limits of a loaded value.
void Read_Setting(LoadState& s) {
    const Setting& row = *s.m_pSetting;
    if (row.m_Type == SettingType::Bool) {
        row.Set(s.m_pServer, s.U8() != 0 ? 1.0 : 0.0);
        return;
    }
    row.SetBits(s.m_pServer, s.U32());
    double value = row.Get(s.m_pServer);
    double clamped = row.m_Load.Clamp(value);
    if (clamped != value && value == value) row.Set(s.m_pServer, clamped);
}

void Read_WAS_MOVING_AT_SAVE_TIME(LoadState& s) {
    bool moving = s.U8() != 0;
    if (s.m_pCurrent) s.m_pCurrent->SetMoving(moving);
}

void Read_QVS_SOLEXIS(LoadState& s) {
    uint32_t solexis = s.U32();
    platform::ConsolePrintf("(Read) We read a QVS_SOLEXIS from the datafile!\n");
    if (s.m_pCurrent) s.m_pCurrent->GetOrCreateGoalPad()->m_iSolexis = int32_t(solexis);
}

void Read_QVS_ENTITY_JAIL_DISALLOW(LoadState& s) {
    bool on = s.U8() != 0;
    platform::ConsolePrintf("(Read) We read a QVS_ENTITY_JAIL_DISSALOW from the datafile!\n");
    if (s.m_pCurrent) Server_Entity::SetBit(s.m_pCurrent->m_ucSurfaceFlags, kSurfaceJail, on);
}

void Read_QVS_ENTITY_JAIL_RELEASE(LoadState& s) {
    bool on = s.U8() != 0;
    platform::ConsolePrintf("(Read) We read a QVS_ENTITY_JAIL_RELEASE from the datafile!\n");
    if (s.m_pCurrent) Server_Entity::SetBit(s.m_pCurrent->m_ucSurfaceFlags, kSurfaceJailRelease, on);
}

void Read_ENTITY_SPLINELIFTINFO(LoadState& s) {
    bool running = s.U8() != 0;
    float speed = s.F32();
    float parameter = s.F32();
    uint32_t count = s.U32();
    // A hostile count cannot ask for more points than the file still holds.
    uint32_t available = s.m_pIn->Remaining() / 12;
    if (count > available) count = available;
    LiftStuff* lift = s.m_pCurrent ? s.m_pCurrent->GetOrCreateLift() : nullptr;
    if (lift) {
        lift->m_bSpline = true;
        lift->m_bFinalized = true;
        lift->m_bRunning = running;
        lift->m_fSpeed = speed;
        lift->m_fSplineParameter = parameter;
    }
    for (uint32_t i = 0; i < count; ++i) {
        VUKVector point = s.Vec();
        if (lift) lift->m_ControlPoints.Append(new VUKVector(point));
    }
}

struct ReaderRow {
    uint8_t m_ucCode;
    RecordReader m_pRead;
};

// What a record code does: its reader, and the settings row when it carries a setting.
struct RecordAction {
    RecordReader m_pRead = nullptr;
    const Setting* m_pSetting = nullptr;
};

constexpr ReaderRow kReaders[] = {
    {KRV_FILE_ADD_ENTITY, Read_FILE_ADD_ENTITY},
    {KRV_LAST_ENTITY_RESTRICTED, Read_Nothing},
    {KRV_NORMALPAD_EXTENSION_ONE, Read_NORMALPAD_EXTENSION_ONE},
    {KRV_NORMALPAD_EXTENSION_TWO, Read_NORMALPAD_EXTENSION_TWO},
    {KRV_PLAYER_FB_STRENGTH, Read_IgnoredU32},
    {KRV_NORMALPAD_TEXTURE_68, Read_NORMALPAD_TEXTURE_68},
    {KRV_TEMP_POWERUP_TABLE_ADD, Read_TEMP_POWERUP_TABLE_ADD},
    {KRV_PLAYER_TEMP_EFFECTS, Read_PLAYER_TEMP_EFFECTS},
    {KRV_EXTRA_ROTATION, Read_EXTRA_ROTATION},
    {KRV_BOUNCY_PAD, Read_BOUNCY_PAD},
    {KRV_PLAYER_CREATED_BLOCK, Read_PLAYER_CREATED_BLOCK},
    {KRV_ZORBINCUBE_OWNER_NAME, Read_Label},
    {KRV_OFFPLAYER_COINS, Read_OFFPLAYER_COINS},
    {KRV_NP_LABEL, Read_Label},
    {KRV_ADMIN_LEVEL, Read_ADMIN_LEVEL},
    {KRV_NP_NETWORTH, Read_IgnoredU32},
    {KRV_ZC_NETWORTH, Read_IgnoredU32},
    {KRV_ADMIN_PERMIT_COIN_CHANGING, Read_ADMIN_PERMIT_COIN_CHANGING},
    {KRV_TICKS_SINCE_LAST_LOGIN, Read_TICKS_SINCE_LAST_LOGIN},
    {KRV_PLAYER_TEAMNAME, Read_PLAYER_TEAMNAME},
    {KRV_ENTITY_LIFTINFO, Read_ENTITY_LIFTINFO},
    {KRV_STONEBLOCK_BONUS, Read_IgnoredU32},
    {KRV_IGNORE_LIST_ENTRY, Read_IGNORE_LIST_ENTRY},
    {KRV_PALACECUBE_HP, Read_PALACECUBE_HP},
    {KRV_TAGPAD_AMOUNT, Read_TAGPAD_AMOUNT},
    {KRV_ALPHA_BLEND_FACTOR, Read_ALPHA_BLEND_FACTOR},
    {KRV_TAGPAD_LOCK_TIME, Read_TAGPAD_LOCK_TIME},
    {KRV_STORED_COINS, Read_STORED_COINS},
    {KRV_TAGPAD_STARTING_LOCK_TIME, Read_TAGPAD_STARTING_LOCK_TIME},
    {KRV_WAS_MOVING_AT_SAVE_TIME, Read_WAS_MOVING_AT_SAVE_TIME},
    {KRV_NP_LABEL_SAME_AS_LAST, Read_NP_LABEL_SAME_AS_LAST},
    {QVS_SOLEXIS, Read_QVS_SOLEXIS},
    {QVS_ENTITY_JAIL_DISALLOW, Read_QVS_ENTITY_JAIL_DISALLOW},
    {QVS_ENTITY_JAIL_RELEASE, Read_QVS_ENTITY_JAIL_RELEASE},
    {KRV_ENTITY_SPLINELIFTINFO, Read_ENTITY_SPLINELIFTINFO},
};

const std::array<RecordAction, 256>& Actions() {
    static const std::array<RecordAction, 256> table = [] {
        std::array<RecordAction, 256> t{};
        for (const ReaderRow& row : kReaders) t[row.m_ucCode].m_pRead = row.m_pRead;
        for (size_t i = 0; i < g_uiSettingCount; ++i) {
            const Setting& setting = g_Settings[i];
            if (!setting.m_szRecord) continue;
            for (const KRVCommandName* c = g_KRVCommandNames; c->m_szName; ++c)
                if (std::strcmp(c->m_szName, setting.m_szRecord) == 0) t[c->m_ucCode] = {Read_Setting, &setting};
        }
        return t;
    }();
    return table;
}

bool ReadVersion(Packet* packet, uint8_t lowest) {
    uint8_t version = 0;
    packet->ReadByte(version);
    return version >= lowest && version <= kKRVFileVersion;
}

} // namespace

const char* LoadErrorText(LoadError error) {
    switch (error) {
    case LoadError::None:
    case LoadError::FireBlockEntity:
        return nullptr;
    case LoadError::BadEntityType:
        return "Loading World Error: Bad Entity Type In Data File";
    case LoadError::BadCommandByte:
        return "Loading World Error: Bad Command Byte In Data File";
    }
    return nullptr;
}

void EndProgramAfterLoadError(LoadError error) {
    if (const char* text = LoadErrorText(error)) ShowMessageBox(text, "Loading World Error");
    platform::TerminateProcess(1);
}

LoadError Server::LoadRoutine() {
    {
        Packet world;
        if (!ReadKRVFileToPacket(&world, kWorldFileName)) {
            m_bPlayersFileNotLoaded = platform::FileExists(kPlayersFileName);
            return LoadError::None;
        }
        if (ReadVersion(&world, 5)) {
            if (LoadError error = LoadRoutineV5(&world); error != LoadError::None) return error;
        } else {
            m_bWorldFileNotLoaded = true;
            ShowMessageBox("Incorrect load file", "VUK Server LoadRoutine");
        }
    }
    MakeAllPowerupsSpawn();
    {
        Packet players;
        if (ReadKRVFileToPacket(&players, kPlayersFileName)) {
            if (ReadVersion(&players, 6)) {
                if (LoadError error = LoadRoutineV5(&players); error != LoadError::None) return error;
            } else {
                m_bPlayersFileNotLoaded = true;
                ShowMessageBox("Incorrect load player file", "VUK Server LoadRoutine");
            }
        }
    }
    MatchZorbinsWithPlayers();
    DeterminePlayerRankings();
    if (m_Grid.m_uiClampedFilings) {
        char line[160];
        std::snprintf(line, sizeof line, "Entities too large to file whole: %u; each is filed around its centre only",
                      m_Grid.m_uiClampedFilings);
        LogChat("LOG", line);
    }
    return LoadError::None;
}

LoadError Server::LoadRoutineV5(Packet* packet) {
    const std::array<RecordAction, 256>& actions = Actions();
    LoadState s(this, packet);
    std::string name;
    while (packet->Remaining() > 0) {
        uint8_t code = s.U8();
        if (code == KRV_NAMED_RECORD) {
            packet->ReadString(name);
            s.m_uiSkipLength = s.U32();
            s.m_bMaySkip = true;
            code = LoadRoutine_TranslateStringToCommand(name);
        } else if (code == KRV_SKIP_MARKER) {
            s.m_uiSkipLength = s.U32();
            s.m_bMaySkip = true;
            continue;
        }
        const RecordAction& action = actions[code];
        if (action.m_pRead) {
            s.m_pSetting = action.m_pSetting;
            action.m_pRead(s);
            if (s.m_Error != LoadError::None) break;
        } else if (s.m_bMaySkip) {
            packet->Skip(s.m_uiSkipLength);
        } else {
            s.m_Error = LoadError::BadCommandByte;
            break;
        }
        s.m_bMaySkip = false;
    }
    // What was read before a failure belongs to the world too, so that it is torn down with it.
    s.FileCurrent();
    return s.m_Error;
}
