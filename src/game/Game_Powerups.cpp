// Powerups and player effects.
#include "world/Server_EntityKinds.h"

// Not built yet: the powerup rules fill these.
void Server_Player::SetDead() {}
void Server_Player::HandleFlyingDisallow() {}
void Server_Player::HandleFlyingReallow() {}
void Server_Player::HandleJail() {}
void Server_Player::HandleJailRelease() {}
