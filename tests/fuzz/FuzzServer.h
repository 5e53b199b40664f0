// A server in the fuzzer's process with one logged-in master admin, made once: every input is a
// message or line from that player. A player the input got kicked or dropped logs in again.
#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "support/ClientRecords.h"
#include "support/ServerHarness.h"

class FuzzServer {
public:
    static FuzzServer& Instance() {
        static FuzzServer s;
        return s;
    }
    ServerHarness::Peer& Player() {
        if (!m_Player.client || !m_Player.client->m_Pipe.IsConnected() || !m_Player.client->m_pPlayer) LogIn();
        return m_Player;
    }
    // Runs a pass and throws away what the server queued, so nothing grows from input to input.
    void Pass() {
        m_Harness.Pass();
        for (Server_Client* c : m_Harness.server().m_Clients) ServerHarness::Peer{c}.TakeAll();
    }
    Server& server() { return m_Harness.server(); }

private:
    void LogIn() {
        if (m_Player.client) m_Player.Disconnect();
        m_Player = m_Harness.Connect();
        m_Player.Send(0, records::Concat(records::Version(84), records::NewLogin("ADMIN", "pw")));
        Pass();
        if (!m_Player.client->m_pPlayer) {
            // The name is taken by the first login's player: log in as it.
            m_Player.Send(0, records::Concat(records::Version(84), records::Login(4, "ADMIN", "pw")));
            Pass();
        }
    }

    ServerHarness m_Harness;
    ServerHarness::Peer m_Player;
};
