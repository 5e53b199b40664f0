// Rules of the movement and tick family that the player actions call; they arrive with it.
#include "game/Game.h"

void Server_Player::DetermineNewVelocity() {}
void Game::VC_Player() {}
void Game::QueueEntityForUpdate(Server_Entity* e) { e->m_ucRuleFlags |= kRuleQueuedForUpdate; }
void Game::QueueEntityForRemoval(Server_Entity* e) { e->m_ucRuleFlags |= kRuleQueuedForRemoval; }
