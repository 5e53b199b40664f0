// Rules of the movement and tick family that the player actions call; they arrive with it.
#include "game/Game.h"

void Server_Player::DetermineNewVelocity() {}
void Game::VC_Player() {}
void Game::ConstructNextTextureTable() {
    for (int t = 0; t < kNextTextureCount; ++t) m_usNextTexture[t] = uint16_t(t + 1 < kNextTextureCount ? t + 1 : 1);
}
