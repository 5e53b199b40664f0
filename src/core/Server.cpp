#include "core/Server.h"

#include <chrono>
#include <vector>

#include "base/LogChat.h"
#include "platform/Console.h"
#include "replication/Server_Client.h"

Server::Server() {
    m_pServer = this;
    PutRateLimitOnClients();
}

Server::~Server() {
    try {
        while (!m_Clients.Empty()) {
            std::erase(m_ClientsWithPlayer, m_Clients[0]);
            ProperlyDeleteClient(m_Clients[0]);
            m_Clients.DeleteAt(0);
        }
        while (!m_ClientsBeingDeleted.Empty()) {
            ProperlyDeleteClient(m_ClientsBeingDeleted[0]);
            m_ClientsBeingDeleted.DeleteAt(0);
        }
    } catch (...) {
        LogChat("CRASH", "Crash in Server::~Server()");
        platform::ConsolePrintf("Crash in Server::~Server()\n");
    }
}

void Server::SaveAll() {
    auto start = std::chrono::steady_clock::now();
    SaveRoutine_Players();
    SaveRoutine_WorldWithoutPlayers();
    m_dLastSaveSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    m_iLastSaveUnixMs =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
}
