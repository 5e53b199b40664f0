// Lifts and moving property.
#include "game/Game.h"

// Not built yet: the lift and moving property rules fill these.
void Game::Tick_Moving_NPs() {}
void Game::SetAboveNearbyEntitiesAsMoving(Server_Entity*) {}
