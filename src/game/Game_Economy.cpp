// The coin economy: goal pads, tag pads, rewards and the hourly tax.
#include "world/Server_EntityKinds.h"

// Not built yet: the economy rules fill these.
void Server_Player::HandleGoalPadLand(Server_Entity*) {}
bool Server_Player::HandleTagPadLand(Server_Entity*) { return false; }
