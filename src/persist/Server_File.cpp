// Stand-ins until the save files land: nothing is loaded and nothing is written.
#include "core/Server.h"

void Server::LoadRoutine() {}
void Server::LoadRoutineV5(Packet*) {}
void Server::SaveRoutine_WorldWithoutPlayers() {}
void Server::SaveRoutine_Players() {}
void Server::MakeAllPowerupsSpawn() {}
