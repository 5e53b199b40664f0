// Powerups and the player effects they give.
#include "world/Server_EntityKinds.h"

// Not built yet: the powerup rules fill it.
void Server_Player::ApplyTempEffects() {}
// Not built yet: the powerup rules fill it.
void Server_Player::HandleEnterKey() {}
// Not built yet: the powerup rules fill it.
void Server_Player::ResetPosition() {}
