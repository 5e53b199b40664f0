// The two save routines: the world without players to "KRV1_Data.krv", the players and their
// property to "VUK_Players.krv". Each builds its whole file in one packet, then writes it.
#include <algorithm>

#include "base/Settings.h"
#include "core/Server.h"
#include "game/GameConstants.h"
#include "net/Packet.h"
#include "persist/KRVRecordBytes.h"
#include "persist/Server_File.h"
#include "platform/Console.h"
#include "world/Server_EntityKinds.h"

namespace {

class SaveWriter {
public:
    // Room for twice the usual size of an entity's records: a file of the usual make-up is then
    // built without a single doubling (the pages beyond what is written are never touched).
    SaveWriter(Packet* out, uint32_t entities) : m_pOut(out) {
        m_pOut->Reserve(size_t(entities) * 256 + 1024);
        m_pOut->AppendByte(kKRVFileVersion);
    }

    // Doubling ahead keeps a file of any size to a handful of reallocations.
    void ReserveAhead() {
        if (m_pOut->Length() > m_pOut->Capacity() / 2) m_pOut->Reserve(m_pOut->Capacity() * 2);
    }

    void RawU32(uint8_t code, uint32_t value) {
        KRVRecordBytes record;
        record.U8(code).U32(value);
        record.AppendTo(m_pOut);
    }

    void NamedU32(const char* name, uint32_t value) { Append_KRV_NamedRecord(m_pOut, name, &value, 4); }
    void NamedByte(const char* name, uint8_t value) { Append_KRV_NamedRecord(m_pOut, name, &value, 1); }
    void NamedString(const char* name, const std::string& value) {
        // One scratch buffer for every string payload of the save.
        uint32_t count = uint32_t(value.size());
        m_strPayload.assign(reinterpret_cast<const char*>(&count), 4);
        m_strPayload += value;
        Append_KRV_NamedRecord(m_pOut, name, m_strPayload.data(), uint32_t(m_strPayload.size()));
    }

    void Label(const Server_Entity* e, uint8_t code) {
        const std::string* label = e->m_pLabel;
        if (!label) return;
        // Equal labels share one cached string, so comparing pointers compares the texts.
        if (g_bCompactSaveMode && label == m_pLastLabel) {
            m_pOut->AppendByte(KRV_NP_LABEL_SAME_AS_LAST);
            return;
        }
        KRVRecordBytes record;
        record.U8(code).U32(uint32_t(label->size()));
        record.AppendTo(m_pOut);
        m_pOut->AppendBytes(label->data(), label->size());
        m_pLastLabel = label;
    }

    void ExtraRotation(const Server_Entity* e) {
        KRVRecordBytes record;
        record.U8(KRV_EXTRA_ROTATION).F32(e->GetPitch()).F32(e->GetRoll());
        record.AppendTo(m_pOut);
    }

    void BouncyPad(uint32_t bounce) {
        if (bounce) RawU32(KRV_BOUNCY_PAD, bounce);
    }

    void WasMovingAtSaveTime(const Server_Entity* e) {
        // A loaded cube or block starts out moving, so only the resting state needs a record.
        if (!e->IsMoving()) NamedByte("KRV_WAS_MOVING_AT_SAVE_TIME", 0);
    }

    Packet* Out() { return m_pOut; }

private:
    Packet* m_pOut;
    std::string m_strPayload;
    const std::string* m_pLastLabel = nullptr;
};

// The extended attributes of an entity, taken in one walk over its list.
struct Attributes {
    uint32_t m_uiValue[kEEAPrincessReward + 1] = {};

    Attributes() = default;
    explicit Attributes(const Entity* e) { Take(e->m_pEEAList); }
    void Take(const ExtendedEntityAttributeList* list) {
        if (!list) return;
        for (const ExtendedEntityAttribute* a : *list) {
            // The first attribute of an id counts, as for GetEEA.
            if (a->m_ucId <= kEEAPrincessReward && m_uiValue[a->m_ucId] == 0) m_uiValue[a->m_ucId] = a->m_uiValue;
        }
    }
    uint32_t operator[](uint8_t id) const { return m_uiValue[id]; }
};

// The attributes of a batch of entities. Each list is a chain of small heap blocks, and walking
// the lists one after the other waits on every link in turn; walking the batch one link at a
// time lets the memory loads of all its lists overlap.
constexpr uint32_t kAttributeBatch = 32;

void TakeAttributes(const VUKFastArray_Entity& entities, uint32_t first, uint32_t n, Attributes* out) {
    const ExtendedEntityAttributeList* lists[kAttributeBatch];
    for (uint32_t k = 0; k < n; ++k) lists[k] = entities.GetEntity(first + k)->m_pEEAList;
    for (uint32_t k = 0; k < n; ++k)
        if (lists[k] && !lists[k]->Empty()) __builtin_prefetch(lists[k]->Front());
    for (uint32_t k = 0; k < n; ++k) {
        out[k] = Attributes();
        out[k].Take(lists[k]);
    }
}

bool IsSavedWithTheWorld(const Server_Entity* e) {
    switch (e->GetKind()) {
    case kKindPlayer:
    case kKindFireBlock:
    case kKindZorbinCube:
    case kKindPalaceCube:
        return false;
    case kKindNormalPad:
        // Player-built blocks go with their owners; spawned powerups come from the powerup table.
        return !e->IsPlayerBuilt() && !(e->m_pGoalPad && e->m_pGoalPad->m_sType > 0);
    default:
        return true;
    }
}

void AppendNormalPadRecords(SaveWriter& w, const Server_Entity* pad, const Attributes& eea) {
    Packet* out = w.Out();
    const GoalPadStuff* goal = pad->m_pGoalPad;
    uint8_t flags1 = (pad->m_ucRuleFlags & kRuleZorbinBuildAllowed) ? 0 : 0x02;
    uint8_t flags2 = uint8_t((goal ? 0x01 : 0) | ((pad->m_ucSurfaceFlags & kSurfaceTagPad) ? 0x02 : 0) |
                             ((pad->m_ucSurfaceFlags & kSurfaceNoFly) ? 0x04 : 0) |
                             ((pad->m_ucSurfaceFlags & kSurfaceFlyAgain) ? 0x08 : 0));
    KRVRecordBytes record;
    record.U8(KRV_NORMALPAD_EXTENSION_ONE).U8(flags1).U8(flags2);
    if (goal) {
        record.AppendTo(out);
        out->AppendString(goal->m_strMessage);
    } else {
        record.U32(0);
    }
    record.U32(eea[kEEAPrincessReward]).Vec(goal ? goal->m_vRespawnPoint : VUKVector());
    record.AppendTo(out);

    if (goal && goal->m_iCoinReward > 0) w.RawU32(KRV_NORMALPAD_EXTENSION_TWO, uint32_t(goal->m_iCoinReward));
    w.BouncyPad(eea[kEEABounce]);
    w.Label(pad, KRV_NP_LABEL);
    if (pad->IsTagPad()) {
        w.NamedU32("KRV_TAGPAD_AMOUNT", eea[kEEATagPayout]);
        if (uint32_t left = eea[kEEATagLockLeft]) w.NamedU32("KRV_TAGPAD_LOCK_TIME", left);
        w.NamedU32("KRV_TAGPAD_STARTING_LOCK_TIME", eea[kEEATagLockTime]);
    }
    if (uint32_t inverseAlpha = eea[kEEAInverseAlpha])
        w.NamedByte("KRV_ALPHA_BLEND_FACTOR", uint8_t(255 - inverseAlpha));
    if (pad->m_ucSurfaceFlags & kSurfaceJail) {
        w.NamedByte("QVS_ENTITY_JAIL_DISALLOW", 1);
        platform::ConsolePrintf("(Write) We wrote a QVS_ENTITY_JAIL_DISALLOW to the datafile!\n");
    }
    if (pad->m_ucSurfaceFlags & kSurfaceJailRelease) {
        w.NamedByte("QVS_ENTITY_JAIL_RELEASE", 1);
        platform::ConsolePrintf("(Write) We wrote a QVS_ENTITY_JAIL_RELEASE to the datafile!\n");
    }
    if (goal && goal->m_iSolexis != 0) {
        w.NamedU32("QVS_SOLEXIS", uint32_t(goal->m_iSolexis));
        platform::ConsolePrintf("(Write) We wrote a QVS_SOLEXIS to the datafile!\n");
    }
}

} // namespace

void BuildWorldFile(Server* server, Packet* out) {
    VUKFastArray_Entity& entities = server->m_AllEntities;
    SaveWriter w(out, entities.Count());

    entities.SortByAddresses();
    uint32_t count = entities.Count();
    Attributes batch[kAttributeBatch];
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t k = i % kAttributeBatch;
        if (k == 0) TakeAttributes(entities, i, std::min(kAttributeBatch, count - i), batch);
        Server_Entity* e = entities.GetEntity(i);
        if (!IsSavedWithTheWorld(e)) continue;
        w.ReserveAhead();
        const Attributes& eea = batch[k];
        Append_KRV_FILE_ADD_ENTITY(out, e, false, eea[kEEAPrincessReward]);
        if (e->m_usTexture == kTexturePowerupPad) e->SetTextureMode(1);
        w.ExtraRotation(e);
        Append_KRV_ENTITY_LIFTINFO(out, e);
        if (e->GetKind() == kKindNormalPad) AppendNormalPadRecords(w, e, eea);
    }

    size_t entries = server->m_PowerupTablePositions.Length();
    if (server->m_PowerupTableTypes.size() < entries) entries = server->m_PowerupTableTypes.size();
    for (size_t i = 0; i < entries; ++i) {
        w.ReserveAhead();
        KRVRecordBytes record;
        record.U8(KRV_TEMP_POWERUP_TABLE_ADD)
            .Vec(*server->m_PowerupTablePositions[i])
            .U32(server->m_PowerupTableTypes[i]);
        record.AppendTo(out);
    }

    w.ReserveAhead();
    for (size_t i = 0; i < g_uiSettingCount; ++i) {
        const Setting& s = g_Settings[i];
        if (!s.m_szRecord) continue;
        if (s.m_Type == SettingType::Bool)
            w.NamedByte(s.m_szRecord, s.Get(server) != 0.0 ? 1 : 0);
        else
            w.NamedU32(s.m_szRecord, s.Bits(server));
    }
}

void BuildPlayersFile(Server* server, Packet* out) {
    uint32_t entities = server->m_Players.Count() + server->m_ZorbinCubes.Count() + server->m_PalaceCubes.Count() +
                        server->m_PlayerBuiltPads.Count();
    SaveWriter w(out, entities);

    VUKFastArray_Entity& players = server->m_Players;
    players.SortByAddresses();
    for (uint32_t i = 0; i < players.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(players.GetEntity(i));
        w.ReserveAhead();
        Append_KRV_FILE_ADD_ENTITY_Player(out, player);
        w.ExtraRotation(player);
        w.RawU32(KRV_OFFPLAYER_COINS, uint32_t(player->m_i64PropertyValue));
        out->AppendByte(KRV_PLAYER_TEMP_EFFECTS);
        for (int slot = 0; slot < kPlayerEffectSlots; ++slot) {
            out->AppendString(player->m_strEffectNames[slot]);
            KRVRecordBytes effect;
            effect.F32(player->m_fEffectTimes[slot]).U32(player->m_uiEffectIds[slot]);
            effect.AppendTo(out);
        }
        KRVRecordBytes admin;
        admin.U8(KRV_ADMIN_LEVEL).U32(player->m_usAdminLevel);
        admin.U8(KRV_ADMIN_PERMIT_COIN_CHANGING).U8(player->GetFlag(kPlayerCoinCommands) ? 1 : 0);
        admin.AppendTo(out);
        w.NamedU32("KRV_TICKS_SINCE_LAST_LOGIN", player->m_uiTicksSinceLastLogin);
        w.NamedString("KRV_PLAYER_TEAMNAME", player->m_strTeamName);
        for (const std::string* name : player->m_IgnoreList) w.NamedString("KRV_IGNORE_LIST_ENTRY", *name);
    }

    VUKFastArray_Entity& zorbins = server->m_ZorbinCubes;
    zorbins.SortByAddresses();
    for (uint32_t i = 0; i < zorbins.Count(); ++i) {
        Server_Entity* cube = zorbins.GetEntity(i);
        w.ReserveAhead();
        Append_KRV_FILE_ADD_ENTITY(out, cube);
        w.Label(cube, KRV_ZORBINCUBE_OWNER_NAME);
        Append_KRV_ENTITY_LIFTINFO(out, cube);
        w.NamedU32("KRV_STORED_COINS", cube->m_uiStoredCoins);
        w.WasMovingAtSaveTime(cube);
    }

    VUKFastArray_Entity& palaces = server->m_PalaceCubes;
    palaces.SortByAddresses();
    for (uint32_t i = 0; i < palaces.Count(); ++i) {
        auto* cube = static_cast<Server_PalaceCube*>(palaces.GetEntity(i));
        w.ReserveAhead();
        Append_KRV_FILE_ADD_ENTITY(out, cube);
        w.Label(cube, KRV_NP_LABEL);
        w.BouncyPad(cube->GetEEA(kEEABounce));
        w.NamedU32("KRV_PALACECUBE_HP", cube->m_uiHitPoints);
    }

    VUKFastArray_Entity& blocks = server->m_PlayerBuiltPads;
    blocks.SortByAddresses();
    for (uint32_t i = 0; i < blocks.Count(); ++i) {
        Server_Entity* block = blocks.GetEntity(i);
        w.ReserveAhead();
        Append_KRV_FILE_ADD_ENTITY(out, block, true);
        w.BouncyPad(block->GetEEA(kEEABounce));
        KRVRecordBytes created;
        created.U8(KRV_PLAYER_CREATED_BLOCK).U8(1).U32(0);
        created.AppendTo(out);
        w.Label(block, KRV_NP_LABEL);
        Append_KRV_ENTITY_LIFTINFO(out, block);
        w.NamedU32("KRV_STORED_COINS", block->m_uiStoredCoins);
        w.WasMovingAtSaveTime(block);
    }
}

void Server::SaveRoutine_WorldWithoutPlayers() {
    if (m_bWorldFileNotLoaded) MoveAsideUnloadedFile(kWorldFileName);
    m_bWorldFileNotLoaded = false;
    Packet packet;
    BuildWorldFile(this, &packet);
    WritePacketToKRVFile(&packet, kWorldFileName);
}

void Server::SaveRoutine_Players() {
    if (m_bPlayersFileNotLoaded) MoveAsideUnloadedFile(kPlayersFileName);
    m_bPlayersFileNotLoaded = false;
    Packet packet;
    BuildPlayersFile(this, &packet);
    WritePacketToKRVFile(&packet, kPlayersFileName);
}
