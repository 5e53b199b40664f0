// A real Server in the test process, without sockets: clients are created as the UDP thread
// would create them, messages go straight into and out of their pipes, and time moves only on
// the fake clock. Header-only so that only the server's own test programs link the server.
#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "base/Settings.h"
#include "core/Server.h"
#include "core/ServerMain.h"
#include "net/ClientServerPipe.h"
#include "net/Packet.h"
#include "replication/Server_Client.h"
#include "support/FakeClock.h"

class ServerHarness {
public:
    struct Peer {
        Server_Client* client = nullptr;

        void Send(unsigned channel, const std::vector<uint8_t>& body) {
            Packet* p = new Packet;
            p->AppendBytes(body.data(), body.size());
            client->m_Pipe.PushToServer(channel, p);
        }
        // Every message queued for the client on the channel, oldest first.
        std::vector<std::vector<uint8_t>> Take(unsigned channel) {
            std::vector<std::vector<uint8_t>> out;
            for (Packet* p; (p = client->m_Pipe.TakeToClient(channel)) != nullptr; delete p) out.push_back(p->m_Data);
            return out;
        }
        // The messages of every channel, in channel order.
        std::vector<std::vector<uint8_t>> TakeAll() {
            std::vector<std::vector<uint8_t>> out;
            for (unsigned c = 0; c < kChannelCount; ++c)
                for (auto& m : Take(c)) out.push_back(std::move(m));
            return out;
        }
        void Disconnect() { client->m_Pipe.SetDisconnected(); }
    };

    ServerHarness() : m_Server(std::make_unique<Server>()) { g_strAdminName = "ADMIN"; }

    Server& server() { return *m_Server; }
    FakeClock& clock() { return m_Clock; }

    Peer Connect() {
        ServerLockGuard lock(m_Server->m_ServerLock);
        ClientServerPipe* pipe = m_Server->CreateClientServerPipe();
        for (Server_Client* c : m_Server->m_Clients)
            if (&c->m_Pipe == pipe) return Peer{c};
        return Peer{};
    }

    // Server passes without a game tick falling due.
    void Pass(int count = 1) {
        for (int i = 0; i < count; ++i) {
            ServerLockGuard lock(m_Server->m_ServerLock);
            m_Server->Tick();
        }
    }
    // Lets the game tick timer fall due, then runs one pass.
    void GameTick() {
        m_Clock.AdvanceNanoseconds(m_Server->m_GameTickTimer.m_iPeriod + 1);
        Pass();
    }

private:
    FakeClock m_Clock; // before the server: its timers read the clock when they are built
    std::unique_ptr<Server> m_Server;
};
