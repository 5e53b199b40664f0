#include "game/Game.h"

#include "core/Server.h"
#include "mod/VukServer_Mod_Interface.h"
#include "world/Server_EntityKinds.h"

Game::Game() { ConstructNextTextureTable(); }

Game::~Game() = default;

void Game::Game_Tick() {
    ++m_uiTickCount;
    Tick_Players();
    Tick_Signal_TCs_OCs_Lifts();
    if (m_bPrincessesRunning) Tick_QuillhobCubes();
    Tick_FBs();
    Tick_Moving_NPs();
    Tick_Moving_Zorbins();
    Tick_Zorbins();
    if (KRV_ORIGINAL_CallAtEveryTick) KRV_ORIGINAL_CallAtEveryTick();
    ProcessUpdatesAndRemoves();
}

void Game::Tick_Signal_TCs_OCs_Lifts() {
    auto signal = [](VUKFastArray_Entity& group) {
        for (uint32_t i = 0; i < group.Count(); ++i) group.GetEntity(i)->m_ucPassFlags |= kPassTickSignal;
    };
    if (m_bPrincessesRunning) {
        signal(m_TalvyCubes);
        signal(m_OrisetCubes);
    }
    if (m_bLiftsRunning) signal(m_Lifts);
}

void Game::QueueEntityForUpdate(Server_Entity* e) {
    if (e->m_ucRuleFlags & (kRuleQueuedForUpdate | kRuleQueuedForRemoval)) return;
    m_UpdateList.Add(e);
    e->m_ucRuleFlags |= kRuleQueuedForUpdate;
}

void Game::QueueEntityForRemoval(Server_Entity* e) {
    // A second queueing would destroy the entity twice.
    if (e->m_ucRuleFlags & kRuleQueuedForRemoval) return;
    m_pServer->InformClients_EntityAboutToBeRemoved(e);
    m_RemoveList.Add(e);
    e->m_ucRuleFlags = uint8_t((e->m_ucRuleFlags | kRuleQueuedForRemoval) & ~kRuleQueuedForUpdate);
}

// Both lists are walked from the head, newest first, and entries added meanwhile are taken too.
void Game::ProcessUpdatesAndRemoves() {
    auto updatePass = [this] {
        while (Link<Server_Entity*>* link = m_UpdateList.Head()) {
            Server_Entity* e = link->m_Value;
            m_UpdateList.Remove(link);
            // An entity queued for removal since it was queued here has its flag cleared: it is
            // destroyed, not re-filed.
            if (e->m_ucRuleFlags & kRuleQueuedForUpdate) {
                UpdateGroupsAndZonesEntityIsIn(e);
                e->m_ucRuleFlags &= uint8_t(~kRuleQueuedForUpdate);
            }
        }
    };
    updatePass();
    while (Link<Server_Entity*>* link = m_RemoveList.Head()) {
        Server_Entity* e = link->m_Value;
        m_RemoveList.Remove(link);
        uint8_t kind = e->GetKind();
        if (kind == kKindNormalPad || kind == kKindZorbinCube || kind == kKindPalaceCube)
            SetAboveNearbyEntitiesAsMoving(e);
        if (kind != kKindFireBlock) {
            DeselectEntityFromAllAdmins(e);
            // Fire blocks credited to it would otherwise credit a destroyed entity.
            RemoveOwnerFromAllFireBlocks(e);
        }
        // Queued for update during this pass and then removed: the update list must not keep it.
        m_UpdateList.RemoveValue(e);
        if (m_pCurrentEntity == e) m_pCurrentEntity = nullptr;
        ProperDestroy(e);
    }
    updatePass();
}

// The admin editor steps a texture to the next one, and the last back to the first.
void Game::ConstructNextTextureTable() {
    for (int t = 0; t < kNextTextureCount - 1; ++t) m_usNextTexture[t] = uint16_t(t + 1);
    m_usNextTexture[kNextTextureCount - 1] = 1;
}

void Game::DeselectEntityFromAllAdmins(const Server_Entity* e) {
    for (uint32_t i = 0; i < m_Players.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_Players.GetEntity(i));
        if (player->m_pAdminSelection == e) player->m_pAdminSelection = nullptr;
    }
}

void Game::RemoveOwnerFromAllFireBlocks(const Server_Entity* e) {
    for (uint32_t i = 0; i < m_FireBlocks.Count(); ++i) {
        auto* block = static_cast<Server_FireBlock*>(m_FireBlocks.GetEntity(i));
        if (block->m_pShotOwner == e) block->m_pShotOwner = nullptr;
    }
}
