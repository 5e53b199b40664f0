// Stand-ins for the player action and fire block rules, built on branches of their own; this file
// goes when they arrive.
#include "core/Server.h"
#include "game/Game.h"
#include "world/Server_EntityKinds.h"

void Game::Tick_FBs() {}

// Only the movement of the players' second loop, so that movement can be driven end to end.
void Game::Tick_Players() {
    for (uint32_t i = 0; i < m_OtherPlayers.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_OtherPlayers.GetEntity(i));
        m_pCurrentEntity = player;
        const bool clientSide = player->GetFlag(kPlayerClientSideMovement);
        if (!player->IsAdminMode()) {
            if (!clientSide) player->DetermineNewVelocity();
            VC_Player();
            if (!clientSide && player->m_vPosition.y <= player->m_vSize.y * 0.5f) {
                player->m_vPosition.y = player->m_vSize.y * 0.5f + 0.01f;
                player->m_fVerticalVelocity = 0.0f;
                player->SetDirty();
                player->SetPlayerMoving(true);
            }
        }
        player->ClipToOuterInvisibleBoundaries();
        const VUKVector& v = player->m_vVelocity;
        if (v.x == 0.0f && v.y == 0.0f && v.z == 0.0f && player->m_fVerticalVelocity == 0.0f) {
            if (++player->m_sStillTicks > 4) {
                player->SetPlayerMoving(false);
                QueueEntityForUpdate(player);
            }
        } else {
            player->SetDirty();
            player->m_sStillTicks = 0;
        }
        if (player->IsDirty()) {
            m_pServer->InformClients_EntityUpdated(player);
            QueueEntityForUpdate(player);
            player->ClearDirty();
        }
    }
}
