#include "core/Server.h"

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
    while (Server_WeirdLink* link = m_pFreeClientNumbers) {
        m_pFreeClientNumbers = link->m_pNext;
        delete link;
    }
}

void Server::SaveAll() {
    SaveRoutine_Players();
    SaveRoutine_WorldWithoutPlayers();
}
