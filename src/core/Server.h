// The one server object: the world, the rules and the network server at once.
#pragma once
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/PointerStringList.h"
#include "base/Timer.h"
#include "core/ServerLock.h"
#include "core/Server_WeirdLink.h"
#include "game/Game.h"
#include "game/GameConstants.h"
#include "persist/Server_File.h"
#include "world/VUKVector.h"

class ClientServerPipe;
class Packet;
class Server_Client;
class Server_Entity;
class Server_Player;
struct CommandArgs;
struct Setting;

class ClientList : public PointerStringList<Server_Client> {
public:
    ~ClientList() override = default;
};

// Each section names the file that defines it.
class Server : public Game {
public:
    // ---- the object (core/Server.cpp) ----
    Server();
    ~Server() override;
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // ---- server tick and client bookkeeping (core/Server_Tick.cpp) ----
    void Tick();
    void UpdateClientsWithWorldUpdates();
    void UpdateClients_Extra();
    void DeleteInactiveClients();
    void PutRateLimitOnClients();
    Server_WeirdLink* TakeACRNumber();
    void ReturnACRNumber(Server_WeirdLink* link);
    // Called on the UDP thread with the server lock held: a datagram came from a new address.
    ClientServerPipe* CreateClientServerPipe();
    // True when some client has a logged-in player.
    bool AnyPlayerLoggedIn() const;
    uint32_t CountClientsWithPlayer() const;
    // Nothing to simulate and nobody to serve: the main loop may sleep.
    bool IsIdle() const;
    // How long the server thread may wait after this pass: zero while a client has a message
    // waiting or something to be handed, or a job runs in slices; otherwise the time until the
    // game tick or a position reset is due, at most kMaxRest.
    std::chrono::microseconds RestAllowance();
    static constexpr std::chrono::microseconds kMaxRest{33000};

    // ---- incoming messages (session/Server_Tick_PIC.cpp) ----
    bool PIC();
    bool PIC_Keys(Server_Client* client, Packet* packet);
    bool PIC_Keys_2(Server_Client* client, Packet* packet);
    bool PIC_Keys_V79Move(Server_Client* client, Packet* packet);
    bool PIC_ClientSideMove(Server_Client* client, Packet* packet);
    bool PIC_ClientSideMove_Pos(Server_Client* client, Packet* packet);
    bool PIC_ClientSideMove_Yaw(Server_Client* client, Packet* packet);
    bool PIC_ClientSideMove_Vel(Server_Client* client, Packet* packet);
    void PIC_IfResetPositionTimerActive(Server_Client* client);
    uint32_t CountVisibleLoggedInClients() const;

    // ---- login (session/Server_Login.cpp) ----
    void PIC_ExistingLogin(Server_Client* client, Packet* packet);
    void PIC_NewLogin(Server_Client* client, Packet* packet);
    // The first player of the world with exactly this name (names are case-sensitive).
    Server_Player* FindPlayerByName(const std::string& name) const;
    // Appends the welcome to answer and queues it.
    void SendWelcome(Server_Client* client, Packet* answer, const std::string& name);
    // The client's player from now on; the transport no longer counts its peer as a guest.
    void AttachPlayer(Server_Client* client, Server_Player* player);
    // A dropped client's player stays in the world, offline.
    void DetachPlayerOfDroppedClient(Server_Client* client);

    // ---- extension negotiation (session/Server_Extensions.cpp) ----
    void SendQueryExtensions(Packet* packet);

    // ---- command interpreter (session/Server_AdminControl.cpp; the tables in session/Server_Commands.h) ----
    // Slash commands; true when the line was a command and has been dealt with.
    bool NonAdminCommand(Server_Client* client, const std::string& line);
    bool AdminCommand(Server_Client* client, const std::string& line);

    // ---- chat and word filter (session/Server_Chat.cpp) ----
    void PIC_Chat(Server_Client* client, Packet* packet);
    void SendChatMessageToSameChannel(Server_Client* speaker, const std::string& text);
    void SendChatMessageToAll(const std::string& name, const std::string& text);
    void SendChatMessageToAll(Server_Player* sender, const std::string& text);
    void SendChatToPlayer(Server_Player* player, const std::string& name, const std::string& text);
    static void SearchAndReplace(std::string& text, const char* search, const char* replacement);
    static void ApplyFilteringToString(std::string& text);
    static void ApplyFilteringToName(Server_Player* player);
    // The chat commands. A whisper's line is given whole, with the length of its command word.
    void AC_SendPrivateMessage(Server_Client* client, const std::string& line, size_t commandLength);
    void AC_IgnoreSomeone(Server_Client* client, const std::string& name);
    void AC_UnignoreSomeone(Server_Client* client, const std::string& name);
    void AC_DisplayIgnoreList(Server_Client* client);
    // Clamped to 1..255.
    void AC_SetChatChannel(Server_Client* client, int32_t channel);
    void AC_LeaveChat(Server_Client* client);

    // ---- world-change notices and client attachment (replication/Server_Inform.cpp) ----
    void InformClients_EntityUpdated(Server_Entity* entity);
    void InformClients_EntityAboutToBeRemoved(Server_Entity* entity);
    void AddAlmostAllEntitiesToNewClient(Server_Client* client);
    void ProperlyDeleteClient(Server_Client* client);
    // Watcher numbers (replication/Server_Inform.cpp): a client takes one when it first gets a
    // player and keeps it until it is dismantled; change notices reach the clients in
    // m_UpdateWatchers, removal notices every watcher.
    void WatchWorld(Server_Client* client);
    void StopWatchingUpdates(Server_Client* client);
    void ReleaseWatcher(Server_Client* client);
    // The whole teardown of a client's replication state at once.
    void DismantleClient(Server_Client* client);

    // ---- loading (persist/Server_File_Load.cpp) ----
    // Both files, then the derived state; stops at the first failure, which the caller reports.
    LoadError LoadRoutine();
    LoadError LoadRoutineV5(Packet* packet);
    // Save files that exist but were not loaded (the world file missing, or a version refused):
    // the first save moves each aside instead of overwriting it.
    bool m_bWorldFileNotLoaded = false;
    bool m_bPlayersFileNotLoaded = false;

    // ---- saving (persist/Server_File_Save.cpp; SaveAll in core/Server.cpp) ----
    void SaveRoutine_WorldWithoutPlayers();
    void SaveRoutine_Players();
    // Players first, then the world: every save path of the main loop.
    void SaveAll();

    // ---- powerup cubes (game/Server_PowerupSpawn.cpp) ----
    // Spawns a powerup pad at every entry of the powerup table.
    void MakeAllPowerupsSpawn();
    // Spawns one powerup pad of the type there, unless one already stands on the spot.
    void SpawnPowerup(const VUKVector& position, uint32_t type);
    // Entries of the powerup table (its two lists are kept in step).
    size_t PowerupTableLength() const;
    // Marks a new pad as a powerup cube, labels it by its type and adds it to the world.
    void ApplyAttributesToSpawnedPowerup(Server_Entity* pad);

    // ---- administrative and team actions on players (session/AC_Players.cpp) ----
    void AC_JoinTeam(Server_Client* client, const std::string& name);
    void AC_LeaveTeam(Server_Client* client);
    // The first player of the world whose name matches ignoring letter case; answers
    // "PLAYER NOT FOUND" and gives null when there is none.
    Server_Player* AC_LocatePlayerWithName(Server_Client* client, const std::string& name);
    // After a warp: an online player's client takes the new position; re-filed, clients told.
    void AC_PlacePlayer(Server_Player* player);
    void AC_KickPlayer(Server_Client* client, const std::string& name);
    void AC_ChangePlayerPassword(Server_Client* client, const std::string& name, const std::string& password);
    void AC_SetAdminAccess(Server_Client* client, const std::string& name, int32_t level);
    void AC_SetAdminCoinChangePermission(Server_Client* client, const std::string& name, bool on);
    void AC_GivePlayerCoins(Server_Client* client, const std::string& name, int32_t amount);
    void AC_DisplayPlayerCoins(Server_Client* client, const std::string& name);
    void AC_DisplayPlayerTimeOffline(Server_Client* client, const std::string& name);
    void AC_DisplayPlayerPosition(Server_Client* client, const std::string& name);
    void AC_DisplayAdminAccess(Server_Client* client, const std::string& name);
    void AC_SetPlayerPosition(Server_Client* client, const std::string& name, int32_t x, int32_t y, int32_t z);
    void AC_WarpPlayerToSelf(Server_Client* client, const std::string& name);
    void AC_WarpSelfToPlayer(Server_Client* client, const std::string& name);
    void AC_RaiseConflictedPlayers();
    void AC_Hide(Server_Client* client);
    void AC_IndexAdmins(Server_Client* client);

    // ---- administrative actions on the settings (session/AC_Settings.cpp) ----
    // A command of the settings table: the typed value, clamped, or the switch; then its reply.
    void AC_ChangeSetting(Server_Client* client, const Setting& setting, bool clear, const CommandArgs& args);
    void AC_SetByteSendLimit(Server_Client* client, int32_t limit);
    void AC_SetStraightUpdate(Server_Client* client, bool on);
    void AC_ToggleClientSideMovement(Server_Client* client);

    // ---- administrative reports and the save command (session/AC_Reports.cpp) ----
    void AC_SendStats(Server_Client* client);
    void AC_DisplayHolesInHeap(Server_Client* client);
    void AC_DebugStuff1(Server_Client* client);
    void AC_Save(Server_Client* client);
    void AC_GetTexture(Server_Client* client);
    void AC_CountZones(Server_Client* client);
    void AC_CountPendingZones(Server_Client* client);

    // ---- administrative actions on the selected entity: pads, surfaces, shape, labels, rooms
    // (session/AC_Pads.cpp). Without a selection they do nothing. ----
    // The administrator's selected entity, or null.
    static Server_Entity* AC_SelectionOf(const Server_Client* client);
    void AC_SendOKMessage(Server_Client* client);
    void AC_GoalPadMessageSetter(Server_Client* client, const std::string& message);
    // The line whole, with the length of its command word: the amount and the message follow it.
    void AC_SetGoalPad(Server_Client* client, const std::string& line, size_t commandLength);
    void AC_SetGoalPadAmount(Server_Client* client, int32_t amount);
    void AC_SetGoalPadRespawnPos_RightHere(Server_Client* client);
    void AC_SetSolexis(Server_Client* client, int32_t amount);
    void AC_SetBouncyAmount(Server_Client* client, int32_t amount);
    void AC_SetEntityTagPad(Server_Client* client, bool on);
    void AC_SetTagPadAmount(Server_Client* client, int32_t amount);
    void AC_SetTagPadLockTime(Server_Client* client, int32_t minutes);
    void AC_SetTalvyLandReward(Server_Client* client, int32_t reward);
    void AC_SetEntity_FlyingDisallow(Server_Client* client, bool on);
    void AC_SetEntity_FlyingReallow(Server_Client* client, bool on);
    void AC_SetEntity_JailedDisallow(Server_Client* client, bool on);
    void AC_SetEntity_JailedRelease(Server_Client* client, bool on);
    void AC_SetEntityZorbinPermission(Server_Client* client, bool on);
    // The alpha as typed; read unsigned, so a negative value is out of range too.
    void AC_SetEntity_AlphaBlendFactor(Server_Client* client, int32_t alpha);
    void AC_SetEntitySize(Server_Client* client, int32_t x, int32_t y, int32_t z);
    void AC_SetEntityPos(Server_Client* client, int32_t x, int32_t y, int32_t z);
    void AC_SetPosTop(Server_Client* client, int32_t top);
    // Angles in 256ths of a full turn.
    void AC_SetPitch(Server_Client* client, int32_t angle);
    void AC_SetYaw(Server_Client* client, int32_t angle);
    void AC_SetRoll(Server_Client* client, int32_t angle);
    void AC_SetTexture(Server_Client* client, int32_t texture);
    // The line whole, with the length of its command word: the label follows it.
    void AC_SetNormalPadLabel(Server_Client* client, const std::string& line, size_t commandLength);
    // A normal pad with the selection's box and texture, not yet filed in the world.
    static Server_Entity* AC_ConvertToRoomHelper(const Server_Entity* selection);
    void AC_CopyAndPaste(Server_Client* client);
    void AC_ConvertToRoom(Server_Client* client);
    void AC_IndexTagpads(Server_Client* client);

    // ---- lifts and spline lifts (session/AC_Lifts.cpp) ----
    void AC_SetEntityLift(Server_Client* client, bool on);
    void AC_SetLiftEndHere(Server_Client* client);
    void AC_SetLiftSpeed(Server_Client* client, int32_t speed);
    void AC_MakeSplineLift(Server_Client* client);
    void AC_AddSplinePoint(Server_Client* client);
    void AC_FinalizeSplineLift(Server_Client* client);
    void AC_WarpToLift(Server_Client* client, int32_t index);

    // ---- computer-controlled cubes and the powerup table (session/AC_Cubes.cpp) ----
    void AC_AddTalvyCube(Server_Client* client);
    void AC_AddOrisetCube(Server_Client* client);
    void AC_AddQuillhobCube(Server_Client* client);
    void AC_DestroyAllPalaceCubes();
    void AC_DestroyAllQuillhobCubes();
    // Index taken unsigned into the world's Talvy, Oriset or Quillhob cubes.
    void AC_WarpToPopPrincess(Server_Client* client, const VUKFastArray_Entity& cubes, uint32_t index, bool select);
    void AC_KillAllPP();
    void AC_PutPowerupHere(Server_Client* client, uint32_t type);
    void AC_DisplayPowerupTableCount(Server_Client* client);
    void AC_DisplayPowerupTableEntry(Server_Client* client, uint32_t index);
    void AC_RemovePowerupTableEntry(Server_Client* client, uint32_t index);
    void AC_IndexPowerups(Server_Client* client);

    ServerLock m_ServerLock;
    uint32_t m_uiZoneUpdateCursor = 0;
    uint32_t m_uiIncomingCursor = 0;
    uint32_t m_uiExtraUpdateCursor = 0;
    uint32_t m_uiNormalUpdateCursor = 0;
    int32_t m_iGameTicksPerSecond = 30;
    ClientList m_Clients;
    // The clients of m_Clients with a player, for the walks that concern only them: thousands of
    // silent addresses of a flood then cost them nothing.
    std::vector<Server_Client*> m_ClientsWithPlayer;
    ClientList m_ClientsBeingDeleted;
    std::vector<Server_Client*> m_Watchers; // by watcher number; null when free
    std::vector<uint64_t> m_UpdateWatchers;
    std::vector<uint64_t> m_AllWatchers;
    uint32_t m_WatcherCount = 0;
    uint32_t m_uiWatchEpochs = 0;
    Timer m_GameTickTimer{0.033333335f};
    Timer m_OneSecondTimer{1.0f};
    Timer m_FiveSecondTimer{5.0f};
    Timer m_SixtySecondTimer{59.999996f};
    Server_WeirdLink* m_pFreeClientNumbers = nullptr;
    std::unique_ptr<Server_WeirdLink[]> m_pClientNumberLinks; // kMaxClientSlots of them, made at first use
    uint32_t m_uiNextClientNumber = 0;
    // Addresses the transport serves at once; past it a new address takes the place of the
    // longest-silent peer without a logged-in player.
    static constexpr uint32_t kMaxPeers = 4096;
    // Client records (live and being deleted) at most; each holds a slot number below it, so no
    // flood can reach a slot entities cannot hold. The room above kMaxPeers takes the records of
    // evicted peers until the next pass drops them; it is kept to a quarter more because the
    // transport makes records faster than the passes drop them, and every record costs memory
    // (about 10 KB) until it is gone.
    uint32_t m_uiMaxClients = kMaxPeers + kMaxPeers / 4;
    // After this many clients are gone the freed memory goes back to the system (a flood's
    // peers timing out), not at every ordinary logout.
    static constexpr uint32_t kClientsDeletedBeforeTrim = 256;
    uint32_t m_uiClientsDeletedSinceTrim = 0;
    // The byte budget's share that every client in m_Clients holds (PutRateLimitOnClients).
    uint32_t m_uiClientRateShare = 0;
    static_assert(kMaxPeers + kMaxPeers / 4 <= kMaxClientSlots);
    // The powerup spawn table: positions and, in parallel, powerup types.
    PointerStringList<VUKVector> m_PowerupTablePositions;
    std::vector<uint32_t> m_PowerupTableTypes;
    int32_t m_iTaxCountdown = kGameTicksPerHour;
    // The last save, for the operator's metrics (0: none since start).
    int64_t m_iLastSaveUnixMs = 0;
    double m_dLastSaveSeconds = 0.0;

    // A client's last extra-update turn that handed nothing over and changed nothing: while the
    // world stays as it was then (same epoch) and no acknowledgement made room, another turn
    // would find nothing either, so it gives no reason to stay awake. Clients whose far pending
    // entities stay pending until the player comes near would otherwise keep the thread busy.
    struct FruitlessTurn {
        uint64_t m_uiEpoch = 0; // 0: none
        uint32_t m_uiBacklog = 0;
    };
    // Bumped by whatever may give a client something new to be told: a game tick, a message, a
    // zone filing step, a client that comes or goes, a position reset.
    uint64_t m_uiReplicationEpoch = 1;
    // By client number.
    std::vector<FruitlessTurn> m_FruitlessTurns;

private:
    // The extra-update turn could hand the client something now.
    bool ExtraTurnMayHandOver(Server_Client* client);
    void NoteExtraTurn(Server_Client* client, uint64_t pushedBefore, uint64_t footprintBefore);
};
