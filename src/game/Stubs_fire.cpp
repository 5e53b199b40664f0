// Stand-ins for the game tick's deferred lists, so that the fire-block rules run and can be
// tested on their own; the game tick's own versions replace this file.
#include "core/Server.h"
#include "game/Game.h"

void Game::QueueEntityForUpdate(Server_Entity* e) {
    if (e->m_ucRuleFlags & (kRuleQueuedForUpdate | kRuleQueuedForRemoval)) return;
    e->m_ucRuleFlags |= kRuleQueuedForUpdate;
    m_UpdateList.Add(e);
}

void Game::QueueEntityForRemoval(Server_Entity* e) {
    if (e->m_ucRuleFlags & kRuleQueuedForRemoval) return;
    m_pServer->InformClients_EntityAboutToBeRemoved(e);
    e->m_ucRuleFlags = uint8_t((e->m_ucRuleFlags | kRuleQueuedForRemoval) & ~kRuleQueuedForUpdate);
    m_RemoveList.Add(e);
}

void Game::ProcessUpdatesAndRemoves() {
    auto updates = [this] {
        while (Link<Server_Entity*>* link = m_UpdateList.Tail()) {
            Server_Entity* e = link->m_Value;
            if (e->m_ucRuleFlags & kRuleQueuedForUpdate) UpdateGroupsAndZonesEntityIsIn(e);
            e->m_ucRuleFlags &= uint8_t(~kRuleQueuedForUpdate);
            m_UpdateList.Remove(link);
        }
    };
    updates();
    while (Link<Server_Entity*>* link = m_RemoveList.Tail()) {
        Server_Entity* e = link->m_Value;
        m_RemoveList.Remove(link);
        ProperDestroy(e);
    }
    updates();
}
