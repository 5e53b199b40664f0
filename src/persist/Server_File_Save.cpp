// The two save routines: the world without players to "KRV1_Data.krv", the players and their
// property to "VUK_Players.krv". Each builds its whole file in one packet, then writes it.
#include "core/Server.h"
#include "core/Tunables.h"
#include "net/Packet.h"
#include "persist/Server_File.h"
#include "platform/Console.h"
#include "world/Server_Entity.h"

namespace {

class SaveWriter {
public:
    explicit SaveWriter(Packet* out) : m_pOut(out) { m_pOut->AppendByte(kKRVFileVersion); }

    // Doubling ahead keeps a file of any size to a handful of reallocations.
    void ReserveAhead() {
        if (m_pOut->Length() > m_pOut->Capacity() / 2) m_pOut->Reserve(m_pOut->Capacity() * 2);
    }

    void RawU32(uint8_t code, uint32_t value) {
        m_pOut->AppendByte(code);
        m_pOut->AppendU32(value);
    }

    // Named records share one payload packet, so a save allocates nothing per record.
    Packet& Payload() {
        m_Payload.Clear();
        return m_Payload;
    }
    void Named(const char* name) { Append_KRV_StringCommand(m_pOut, name, &m_Payload); }
    void NamedU32(const char* name, uint32_t value) {
        Payload().AppendU32(value);
        Named(name);
    }
    void NamedByte(const char* name, uint8_t value) {
        Payload().AppendByte(value);
        Named(name);
    }
    void NamedFloat(const char* name, float value) {
        Payload().AppendFloat(value);
        Named(name);
    }
    void NamedString(const char* name, const std::string& value) {
        Payload().AppendString(value);
        Named(name);
    }

    void Label(const Server_Entity* e, uint8_t code) {
        const std::string* label = e->m_pLabel;
        if (!label) return;
        // Equal labels share one cached string, so comparing pointers compares the texts.
        if (g_bCompactSaveMode && label == m_pLastLabel) {
            m_pOut->AppendByte(KRV_NP_LABEL_SAME_AS_LAST);
            return;
        }
        m_pOut->AppendByte(code);
        m_pOut->AppendString(*label);
        m_pLastLabel = label;
    }

    void ExtraRotation(const Server_Entity* e) {
        m_pOut->AppendByte(KRV_EXTRA_ROTATION);
        m_pOut->AppendFloat(e->GetPitch());
        m_pOut->AppendFloat(e->GetRoll());
    }

    void BouncyPad(const Server_Entity* e) {
        if (uint32_t bounce = e->GetEEA(kEEABounce)) RawU32(KRV_BOUNCY_PAD, bounce);
    }

    void WasMovingAtSaveTime(const Server_Entity* e) {
        // A loaded cube or block starts out moving, so only the resting state needs a record.
        if (!e->IsMoving()) NamedByte("KRV_WAS_MOVING_AT_SAVE_TIME", 0);
    }

    Packet* Out() { return m_pOut; }

private:
    Packet* m_pOut;
    Packet m_Payload;
    const std::string* m_pLastLabel = nullptr;
};

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

void AppendNormalPadRecords(SaveWriter& w, const Server_Entity* pad) {
    Packet* out = w.Out();
    const GoalPadStuff* goal = pad->m_pGoalPad;
    uint8_t flags1 = (pad->m_ucRuleFlags & kRuleZorbinBuildAllowed) ? 0 : 0x02;
    uint8_t flags2 = uint8_t((goal ? 0x01 : 0) | ((pad->m_ucSurfaceFlags & kSurfaceTagPad) ? 0x02 : 0) |
                             ((pad->m_ucSurfaceFlags & kSurfaceNoFly) ? 0x04 : 0) |
                             ((pad->m_ucSurfaceFlags & kSurfaceFlyAgain) ? 0x08 : 0));
    out->AppendByte(KRV_NORMALPAD_EXTENSION_ONE);
    out->AppendByte(flags1);
    out->AppendByte(flags2);
    out->AppendString(goal ? std::string_view(goal->m_strMessage) : std::string_view());
    out->AppendU32(pad->GetEEA(kEEAPrincessReward));
    VUKVector respawn = goal ? goal->m_vRespawnPoint : VUKVector();
    out->AppendFloat(respawn.x);
    out->AppendFloat(respawn.y);
    out->AppendFloat(respawn.z);

    if (goal && goal->m_iCoinReward > 0) w.RawU32(KRV_NORMALPAD_EXTENSION_TWO, uint32_t(goal->m_iCoinReward));
    w.BouncyPad(pad);
    w.Label(pad, KRV_NP_LABEL);
    if (pad->IsTagPad()) {
        w.NamedU32("KRV_TAGPAD_AMOUNT", pad->GetEEA(kEEATagPayout));
        if (uint32_t left = pad->GetEEA(kEEATagLockLeft)) w.NamedU32("KRV_TAGPAD_LOCK_TIME", left);
        w.NamedU32("KRV_TAGPAD_STARTING_LOCK_TIME", pad->GetEEA(kEEATagLockTime));
    }
    if (uint32_t inverseAlpha = pad->GetEEA(kEEAInverseAlpha))
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

void Server::SaveRoutine_WorldWithoutPlayers() {
    Packet packet;
    SaveWriter w(&packet);

    m_AllEntities.SortByAddresses();
    for (uint32_t i = 0; i < m_AllEntities.Count(); ++i) {
        Server_Entity* e = m_AllEntities.GetEntity(i);
        if (!IsSavedWithTheWorld(e)) continue;
        w.ReserveAhead();
        Append_KRV_FILE_ADD_ENTITY(&packet, e);
        if (e->m_usTexture == 5) e->SetTextureMode(1);
        w.ExtraRotation(e);
        Append_KRV_ENTITY_LIFTINFO(&packet, e);
        if (e->GetKind() == kKindNormalPad) AppendNormalPadRecords(w, e);
    }

    size_t entries = m_PowerupTablePositions.Length();
    if (m_PowerupTableTypes.size() < entries) entries = m_PowerupTableTypes.size();
    for (size_t i = 0; i < entries; ++i) {
        w.ReserveAhead();
        const VUKVector* point = m_PowerupTablePositions[i];
        packet.AppendByte(KRV_TEMP_POWERUP_TABLE_ADD);
        packet.AppendFloat(point->x);
        packet.AppendFloat(point->y);
        packet.AppendFloat(point->z);
        packet.AppendU32(m_PowerupTableTypes[i]);
    }

    w.ReserveAhead();
    w.NamedU32("KRV_POP_PRINCESS_SKIP", m_uiPopPrincessSkip);
    w.NamedByte("KRV_IRS_BUILD_ENABLE", m_bIRSBuildEnabled ? 1 : 0);
    w.NamedU32("KRV_UDP_SEND_BUFFER_LIMIT_CODE", g_uiUdpSendBufferLimit);
    w.NamedU32("KRV_TOTAL_SERVER_RATE_LIMIT", m_uiServerByteSendLimit);
    w.NamedU32("KRV_SET_QUILLHOB_TEXTURE", g_uiQuillhobTexture);
    w.NamedU32("KRV_REWARD_HITTING_QUILLHOB", g_uiRewardHittingQuillhob);
    w.NamedFloat("KRV_ZORBIN_SHRINK_PER_HIT", g_fZorbinShrinkPerHit);
    w.NamedFloat("KRV_STONEBLOCK_SHRINK_PER_HIT", g_fStoneBlockShrinkPerHit);
    w.NamedFloat("KRV_BUILDINGBLOCK_SHRINK_PER_HIT", g_fBuildingBlockShrinkPerHit);
    w.NamedU32("KRV_ZORBIN_COINS_STOLEN_PER_HIT", uint32_t(g_iZorbinCoinsStolenPerHit));
    w.NamedU32("KRV_PROPERTY_MOVING_GROUPS", uint32_t(g_iPropertyMovingGroups));
    w.NamedU32("KRV_MAX_PROPERTY_MOVE_PER_TICK", uint32_t(g_iMaxPropertyMovePerTick));
    w.NamedByte("KRV_COMPACT_SAVE_MODE", g_bCompactSaveMode ? 1 : 0);
    w.NamedByte("KRV_BOOL_IMPROVED_CTS_RESPONSE", g_bImprovedCTSResponse ? 1 : 0);

    WritePacketToKRVFile(&packet, kWorldFileName);
}

void Server::SaveRoutine_Players() {
    Packet packet;
    SaveWriter w(&packet);

    m_Players.SortByAddresses();
    for (uint32_t i = 0; i < m_Players.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_Players.GetEntity(i));
        w.ReserveAhead();
        Append_KRV_FILE_ADD_ENTITY_Player(&packet, player);
        w.ExtraRotation(player);
        w.RawU32(KRV_OFFPLAYER_COINS, uint32_t(player->m_i64PropertyValue));
        packet.AppendByte(KRV_PLAYER_TEMP_EFFECTS);
        for (int slot = 0; slot < kPlayerEffectSlots; ++slot) {
            packet.AppendString(player->m_strEffectNames[slot]);
            packet.AppendFloat(player->m_fEffectTimes[slot]);
            packet.AppendU32(player->m_uiEffectIds[slot]);
        }
        w.RawU32(KRV_ADMIN_LEVEL, player->m_usAdminLevel);
        packet.AppendByte(KRV_ADMIN_PERMIT_COIN_CHANGING);
        packet.AppendByte(player->GetFlag(kPlayerCoinCommands) ? 1 : 0);
        w.NamedU32("KRV_TICKS_SINCE_LAST_LOGIN", player->m_uiTicksSinceLastLogin);
        w.NamedString("KRV_PLAYER_TEAMNAME", player->m_strTeamName);
        for (const std::string* name : player->m_IgnoreList) w.NamedString("KRV_IGNORE_LIST_ENTRY", *name);
    }

    m_ZorbinCubes.SortByAddresses();
    for (uint32_t i = 0; i < m_ZorbinCubes.Count(); ++i) {
        Server_Entity* cube = m_ZorbinCubes.GetEntity(i);
        w.ReserveAhead();
        Append_KRV_FILE_ADD_ENTITY(&packet, cube);
        w.Label(cube, KRV_ZORBINCUBE_OWNER_NAME);
        Append_KRV_ENTITY_LIFTINFO(&packet, cube);
        w.NamedU32("KRV_STORED_COINS", cube->m_uiStoredCoins);
        w.WasMovingAtSaveTime(cube);
    }

    m_PalaceCubes.SortByAddresses();
    for (uint32_t i = 0; i < m_PalaceCubes.Count(); ++i) {
        auto* cube = static_cast<Server_PalaceCube*>(m_PalaceCubes.GetEntity(i));
        w.ReserveAhead();
        Append_KRV_FILE_ADD_ENTITY(&packet, cube);
        w.Label(cube, KRV_NP_LABEL);
        w.BouncyPad(cube);
        w.NamedU32("KRV_PALACECUBE_HP", cube->m_uiHitPoints);
    }

    m_PlayerBuiltPads.SortByAddresses();
    for (uint32_t i = 0; i < m_PlayerBuiltPads.Count(); ++i) {
        Server_Entity* block = m_PlayerBuiltPads.GetEntity(i);
        w.ReserveAhead();
        Append_KRV_FILE_ADD_ENTITY(&packet, block, true);
        w.BouncyPad(block);
        packet.AppendByte(KRV_PLAYER_CREATED_BLOCK);
        packet.AppendByte(1);
        packet.AppendU32(0);
        w.Label(block, KRV_NP_LABEL);
        Append_KRV_ENTITY_LIFTINFO(&packet, block);
        w.NamedU32("KRV_STORED_COINS", block->m_uiStoredCoins);
        w.WasMovingAtSaveTime(block);
    }

    WritePacketToKRVFile(&packet, kPlayersFileName);
}
