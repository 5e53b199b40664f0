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
class Server_FireBlock;
class Server_PalaceCube;
class Server_Player;
class Server_ZorbinCube;
class Server_FireBlock;
class Server_QuillhobCube;
class Server_TalvyCube;

// Where the lift and princess round robins stand: each pass goes on from the cube or lift it
// reached last time within its budget.
struct RoundRobinCursors {
    uint32_t m_uiLiftCursor = 0;
    uint32_t m_uiTalvyCursor = 0;
    uint32_t m_uiOrisetCursor = 0;
    // Set by a round robin that stopped on its budget before every signalled cube or lift had
    // its turn: the next pass must follow without a rest. Cleared by the server before each round.
    bool m_bBudgetRanOut = false;
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

    // ---- princess cubes (game/Game_TC.cpp, Game_OC.cpp, Game_Quillhob.cpp) ----
    // "/kill_all_pp": every princess cube killed and reset.
    void KillAndResetAllPrincesses();
    // Round robins of the server pass, each within its time budget: every cube does its
    // once-per-game-tick turn when its signal is set.
    void Tick_TCs();
    void Tick_OCs();
    void Tick_One_TC(Server_TalvyCube* cube);

    // ---- rankings (game/Game_PlayerRankings.cpp) ----
    void DeterminePlayerRankings();

    // ---- economy: the server tick's periodic incomes and the hourly tax (game/Game_Economy.cpp) ----
    void DoTagPadRewards();
    void DoMeanTaxWarrior();
    void RewardPlayersWhoHaveBBlocks();

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

    // Rules of the cube and moving-property families that the tick calls.
    void Tick_Lifts();                                     // game/Game_Moving_NPs.cpp
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
    // Building, locating and the editor are in Game_Tick_Player_Build, _Locate and _AdminEditor.
    // Keys and menu requests of the online players, then the movement of every moving player.
    void Tick_Players();
    void Tick_Player_ShootFireBlock(Server_Player* player);
    void Tick_Player_OfflineShootFireBlock(Server_Player* player);
    // Resting offline players fire back at enemies too, and their cooldowns run down.
    void Tick_NonMovingPlayers_OfflineShootFireBlock();
    void Tick_Player_BuildBlock(Server_Player* player);
    void Tick_Player_BuildZorbin(Server_Player* player);
    void Tick_Player_BuildIRS(Server_Player* player);
    void Tick_Player_BuildStoneBlock(Server_Player* player, unsigned sizeX, unsigned sizeY, unsigned sizeZ,
                                     unsigned cost, bool flat);
    // "/buildpalace" and its checks.
    void Tick_Player_BuildPalace(Server_Player* player);
    void BuildPalaceCube_Helper(Server_Player* player, float x, float y, float z, float texture);
    void BuildPalaceCube_BouncyPad(Server_Player* player, float x, float y, float z, float texture);
    void Tick_Player_LocateNearestEnemyBuildingBlock(Server_Player* player);
    void Tick_Player_LocateNumberOneEnemyBuildingBlock(Server_Player* player);
    void Tick_Player_LocateNearestOwnBuildingBlock(Server_Player* player);
    void Tick_Player_LocateNearestMillionairePlayer(Server_Player* player);
    // True when a block or pad, Zorbin, palace or Quillhob cube touches e.
    bool IsSomethingInTheWay(Server_Entity* e);
    // Keeps the Zorbin cubes near the player, and the players near the cube, in step.
    void SetZorbinNearList(Server_Player* player);
    void SetPlayerNearList(Server_ZorbinCube* cube);
    void Tick_Player_Admin(Server_Player* player);
    // The first entity (all-entities order) other than the admin, not a fire block or player,
    // that touches the admin.
    Server_Entity* Admin_FindConflictObject(Server_Player* player);
    void Admin_AddNormalPad(Server_Player* player);
    void Admin_DeleteNormalPad(Server_Player* player, Server_Entity* e);
    void Admin_SwitchDrawMode(Server_Entity* e);
    void Admin_GoToNextTexture(Server_Entity* e);

    // Steps of Tick_Players for one player.
    void Tick_Player_Online(Server_Player* player);
    void Tick_Player_Move(Server_Player* player);
    // A player's shot at the yaw, not yet in the world.
    Server_FireBlock* MakePlayerFireBlock(Server_Player* player, float yaw, bool withVelocity, int16_t life);
    void LaunchFireBlock(Server_FireBlock* block);
    // The first common checks of a build; false when the build stops there.
    bool PassesBuildChecks(Server_Player* player, int kind, uint8_t repeat, uint32_t cost);
    // A built thing that is in the way is discarded with the kind's text; otherwise it is labelled,
    // owned, filed and paid for.
    bool PlaceBuiltEntity(Server_Player* player, Server_Entity* e, int kind, uint32_t cost);
    // Moves or resizes the admin's selection by the step along one axis.
    void Admin_MoveByKey(Server_Player* player, int axis, float step);

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

    // ---- lifts and moving property (game/Game_Moving_NPs.cpp) ----
    // One turn of a lift whose game-tick signal was due.
    void Tick_Lift(Server_Entity* lift);
    // One turn of a moving block: it falls, slides and settles.
    void Tick_Moving_NP(Server_Entity* block);

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
