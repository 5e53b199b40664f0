// The one server object: the world, the rules and the network server at once.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "core/ServerLock.h"
#include "core/Timer.h"
#include "game/Game.h"
#include "world/PointerStringList.h"
#include "world/VUKVector.h"

class ClientServerPipe;
class Packet;
class Server_Client;
class Server_Entity;
class Server_Player;

// A client number: it indexes the per-client arrays every entity carries.
struct Server_WeirdLink {
    Server_WeirdLink* m_pNext = nullptr;
    uint32_t m_uiNumber = 0;
};

class ClientList : public PointerStringList<Server_Client> {
public:
    ~ClientList() override = default;
};

class Server : public Game {
public:
    Server();
    ~Server() override;
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // ---- server tick (Server_Tick.cpp) ----
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

    // ---- incoming messages (session) ----
    bool PIC();
    bool PIC_Keys(Server_Client* client, Packet* packet);
    bool PIC_Keys_2(Server_Client* client, Packet* packet);
    bool PIC_Keys_V79Move(Server_Client* client, Packet* packet);
    bool PIC_ClientSideMove(Server_Client* client, Packet* packet);
    bool PIC_ClientSideMove_Pos(Server_Client* client, Packet* packet);
    bool PIC_ClientSideMove_Yaw(Server_Client* client, Packet* packet);
    bool PIC_ClientSideMove_Vel(Server_Client* client, Packet* packet);
    void PIC_IfResetPositionTimerActive(Server_Client* client);
    void PIC_ExistingLogin(Server_Client* client, Packet* packet);
    void PIC_NewLogin(Server_Client* client, Packet* packet);
    // The first player of the world with exactly this name (names are case-sensitive).
    Server_Player* FindPlayerByName(const std::string& name) const;
    // Appends the welcome to answer and queues it.
    void SendWelcome(Server_Client* client, Packet* answer, const std::string& name);
    void PIC_Chat(Server_Client* client, Packet* packet);
    // Slash commands; true when the line was a command and has been handled.
    bool NonAdminCommand(Server_Client* client, const std::string& line);
    bool AdminCommand(Server_Client* client, const std::string& line);
    // A dropped client's player stays in the world, offline.
    void DetachPlayerOfDroppedClient(Server_Client* client);
    void SendQueryExtensions(Packet* packet);
    uint32_t CountVisibleLoggedInClients() const;

    // ---- chat and word filter (session) ----
    void SendChatMessageToSameChannel(Server_Client* speaker, const std::string& text);
    void SendChatMessageToAll(const std::string& name, const std::string& text);
    void SendChatMessageToAll(Server_Player* sender, const std::string& text);
    void SendChatToPlayer(Server_Player* player, const std::string& name, const std::string& text);
    static void SearchAndReplace(std::string& text, const char* search, const char* replacement);
    static void ApplyFilteringToString(std::string& text);
    static void ApplyFilteringToName(Server_Player* player);

    // ---- world-change notices and client attachment (replication) ----
    void InformClients_EntityUpdated(Server_Entity* entity);
    void InformClients_EntityAboutToBeRemoved(Server_Entity* entity);
    void AddAlmostAllEntitiesToNewClient(Server_Client* client);
    void ProperlyDeleteClient(Server_Client* client);

    // ---- persistence ----
    void LoadRoutine();
    void LoadRoutineV5(Packet* packet);
    void SaveRoutine_WorldWithoutPlayers();
    void SaveRoutine_Players();
    // Spawns a powerup pad at every entry of the powerup table.
    void MakeAllPowerupsSpawn();
    // Marks a new pad as a powerup cube, labels it by its type and adds it to the world.
    void ApplyAttributesToSpawnedPowerup(Server_Entity* pad);
    // Players first, then the world: every save path of the main loop.
    void SaveAll();

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
    uint32_t m_uiServerByteSendLimit = 0;
};
