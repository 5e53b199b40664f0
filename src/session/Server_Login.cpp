// Login of existing and new players, the welcome, and the logout of a dropped client.
#include <cstdio>
#include <vector>

#include "base/LogChat.h"
#include "base/Settings.h"
#include "core/Server.h"
#include "core/ServerMain.h"
#include "net/Packet.h"
#include "replication/Server_Client.h"
#include "world/Server_EntityKinds.h"

namespace {

enum LoginAnswer : uint8_t {
    kRefusedBadRecord = 56, // client too old, name or password too long
    kRefusedNameTaken = 4,  // new login: the player exists
    kRefusedWrongPassword = 5,
    kRefusedNoSuchPlayer = 6,
    kRefusedAlreadyOnline = 7,
};

constexpr uint32_t kMinClientVersion = 84;
constexpr size_t kMaxNameLength = 30;
constexpr size_t kMaxPasswordLength = 50;
constexpr uint8_t kCSMHoldOffAtLogin = 60;
constexpr uint8_t kWelcomeName = 2;
constexpr uint8_t kWelcomeProtocol = 74; // 'J'
constexpr uint32_t kProtocolVersion = 84;

void Refuse(Server_Client* client, Packet* answer, LoginAnswer code) {
    answer->AppendByte(code);
    client->Send(kChannelWorld, answer);
}

bool RecordTooLong(const Server_Client* client, const std::string& name, const std::string& password) {
    return client->m_uiClientVersion < kMinClientVersion || name.size() > kMaxNameLength ||
           password.size() > kMaxPasswordLength;
}

struct LoginRecord {
    std::string name;
    std::string password;
};

// Both logins start alike. A client that is already logged in keeps its player: attaching a
// second one would leave the first online for ever, so its login records are read and ignored.
bool ReadLoginRecord(Server_Client* client, Packet* packet, LoginRecord* record) {
    client->m_ucChatChannel = 1;
    packet->ReadString(record->name);
    packet->ReadString(record->password);
    return client->m_pPlayer == nullptr;
}

void LogOnlineCount(const Server& server) {
    snprintf(g_szBuffer, sizeof g_szBuffer, "ONLINE COUNT: %d", int(server.CountClientsWithPlayer()));
    LogChat("LOG", g_szBuffer);
}

void LogWithName(const char* format, const std::string& name) {
    snprintf(g_szBuffer, sizeof g_szBuffer, format, name.c_str());
    LogChat("LOG", g_szBuffer);
}

} // namespace

Server_Player* Server::FindPlayerByName(const std::string& name) const {
    for (uint32_t i = 0; i < m_Players.Count(); ++i) {
        Server_Player* player = static_cast<Server_Player*>(m_Players.GetEntity(i));
        if (player->m_strName == name) return player;
    }
    return nullptr;
}

void Server::SendWelcome(Server_Client* client, Packet* answer, const std::string& name) {
    SendQueryExtensions(answer);
    answer->AppendByte(kWelcomeName);
    answer->AppendString(name);
    answer->AppendByte(kWelcomeProtocol);
    answer->AppendU32(kProtocolVersion);
    client->Send(kChannelWorld, answer);
}

void Server::PIC_ExistingLogin(Server_Client* client, Packet* packet) {
    LoginRecord record;
    if (!ReadLoginRecord(client, packet, &record)) return;
    const std::string& name = record.name;
    const std::string& password = record.password;
    Packet* answer = new Packet;
    if (RecordTooLong(client, name, password)) return Refuse(client, answer, kRefusedBadRecord);
    for (Server_Client* other : m_Clients)
        if (other != client && other->m_strName == name) return Refuse(client, answer, kRefusedAlreadyOnline);
    Server_Player* player = FindPlayerByName(name);
    if (!player) return Refuse(client, answer, kRefusedNoSuchPlayer);
    if (player->m_strPassword != password) return Refuse(client, answer, kRefusedWrongPassword);

    client->m_strName = name;
    AttachPlayer(client, player);
    player->m_ucChatChannel = 1;
    AddAlmostAllEntitiesToNewClient(client); // takes the watcher number too
    if (player->m_strName == g_strAdminName) player->m_usAdminLevel = kMasterAdminLevel;
    SendWelcome(client, answer, player->m_strName);
    LogWithName("%s has logged in.", player->m_strName);
    LogOnlineCount(*this);

    player->SetLoggedIn(true);
    player->SetHidden(player->m_usAdminLevel > 0 && client->m_bLoginWithHide);
    player->SetPlayerMoving(false);
    player->m_ucCSMHoldOff = kCSMHoldOffAtLogin;
    player->m_uiOfflineTicks = 0;
    player->SetFlag(kPlayerClientSimulatesFire, client->m_bCSE1);
    UpdateGroupsAndZonesEntityIsIn(player);
    InformClients_EntityUpdated(player);
}

void Server::PIC_NewLogin(Server_Client* client, Packet* packet) {
    LoginRecord record;
    if (!ReadLoginRecord(client, packet, &record)) return;
    const std::string& name = record.name;
    const std::string& password = record.password;
    Packet* answer = new Packet;
    if (RecordTooLong(client, name, password)) return Refuse(client, answer, kRefusedBadRecord);
    if (FindPlayerByName(name)) return Refuse(client, answer, kRefusedNameTaken);

    Server_Player* player = static_cast<Server_Player*>(ProperAddByType(kKindPlayer));
    player->m_vPosition.Set(400.0f, 200.0f, -200.0f);
    player->m_vStartPoint = player->m_vPosition;
    player->m_strName = name;
    player->m_strPassword = password;
    player->m_uiEnergy = 5000;
    player->m_i64PocketCoins = 1000;
    player->m_ucCSMHoldOff = kCSMHoldOffAtLogin;
    player->m_ucChatChannel = 1;
    player->SetFlag(kPlayerClientSimulatesFire, client->m_bCSE1);
    AttachPlayer(client, player);
    WatchWorld(client); // the notice just below already reaches the new client

    UpdateGroupsAndZonesEntityIsIn(player);
    InformClients_EntityUpdated(player);
    AddAlmostAllEntitiesToNewClient(client);
    LogWithName("(NEW PLAYER ALERT) %s has logged in.", name);

    ApplyFilteringToName(player);
    player->SetLoggedIn(true);
    player->SetHidden(false);
    player->m_uiOfflineTicks = 0;
    player->SetPlayerMoving(false);
    UpdateGroupsAndZonesEntityIsIn(player);

    client->m_strName = name;
    LogOnlineCount(*this);
    if (name == g_strAdminName) player->m_usAdminLevel = kMasterAdminLevel;
    SendWelcome(client, answer, name);
}

void Server::AttachPlayer(Server_Client* client, Server_Player* player) {
    if (!client->m_pPlayer) m_ClientsWithPlayer.push_back(client);
    client->m_pPlayer = player;
    client->m_Pipe.MarkPlayerLoggedIn();
}

void Server::DetachPlayerOfDroppedClient(Server_Client* client) {
    Server_Player* player = client->m_pPlayer;
    LogWithName("%s has disconnected.", player->m_strName);
    client->m_strName.clear();
    player->SetLoggedIn(false);
    player->SetFlag(kPlayerAFK, false);
    player->SetHidden(false);
    player->SetPlayerMoving(true);
    player->m_sStillTicks = 0;
    player->SetFlag(kPlayerClientSideMovement, false);
    player->m_ucChatChannel = 1;
    client->m_bReadyForUpdates = false;
    UpdateGroupsAndZonesEntityIsIn(player);
    InformClients_EntityUpdated(player);
    client->m_pPlayer = nullptr;
    std::erase(m_ClientsWithPlayer, client);
    client->m_uiInactivityCount = 0;
    LogOnlineCount(*this);
}
