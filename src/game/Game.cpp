#include "game/Game.h"

#include "mod/VukServer_Mod_Interface.h"

Game::Game() { ConstructNextTextureTable(); }

Game::~Game() = default;

void Game::Game_Tick() {
    ++m_uiTickCount;
    Tick_Players();
    // Not yet built: princess, Quillhob, fire block, moving property and Zorbin rules run here,
    // in that order; then the mod's hook, then the deferred update and removal lists.
    if (KRV_ORIGINAL_CallAtEveryTick) KRV_ORIGINAL_CallAtEveryTick();
}

// Not yet built: the economy, princess cube and lift rules. The server tick already calls these
// at their fixed places so that the schedule does not change when the rules arrive.
void Game::DoTagPadRewards() {}
void Game::DoMeanTaxWarrior() {}
void Game::RewardPlayersWhoHaveBBlocks() {}
void Game::Tick_TCs() {}
void Game::Tick_OCs() {}
void Game::Tick_Lifts() {}

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
