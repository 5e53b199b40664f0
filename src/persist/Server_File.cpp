#include "persist/Server_File.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_map>

#include "base/LogChat.h"
#include "base/Settings.h"
#include "game/GameConstants.h"
#include "net/Packet.h"
#include "persist/KRVRecordBytes.h"
#include "platform/Console.h"
#include "platform/Files.h"
#include "platform/LocalTime.h"
#include "world/Server_EntityKinds.h"

const KRVCommandName g_KRVCommandNames[] = {
    {KRV_FILE_ADD_ENTITY, "KRV_FILE_ADD_ENTITY"},
    {KRV_LAST_ENTITY_RESTRICTED, "KRV_LAST_ENTITY_RESTRICTED"},
    {KRV_NORMALPAD_EXTENSION_ONE, "KRV_NORMALPAD_EXTENSION_ONE"},
    {KRV_NORMALPAD_EXTENSION_TWO, "KRV_NORMALPAD_EXTENSION_TWO"},
    {KRV_PLAYER_FB_STRENGTH, "KRV_PLAYER_FB_STRENGTH"},
    {KRV_NORMALPAD_TEXTURE_68, "KRV_NORMALPAD_TEXTURE_68"},
    {KRV_TEMP_POWERUP_TABLE_ADD, "KRV_TEMP_POWERUP_TABLE_ADD"},
    {KRV_PLAYER_TEMP_EFFECTS, "KRV_PLAYER_TEMP_EFFECTS"},
    {KRV_EXTRA_ROTATION, "KRV_EXTRA_ROTATION"},
    {KRV_BOUNCY_PAD, "KRV_BOUNCY_PAD"},
    {KRV_PLAYER_CREATED_BLOCK, "KRV_PLAYER_CREATED_BLOCK"},
    {KRV_ZORBINCUBE_OWNER_NAME, "KRV_ZORBINCUBE_OWNER_NAME"},
    {KRV_OFFPLAYER_COINS, "KRV_OFFPLAYER_COINS"},
    {KRV_NP_LABEL, "KRV_NP_LABEL"},
    {KRV_ADMIN_LEVEL, "KRV_ADMIN_LEVEL"},
    {KRV_NP_NETWORTH, "KRV_NP_NETWORTH"},
    {KRV_ZC_NETWORTH, "KRV_ZC_NETWORTH"},
    {KRV_POP_PRINCESS_SKIP, "KRV_POP_PRINCESS_SKIP"},
    {KRV_IRS_BUILD_ENABLE, "KRV_IRS_BUILD_ENABLE"},
    {KRV_ADMIN_PERMIT_COIN_CHANGING, "KRV_ADMIN_PERMIT_COIN_CHANGING"},
    {KRV_UDP_SEND_BUFFER_LIMIT_CODE, "KRV_UDP_SEND_BUFFER_LIMIT_CODE"},
    {KRV_TICKS_SINCE_LAST_LOGIN, "KRV_TICKS_SINCE_LAST_LOGIN"},
    {KRV_PLAYER_TEAMNAME, "KRV_PLAYER_TEAMNAME"},
    {KRV_ENTITY_LIFTINFO, "KRV_ENTITY_LIFTINFO"},
    {KRV_TOTAL_SERVER_RATE_LIMIT, "KRV_TOTAL_SERVER_RATE_LIMIT"},
    {KRV_STONEBLOCK_BONUS, "KRV_STONEBLOCK_BONUS"},
    {KRV_IGNORE_LIST_ENTRY, "KRV_IGNORE_LIST_ENTRY"},
    {KRV_PALACECUBE_HP, "KRV_PALACECUBE_HP"},
    {KRV_TAGPAD_AMOUNT, "KRV_TAGPAD_AMOUNT"},
    {KRV_ALPHA_BLEND_FACTOR, "KRV_ALPHA_BLEND_FACTOR"},
    {KRV_TAGPAD_LOCK_TIME, "KRV_TAGPAD_LOCK_TIME"},
    {KRV_SET_QUILLHOB_TEXTURE, "KRV_SET_QUILLHOB_TEXTURE"},
    {KRV_STORED_COINS, "KRV_STORED_COINS"},
    {KRV_REWARD_HITTING_QUILLHOB, "KRV_REWARD_HITTING_QUILLHOB"},
    {KRV_TAGPAD_STARTING_LOCK_TIME, "KRV_TAGPAD_STARTING_LOCK_TIME"},
    {KRV_ZORBIN_SHRINK_PER_HIT, "KRV_ZORBIN_SHRINK_PER_HIT"},
    {KRV_STONEBLOCK_SHRINK_PER_HIT, "KRV_STONEBLOCK_SHRINK_PER_HIT"},
    {KRV_ZORBIN_COINS_STOLEN_PER_HIT, "KRV_ZORBIN_COINS_STOLEN_PER_HIT"},
    {KRV_PROPERTY_MOVING_GROUPS, "KRV_PROPERTY_MOVING_GROUPS"},
    {KRV_MAX_PROPERTY_MOVE_PER_TICK, "KRV_MAX_PROPERTY_MOVE_PER_TICK"},
    {KRV_COMPACT_SAVE_MODE, "KRV_COMPACT_SAVE_MODE"},
    {KRV_WAS_MOVING_AT_SAVE_TIME, "KRV_WAS_MOVING_AT_SAVE_TIME"},
    {KRV_BUILDINGBLOCK_SHRINK_PER_HIT, "KRV_BUILDINGBLOCK_SHRINK_PER_HIT"},
    {KRV_NP_LABEL_SAME_AS_LAST, "KRV_NP_LABEL_SAME_AS_LAST"},
    {KRV_BOOL_IMPROVED_CTS_RESPONSE, "KRV_BOOL_IMPROVED_CTS_RESPONSE"},
    {QVS_SOLEXIS, "QVS_SOLEXIS"},
    {QVS_ENTITY_JAIL_DISALLOW, "QVS_ENTITY_JAIL_DISALLOW"},
    {QVS_ENTITY_JAIL_RELEASE, "QVS_ENTITY_JAIL_RELEASE"},
    {KRV_ENTITY_SPLINELIFTINFO, "KRV_ENTITY_SPLINELIFTINFO"},
    {0, nullptr},
};

namespace {

const std::unordered_map<std::string_view, uint8_t>& CodesByName() {
    static const auto* index = [] {
        auto* map = new std::unordered_map<std::string_view, uint8_t>();
        for (const KRVCommandName* row = g_KRVCommandNames; row->m_szName; ++row)
            map->emplace(row->m_szName, row->m_ucCode);
        return map;
    }();
    return *index;
}

uint8_t Bit(uint8_t flags, uint8_t mask) { return (flags & mask) ? 1 : 0; }

void AppendPlayerTail(Packet* out, const Server_Player* player) {
    bool keepModal = player->GetFlag(kPlayerMessageWindow);
    out->AppendString(player->m_strName);
    out->AppendString(player->m_strPassword);
    KRVRecordBytes fields;
    fields.U32(player->m_uiEnergy).U8(0).U8(keepModal ? 1 : 0).U8(player->GetFlag(kPlayerSavedBit0) ? 1 : 0);
    fields.AppendTo(out);
    out->AppendString(keepModal ? std::string_view(player->m_strModalText) : std::string_view());
    fields.U32(uint32_t(player->m_i64PocketCoins)).Vec(player->m_vStartPoint).Vec(player->m_vRespawnPoint);
    fields.AppendTo(out);
}

void ReportWriteFailure(const std::string& path) {
    std::string text = "Could not write " + path;
    platform::ConsolePrintf("%s\n", text.c_str());
    LogChat("LOG", text.c_str());
}

} // namespace

uint8_t LoadRoutine_TranslateStringToCommand(std::string_view name) {
    uint8_t code = 0;
    if (name.size() > 4) {
        auto found = CodesByName().find(name);
        if (found != CodesByName().end()) code = found->second;
    }
    if (code == QVS_ENTITY_JAIL_RELEASE)
        platform::ConsolePrintf("(String Translate) We found a QVS_ENTITY_JAIL_RELEASE while reading the datafile!\n");
    else if (code == QVS_ENTITY_JAIL_DISALLOW)
        platform::ConsolePrintf("(String Translate) We found a QVS_ENTITY_JAIL_DISALLOW while reading the datafile!\n");
    else if (code == 0)
        platform::ConsolePrintf("LoadRoutine: Skipping over unsupported command: %s\n", std::string(name).c_str());
    return code;
}

void Append_KRV_NamedRecord(Packet* out, const char* name, const void* payload, uint32_t size) {
    uint8_t code = g_bCompactSaveMode ? LoadRoutine_TranslateStringToCommand(name) : 0;
    if (code != 0) {
        out->AppendByte(code);
        out->AppendBytes(payload, size);
        return;
    }
    uint32_t nameLength = uint32_t(std::strlen(name));
    uint8_t frame[128];
    uint32_t total = 9 + nameLength + size;
    if (total > sizeof frame) {
        out->AppendByte(KRV_NAMED_RECORD);
        out->AppendString(std::string_view(name, nameLength));
        out->AppendU32(size);
        out->AppendBytes(payload, size);
        return;
    }
    // Settings and per-entity records are short: one copy for the whole frame.
    frame[0] = KRV_NAMED_RECORD;
    std::memcpy(frame + 1, &nameLength, 4);
    std::memcpy(frame + 5, name, nameLength);
    std::memcpy(frame + 5 + nameLength, &size, 4);
    if (size) std::memcpy(frame + 9 + nameLength, payload, size);
    out->AppendBytes(frame, total);
}

void Append_KRV_StringCommand(Packet* out, const char* name, Packet* payload) {
    uint32_t count = payload->Remaining();
    Append_KRV_NamedRecord(out, name, payload->Data() + payload->m_uiReadPos, count);
    payload->m_uiReadPos += count;
}

void Append_KRV_FILE_ADD_ENTITY(Packet* out, const Server_Entity* e, bool zeroPadTail) {
    bool padTail = e->GetKind() == kKindNormalPad && !zeroPadTail;
    Append_KRV_FILE_ADD_ENTITY(out, e, zeroPadTail, padTail ? e->GetEEA(kEEAPrincessReward) : 0);
}

void Append_KRV_FILE_ADD_ENTITY(Packet* out, const Server_Entity* e, bool zeroPadTail, uint32_t princessReward) {
    KRVRecordBytes fields;
    fields.U8(KRV_FILE_ADD_ENTITY).U8(e->GetKind()).Vec(e->m_vPosition).Vec(e->m_vSize).F32(e->GetYaw());
    fields.Vec(e->m_vTextureScale).U32(e->m_usTexture).U32(e->GetTextureMode());
    switch (e->GetKind()) {
    case kKindPlayer:
        fields.AppendTo(out);
        AppendPlayerTail(out, static_cast<const Server_Player*>(e));
        return;
    case kKindNormalPad:
        if (zeroPadTail) {
            fields.U32(0).U32(0);
            break;
        }
        fields.U8(Bit(e->m_ucRuleFlags, kRulePyramid)).U8(Bit(e->m_ucRuleFlags, kRulePrincessReward));
        fields.U8(e->m_usTexture == kTexturePyramid ? 1 : 0).U8(0).U32(princessReward);
        break;
    case kKindTalvyCube:
        fields.Vec(static_cast<const Server_TalvyCube*>(e)->m_vHomePoint);
        break;
    case kKindOrisetCube: {
        auto* cube = static_cast<const Server_OrisetCube*>(e);
        fields.F32(cube->m_fHoverHeight).Vec(cube->m_vHomePoint);
        break;
    }
    default:
        break;
    }
    fields.AppendTo(out);
}

void Append_KRV_FILE_ADD_ENTITY_Player(Packet* out, const Server_Player* player) {
    Append_KRV_FILE_ADD_ENTITY(out, player);
}

void Append_KRV_ENTITY_LIFTINFO(Packet* out, const Server_Entity* e) {
    const LiftStuff* lift = e->m_pLift;
    if (!lift || (lift->m_bSpline && !lift->m_bFinalized)) return;
    if (!lift->m_bSpline) {
        KRVRecordBytes payload;
        payload.U8(lift->m_bRunning ? 1 : 0).Vec(lift->m_vStart).Vec(lift->m_vEnd).F32(lift->m_fSpeed);
        Append_KRV_NamedRecord(out, "KRV_ENTITY_LIFTINFO", payload.Data(), payload.Size());
        return;
    }
    Packet payload;
    payload.AppendBool(lift->m_bRunning);
    payload.AppendFloat(lift->m_fSpeed);
    payload.AppendFloat(lift->m_fSplineParameter);
    payload.AppendU32(uint32_t(lift->m_ControlPoints.Length()));
    for (const VUKVector* point : lift->m_ControlPoints) {
        payload.AppendFloat(point->x);
        payload.AppendFloat(point->y);
        payload.AppendFloat(point->z);
    }
    Append_KRV_StringCommand(out, "KRV_ENTITY_SPLINELIFTINFO", &payload);
}

std::string BackupFileName(const char* fileName) {
    platform::LocalTime now = platform::GetLocalTime();
    char path[512];
    std::snprintf(path, sizeof path, "backups/%d_%d_%d_%d_%d_%d_%s", now.month, now.day, now.year, now.hour, now.minute,
                  now.second, fileName);
    return path;
}

void MoveAsideUnloadedFile(const char* fileName) {
    if (!platform::FileExists(fileName)) return;
    std::string name = "not_loaded_";
    name += fileName;
    const std::string aside = BackupFileName(name.c_str());
    platform::MakeDirectory("backups");
    char line[1024];
    if (platform::RenameFile(fileName, aside))
        std::snprintf(line, sizeof line, "%s was not loaded: moved to %s before saving", fileName, aside.c_str());
    else
        std::snprintf(line, sizeof line, "%s was not loaded and could not be moved aside: it is overwritten", fileName);
    LogChat("LOG", line);
}

void WritePacketToKRVFile(Packet* packet, const char* fileName) {
    std::string_view bytes(reinterpret_cast<const char*>(packet->Data()), packet->Length());
    std::string backup = BackupFileName(fileName);
    platform::MakeDirectory("backups");
    if (!platform::WriteFileDurably(backup, bytes)) ReportWriteFailure(backup);
    if (!platform::WriteFileDurably(fileName, bytes)) ReportWriteFailure(fileName);
}

bool ReadKRVFileToPacket(Packet* packet, const char* fileName) {
    std::string contents;
    if (!platform::ReadWholeFile(fileName, &contents)) return false;
    packet->Reserve(packet->Length() + contents.size());
    packet->AppendBytes(contents.data(), contents.size());
    return true;
}
