// Powerups and the player effects they give.
#include "world/Server_EntityKinds.h"

// Not built yet: the powerup rules fill these.
void Server_Player::ApplyTempEffects() {}
void Server_Player::HandleEnterKey() {}
void Server_Player::ResetPosition() {}
void Server_Player::SetDead() {}
void Server_Player::HandleFlyingDisallow() {}
void Server_Player::HandleFlyingReallow() {}
void Server_Player::HandleJail() {}
void Server_Player::HandleJailRelease() {}
