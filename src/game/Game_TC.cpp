// Talvy cubes, the pop princesses.
#include "game/Game.h"

// Not built yet: killing and resetting the princess cubes comes with their rules.
void Game::KillAndResetAllPrincesses() {}
