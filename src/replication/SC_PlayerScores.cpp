// What only players get: the client's own player first in every normal update, a score entry of
// every other player whatever the distance, and the switching of client-side movement.
#include "net/Packet.h"
#include "replication/Server_Client.h"
#include "replication/UpdateMessages.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"

using namespace replication;

namespace {

// Forces a full position resync at the next position update once the server moves the player
// again.
constexpr int16_t kResyncAtNextUpdate = 30000;

// A lift or a princess cube moves the player the client stands on: the server must steer it.
bool CarriesPlayer(const Server_Entity* platform) {
    uint8_t kind = platform->GetKind();
    return (kind == kKindNormalPad && platform->m_pLift) || kind == kKindTalvyCube || kind == kKindOrisetCube;
}

uint32_t g_uiLastScoreStamp = 0;

// The mark of what a client's view must hold for the player's score entry to need nothing: the
// client's watch epoch over a stamp that changes whenever a shown value does. 0 (never matched)
// while coins or property exceed 32 bits, since the update then always names the player.
uint64_t ScoreMark(Server_Player* player, uint32_t epoch) {
    PlayerScoreStamp& s = player->m_Score;
    if ((uint64_t(player->m_i64PocketCoins) >> 32) != 0 || (uint64_t(player->m_i64PropertyValue) >> 32) != 0) return 0;
    const uint8_t status = PlayerStatusValue(player);
    if (s.m_uiStamp == 0 || status != s.m_ucStatus || player->m_i64PocketCoins != s.m_i64Coins ||
        player->m_i64PropertyValue != s.m_i64Property || player->m_strTeamName != s.m_strTeam) {
        s.m_ucStatus = status;
        s.m_i64Coins = player->m_i64PocketCoins;
        s.m_i64Property = player->m_i64PropertyValue;
        s.m_strTeam = player->m_strTeamName;
        if (++g_uiLastScoreStamp == 0) ++g_uiLastScoreStamp;
        s.m_uiStamp = g_uiLastScoreStamp;
    }
    return (uint64_t(epoch) << 32) | s.m_uiStamp;
}

} // namespace

void Server_Client::UC_ProcessUpdateOwnPlayer() {
    Server_Player* player = m_pPlayer;
    if (IsPending(player)) {
        m_pEntity = player;
        m_pView = ViewOf(player);
        if (!m_pView) {
            m_pView = NewView(kKindPlayer);
            SendIDChange();
            UC_ProcessAdd2_Generic(kKindPlayer);
            UC_Update_Player();
            SetView(player, m_pView);
        } else {
            UC_ProcessUpdate_Player();
        }
        TakeOutOfPending(player);
        TakeOutOfZoneWaitOrGrid(player);
    }
    Server_Entity* platform = player->m_pPlatform;
    if (platform && IsPending(platform)) {
        m_pEntity = platform;
        UC_AddOrUpdate();
        TakeOutOfPending(platform);
        TakeOutOfZoneWaitOrGrid(platform);
    }
}

void Server_Client::UC_ProcessUpdate_Player() { UC_Update_Player(); }

bool Server_Client::UC_ProcessAllUpdates_PlayerScores() {
    // Players stay pending: the zone and list passes send their bodies when they come near.
    for (uint32_t i = 0; i < m_PendingPlayers.Count(); ++i) {
        if (!HandleFullPacket()) return false;
        auto* player = static_cast<Server_Player*>(m_PendingPlayers[i]);
        // Most players changed nothing since this client's last look: one mark, no view.
        const uint64_t mark = IsWatching() ? ScoreMark(player, m_uiWatchEpoch) : 0;
        std::vector<uint64_t>& seenBy = player->m_Score.m_SeenBy;
        if (mark != 0 && m_uiWatcher < seenBy.size() && seenBy[m_uiWatcher] == mark) continue;
        m_pEntity = player;
        m_pView = ViewOf(m_pEntity);
        if (m_pView) {
            UC_ProcessUpdate_PlayerScore();
        } else {
            m_pView = NewView(kKindPlayer);
            SendIDChange();
            UC_ProcessAdd2_PlayerScore();
            SetView(m_pEntity, m_pView);
        }
        if (mark != 0) {
            if (seenBy.size() <= m_uiWatcher) seenBy.resize(m_uiWatcher + 1);
            seenBy[m_uiWatcher] = mark;
        }
    }
    return true;
}

void Server_Client::UC_ProcessAdd2_PlayerScore() {
    auto* player = static_cast<Server_Player*>(m_pEntity);
    SCE_Player* sce = m_pView->GetOrCreatePlayerView();
    m_pView->m_ucViewFlags |= kViewScoreSent;
    const std::string& name = ShownPlayerName(player, player == m_pPlayer);
    m_pView->SetLabel(name);
    uint8_t status = PlayerStatusValue(player);
    uint32_t coins = uint32_t(player->m_i64PocketCoins);
    uint32_t property = uint32_t(player->m_i64PropertyValue);

    m_pPacket->AppendByte(kMsgScoreEntry);
    // One length byte: a longer name goes out cut to 255 bytes, so the client's parse stays in step.
    size_t n = name.size() < 255 ? name.size() : 255;
    m_pPacket->AppendByte(uint8_t(n));
    m_pPacket->AppendBytes(name.data(), n);
    m_pPacket->AppendByte(status);
    m_pPacket->AppendU32(coins);
    m_pPacket->AppendU32(property);
    StoreSentStatus(sce, status);
    sce->m_uiPocketCoins = coins;
    sce->m_uiPropertyValue = property;
    UC_Update_String(kMsgTeamName, player->m_strTeamName, sce->m_strStrings[kSCETeamName]);
}

void Server_Client::UC_ProcessUpdate_PlayerScore() {
    auto* player = static_cast<Server_Player*>(m_pEntity);
    SCE_Player* sce = m_pView->GetOrCreatePlayerView();
    uint8_t status = PlayerStatusValue(player);
    uint32_t coins = uint32_t(player->m_i64PocketCoins);
    uint32_t property = uint32_t(player->m_i64PropertyValue);
    bool highWords =
        (uint64_t(player->m_i64PocketCoins) >> 32) != 0 || (uint64_t(player->m_i64PropertyValue) >> 32) != 0;
    if (status == SentStatus(sce) && coins == sce->m_uiPocketCoins && property == sce->m_uiPropertyValue &&
        !highWords && player->m_strTeamName == sce->m_strStrings[kSCETeamName])
        return;
    SendIDChange();
    if (status != SentStatus(sce)) {
        m_pPacket->AppendByte(kMsgStatus);
        m_pPacket->AppendByte(status);
        StoreSentStatus(sce, status);
    }
    UC_Update_UINT(kMsgPocketCoins, &coins, &sce->m_uiPocketCoins);
    UC_Update_UINT(kMsgPropertyValue, &property, &sce->m_uiPropertyValue);
    UC_Update_String(kMsgTeamName, player->m_strTeamName, sce->m_strStrings[kSCETeamName]);
}

void Server_Client::FigureClientSideMovement() {
    Server_Player* player = m_pPlayer;
    if (!player) {
        m_Movement.m_bClientSideMovement = m_Movement.m_bClientSideMovementAllowed;
        return;
    }
    const Server_Entity* platform = player->m_pPlatform;
    bool on = m_Movement.m_bClientSideMovementAllowed && !player->GetFlag(kPlayerClientSideWarp) &&
              player->m_ucCSMHoldOff == 0 && m_bNearbyLoaded && m_bZonesFilled && !player->GetFlag(kPlayerAdminMode) &&
              !(platform && CarriesPlayer(platform));
    m_Movement.m_bClientSideMovement = on;
    bool wasOn = player->GetFlag(kPlayerClientSideMovement);
    player->SetFlag(kPlayerClientSideMovement, on);
    if (wasOn && !on) player->m_fMovementInput = 0.0f;
}

void Server_Client::UpdateClientSideMovementFlag() {
    ++m_Movement.m_ucClientSideMovementSeq;
    m_pPacket->AppendByte(kMsgClientSideMovement);
    m_pPacket->AppendBool(m_Movement.m_bClientSideMovement);
    m_pPacket->AppendByte(m_Movement.m_ucClientSideMovementSeq);
    m_Movement.m_bClientSideMovementSent = m_Movement.m_bClientSideMovement;
    Server_Player* player = m_pPlayer;
    if (!player) return;
    player->SetFlag(kPlayerAwaitClientPosition, true);
    player->SetFlag(kPlayerAwaitClientYaw, true);
    player->SetFlag(kPlayerAwaitClientVelocity, true);
    if (!m_Movement.m_bClientSideMovement) {
        if (Server_Client_Entity* view = ViewOf(player)) view->m_usStepsSinceResync = kResyncAtNextUpdate;
    } else {
        m_pPacket->AppendByte(kMsgClientSideVelocity);
        m_pPacket->AppendFloat(player->m_vVelocity.x);
        m_pPacket->AppendFloat(player->m_vVelocity.y + player->m_fExtraVerticalSpeed);
        m_pPacket->AppendFloat(player->m_vVelocity.z);
    }
}
