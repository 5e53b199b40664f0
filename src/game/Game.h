// The rule engine's shared state. Game sits between the world and the server: the one server
// object is at once the world, the rules and the network server. Each section names the file
// that defines it. The rules to come go in files named after them: Game_Tick_Player (player
// actions), Game_VC_3, Game_VC_ReactToHit and CoreVelocityClipping_2 (movement), Game_Tick_FireBlock,
// Game_TC, Game_OC and Game_Quillhob (princess cubes), Game_Tick_Zorbins, Game_Moving_NPs (lifts and
// moving property), Game_Economy, Server_Player and Server_ZorbinCube.
#pragma once
#include <cstdint>

#include "base/Settings.h"
#include "game/VC_WorkArea.h"
#include "world/LinkedList.h"
#include "world/World.h"

class Server;
class Server_Entity;
class Server_Player;

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

    // ---- references to an entity about to go (game/Game.cpp) ----
    // Every player whose admin selection is e loses it.
    void DeselectEntityFromAllAdmins(const Server_Entity* e);
    // Every fire block credited to e is credited to nobody.
    void RemoveOwnerFromAllFireBlocks(const Server_Entity* e);

    // ---- admin editor (game/Game_Tick_Player_Admin.cpp) ----
    void Admin_GoToCertainTexture(Server_Entity* e, int texture);

    // ---- princess cubes (game/Game_TC.cpp) ----
    // "/kill_all_pp": every princess cube killed and reset.
    void KillAndResetAllPrincesses();

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
    // Sets the game-tick signal on the princess cubes and lifts whose rules run this tick.
    void Tick_Signal_TCs_OCs_Lifts();
    // Puts e on the update list unless it is already on either list.
    void QueueEntityForUpdate(Server_Entity* e);
    // Tells the clients e is going, then puts it on the remove list (once).
    void QueueEntityForRemoval(Server_Entity* e);
    // End of the tick: re-files the queued entities, destroys the removed ones, and re-files
    // what the removals queued.
    void ProcessUpdatesAndRemoves();
    void ConstructNextTextureTable();

    // Rules of families still to come that the tick calls (each file says it is not built yet).
    void Tick_QuillhobCubes();                             // game/Game_Quillhob.cpp
    void Tick_Moving_NPs();                                // game/Game_Moving_NPs.cpp
    void SetAboveNearbyEntitiesAsMoving(Server_Entity* e); // game/Game_Moving_NPs.cpp
    void Tick_Moving_Zorbins();                            // game/Game_Tick_Zorbins.cpp
    void Tick_Zorbins();                                   // game/Game_Tick_Zorbins.cpp

    LinkedList<Server_Entity*> m_UpdateList;
    LinkedList<Server_Entity*> m_RemoveList;
    // Texture t steps to m_usNextTexture[t] in the admin editor; 0 to 76.
    static constexpr int kNextTextureCount = 77;
    uint16_t m_usNextTexture[kNextTextureCount] = {};

    // ---- movement and collision (game/Game_VC_3.cpp, Game_VC_ReactToHit.cpp,
    // CoreVelocityClipping_2.cpp) ----
    // Move the current entity for one tick, axis by axis.
    void VC_Player();
    void VC_TC();
    void VC_OC_Feb_01_2003();
    void VC_NP();
    void VC_Zorbin();
    // The sweep machinery; each works on the work area and the current entity.
    void VC_SetZoneLimits();
    void VC_SetMovingFace_X();
    void VC_SetMovingFace_Y();
    void VC_SetMovingFace_Z();
    void VC_SetMovingFace_Y_VelGravity(float verticalVelocity);
    void VC_ClipAll_2();
    void VC_Player_ClipRotatedObject();
    void GoogaClip();
    void GoogaReverseClip();
    // Reactions of the current entity and of what it hit.
    void Player_ReactToLanding();
    void Player_ReactToHit_General();
    void NP_ReactToHit_General();
    void TC_ReactToHit_General();
    void Tick_TC_HandleConflict_NormalPad();
    void Tick_TC_HandleConflict_OC();

    VC_WorkArea m_VC;

    // ---- player actions, building and the admin editor (game/Game_Tick_Player.cpp) ----
    void Tick_Players();

    // ---- fire blocks (game/Game_Tick_FireBlock.cpp) ----
    void Tick_FBs();

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
