// Oriset cubes, and the rewards of the princess cubes' pushers.
#include "world/Server_EntityKinds.h"

// Not built yet: the princess cube rules fill these.
void Server_Player::HandleTalvyCubeOnPyramid(unsigned) {}
void Server_Player::HandleOrisetCubeDefeat(Server_Entity*) {}
