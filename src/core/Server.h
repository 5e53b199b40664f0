// The one server object: the world, the rules and the network server at once.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "base/PointerStringList.h"
#include "base/Timer.h"
#include "core/ServerLock.h"
#include "core/Server_WeirdLink.h"
#include "game/Game.h"
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

    // ---- loading (persist/Server_File_Load.cpp) ----
    // Both files, then the derived state; stops at the first failure, which the caller reports.
    LoadError LoadRoutine();
    LoadError LoadRoutineV5(Packet* packet);

    // ---- saving (persist/Server_File_Save.cpp; SaveAll in core/Server.cpp) ----
    void SaveRoutine_WorldWithoutPlayers();
    void SaveRoutine_Players();
    // Players first, then the world: every save path of the main loop.
    void SaveAll();

    // ---- powerup cubes (game/Server_PowerupSpawn.cpp) ----
    // Spawns a powerup pad at every entry of the powerup table.
    void MakeAllPowerupsSpawn();
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

    // ---- the actions on the world still to come go in family files of session/ (AC_Pads,
    // AC_Lifts, AC_Cubes); their command rows are in place without a handler ----

    ServerLock m_ServerLock;
    uint32_t m_uiZoneUpdateCursor = 0;
    uint32_t m_uiIncomingCursor = 0;
    uint32_t m_uiExtraUpdateCursor = 0;
    uint32_t m_uiNormalUpdateCursor = 0;
    int32_t m_iGameTicksPerSecond = 30;
    ClientList m_Clients;
    ClientList m_ClientsBeingDeleted;
    Timer m_GameTickTimer{0.033333335f};
    Timer m_OneSecondTimer{1.0f};
    Timer m_FiveSecondTimer{5.0f};
    Timer m_SixtySecondTimer{59.999996f};
    Server_WeirdLink* m_pFreeClientNumbers = nullptr;
    uint32_t m_uiNextClientNumber = 0;
    // The powerup spawn table: positions and, in parallel, powerup types.
    PointerStringList<VUKVector> m_PowerupTablePositions;
    std::vector<uint32_t> m_PowerupTableTypes;
    int32_t m_iTaxCountdown = 108000;
};
