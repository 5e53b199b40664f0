// Zorbin cubes.
#include "game/Game.h"

// Not built yet: the Zorbin cube rules fill these.
void Game::Tick_Moving_Zorbins() {}
void Game::Tick_Zorbins() {}
