// Quillhob cubes.
#include "game/Game.h"

// Not built yet: the princess cube rules fill it.
void Game::Tick_QuillhobCubes() {}
