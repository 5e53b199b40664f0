// The rule engine's shared state. Game sits between the world and the server: the one server
// object is at once the world, the rules and the network server. Each section names the file
// that defines it. The rules to come go in files named after them: Game_Tick_Player (player
// actions), Game_VC_3, Game_VC_ReactToHit and CoreVelocityClipping_2 (movement), Game_Tick_FireBlock,
// Game_TC, Game_OC and Game_Quillhob (princess cubes), Game_Tick_Zorbins, Game_Moving_NPs (lifts and
// moving property), Game_Economy, Server_Player and Server_ZorbinCube.
#pragma once
#include <cstdint>

#include "base/Settings.h"
#include "world/LinkedList.h"
#include "world/World.h"

class Server;
class Server_Entity;
class Server_FireBlock;
class Server_PalaceCube;
class Server_Player;
class Server_QuillhobCube;
class Server_TalvyCube;
class Server_ZorbinCube;

// Where the lift and princess round robins stand: each pass goes on from the cube or lift it
// reached last time within its budget.
struct RoundRobinCursors {
    uint32_t m_uiLiftCursor = 0;
    uint32_t m_uiTalvyCursor = 0;
    uint32_t m_uiOrisetCursor = 0;
};

// The property moving group each moving-property pass works on in this tick.
struct MovingGroups {
    uint32_t m_uiMovingBlockGroup = 0;
    uint32_t m_uiMovingZorbinGroup = 0;
};

// The rule switches and budgets (m_uiPopPrincessSkip, m_bLiftsRunning, ...) come from
// ServerSettings, whose rows in the settings table say how they are saved and changed.
class Game : public World, public ServerSettings {
public:
    Game();
    ~Game() override;

    // ---- game tick and schedule (game/Game.cpp) ----
    // One game tick of the rules, in their fixed order.
    void Game_Tick();

    // ---- rankings (game/Game_PlayerRankings.cpp) ----
    void DeterminePlayerRankings();

    // ---- duties the server tick calls at their fixed places, not built yet (game/Game.cpp) ----
    void DoTagPadRewards();
    void DoMeanTaxWarrior();
    void RewardPlayersWhoHaveBBlocks();
    void Tick_TCs();
    void Tick_OCs();
    void Tick_Lifts();
    // "/buildpalace": the player's palace, built by the player rules.
    void Tick_Player_BuildPalace(Server_Player* player);

    // ---- deferred updates and removals (game/Game.cpp) ----
    // Re-files e at the end of the tick; nothing when it is already queued either way.
    void QueueEntityForUpdate(Server_Entity* e);
    // Tells the clients first, then destroys e at the end of the tick.
    void QueueEntityForRemoval(Server_Entity* e);
    void ProcessUpdatesAndRemoves();
    LinkedList<Server_Entity*> m_UpdateList;
    LinkedList<Server_Entity*> m_RemoveList;

    // ---- movement and collision (game/Game_VC_3.cpp, Game_VC_ReactToHit.cpp,
    // CoreVelocityClipping_2.cpp) ----

    // ---- player actions, building and the admin editor (game/Game_Tick_Player.cpp) ----

    // ---- fire blocks (game/Game_Tick_FireBlock.cpp) ----
    // Moves every fire block one step, ages it and applies what it hits.
    void Tick_FBs();
    // Handles what the fire block touches; true when the block is spent.
    bool Tick_FB_ConflictTest(Server_FireBlock* fb);
    void Tick_FB_Conflict_Player(Server_FireBlock* fb, Server_Player* p);
    void Tick_FB_Conflict_TalvyCube(Server_FireBlock* fb, Server_TalvyCube* c);
    void Tick_FB_Conflict_QuillhobCube(Server_FireBlock* fb, Server_QuillhobCube* q);
    void Tick_FB_ConflictZorbinCube(Server_FireBlock* fb, Server_ZorbinCube* z);
    void Tick_FB_ConflictStoneBlock(Server_FireBlock* fb, Server_Entity* e);
    void Tick_FB_ConflictBuildingBlock(Server_FireBlock* fb, Server_Entity* e);
    void Tick_FB_ConflictPalaceCube(Server_FireBlock* fb, Server_PalaceCube* pc);

    // ---- Zorbin cubes (game/Game_MatchZorbinsWithPlayers.cpp) ----
    // Re-derives owners, property values and palace counts after a load.
    void MatchZorbinsWithPlayers();

    uint32_t m_uiOnlinePlayerCount = 0;
    uint32_t m_uiTickCount = 0;
    Server* m_pServer = nullptr;
    Server_Entity* m_pCurrentEntity = nullptr;
    RoundRobinCursors m_RoundRobins;
    uint32_t m_uiClipPassStamp = 0;
    MovingGroups m_MovingGroups;
};
