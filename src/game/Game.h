// The rule engine's shared state. Game sits between the world and the server: the one server
// object is at once the world, the rules and the network server.
#pragma once
#include <cstdint>

#include "world/World.h"

class Server;
class Server_Entity;

class Game : public World {
public:
    Game();
    ~Game() override;

    // One game tick of the rules, in their fixed order.
    void Game_Tick();
    // Periodic duties driven by the server tick.
    void DoTagPadRewards();
    void DeterminePlayerRankings();
    void DoMeanTaxWarrior();
    void RewardPlayersWhoHaveBBlocks();
    void Tick_TCs();
    void Tick_OCs();
    void Tick_Lifts();
    // Re-derives owners, property values and palace counts after a load.
    void MatchZorbinsWithPlayers();

    uint32_t m_uiOnlinePlayerCount = 0;
    uint32_t m_uiPopPrincessSkip = 0;
    uint32_t m_uiTickCount = 0;
    Server* m_pServer = nullptr;
    bool m_bIRSBuildEnabled = false;
    bool m_bLiftsRunning = true;
    bool m_bPrincessesRunning = true;
    bool m_bOfflinePlayerScan = true;
    Server_Entity* m_pCurrentEntity = nullptr;
    uint32_t m_uiLiftCursor = 0;
    uint32_t m_uiTalvyCursor = 0;
    uint32_t m_uiOrisetCursor = 0;
    uint32_t m_uiClipPassStamp = 0;
    uint32_t m_uiMovingBlockGroup = 0;
    uint32_t m_uiMovingZorbinGroup = 0;
};
