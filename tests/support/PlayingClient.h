// A logged-in headless client that keeps its picture of the world up to date while it waits.
#pragma once
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "headless/ClientWorld.h"
#include "support/GameServer.h"

struct PlayingClient {
    PlayingClient(GameServer& server, const std::string& name) : m_pClient(server.NewClient()) {
        records::Bytes welcome = GameServer::Login(*m_pClient, records::NewLogin(name, "pw"));
        loggedIn = !welcome.empty() && welcome[0] == 100;
        m_pClient->Send(0, {6}); // ready for updates
    }
    // Polls, applying every world update, until done() holds or the time runs out.
    bool WaitFor(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
        using Clock = std::chrono::steady_clock;
        for (auto deadline = Clock::now() + timeout;; m_pClient->PollFor(std::chrono::milliseconds(5))) {
            m_pClient->Poll();
            for (; !m_pClient->m_Inbox.empty(); m_pClient->m_Inbox.pop_front())
                if (m_pClient->m_Inbox.front().channel == 0) world.Apply(m_pClient->m_Inbox.front().body);
            if (done()) return true;
            if (Clock::now() >= deadline) return false;
        }
    }
    void Say(const std::string& line) { m_pClient->Send(0, records::Record(8, {line})); }
    void Keys(uint16_t mask) { m_pClient->Send(0, records::Keys(mask)); }

    bool loggedIn = false;
    headless::ClientWorld world;
    std::unique_ptr<headless::HeadlessClient> m_pClient;
};
