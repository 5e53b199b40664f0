// A Zorbin cube's choice of target among the players near it.
#include "world/Server_EntityKinds.h"

namespace {

constexpr float kRangeSquared = 600.0f * 600.0f;

} // namespace

void Server_ZorbinCube::DecideIfEnemyIsAround() {
    m_ucZorbinFlags &= uint8_t(~kZorbinTarget);
    // The whole list is walked: the last enemy in range is the target.
    for (Link<Server_Player*>* link = m_NearPlayers.Head(); link; link = link->m_pNext) {
        Server_Player* player = link->m_Value;
        if (player == m_pOwner || (m_pOwner && m_pOwner->IsOnSameTeam(player))) continue;
        const VUKVector d = player->m_vPosition - m_vPosition;
        if (d.x * d.x + d.y * d.y + d.z * d.z > kRangeSquared) continue;
        m_ucZorbinFlags |= kZorbinTarget;
        player->m_uiScanCounter = 1; // restarts the player's own offline scan round
        m_vAim = d;
    }
}
