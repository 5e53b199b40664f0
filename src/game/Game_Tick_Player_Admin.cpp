// The admin editor's changes to the selected entity.
#include "core/Server.h"
#include "game/Game.h"

void Game::Admin_GoToCertainTexture(Server_Entity* e, int texture) {
    e->m_usTexture = uint16_t(texture);
    m_pServer->InformClients_EntityUpdated(e);
    // Not built yet: queueing e on the game's update list. A texture moves it between no arrays
    // or zones, so nothing is lost until the list comes.
}
