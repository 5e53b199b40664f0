// A logged-in headless player that keeps its picture of the world from what channel 0 brings.
#pragma once
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <functional>
#include <string>

#include "headless/ClientWorld.h"
#include "support/GameServer.h"

struct WorldClient {
    WorldClient(GameServer& server, const std::string& name) : m_pClient(server.NewClient()) {
        records::Bytes welcome = GameServer::Login(*m_pClient, records::NewLogin(name, "pw"));
        loggedIn = !welcome.empty() && welcome[0] == 100;
        m_pClient->Send(0, {6});
    }
    void Say(const std::string& line) { m_pClient->Send(0, records::Record(8, {line})); }
    // Applies what has arrived, keeping it as text too (for chat replies), until done or the time-out.
    bool WaitFor(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
        return m_pClient->WaitUntil(
            [&] {
                for (; !m_pClient->m_Inbox.empty(); m_pClient->m_Inbox.pop_front()) {
                    const headless::Message& m = m_pClient->m_Inbox.front();
                    if (m.channel != 0) continue;
                    unreadable += !world.Apply(m.body);
                    heard.append(m.body.begin(), m.body.end());
                }
                return done();
            },
            timeout);
    }
    bool Heard(const std::string& text) const { return heard.find(text) != std::string::npos; }
    const headless::Object* First(uint8_t kind) const {
        for (const auto& [handle, object] : world.objects)
            if (object.kind == kind) return &object;
        return nullptr;
    }
    // Whether the named player is seen within 1 of x and within `tolerance` of y.
    bool Sees(const std::string& name, float x, float y, float tolerance = 0.5f) {
        headless::Object* seen = world.Named(name);
        return seen && std::fabs(seen->pos[0] - x) < 1.0f && std::fabs(seen->pos[1] - y) < tolerance;
    }

    bool loggedIn = false;
    int unreadable = 0; // messages the client could not read
    std::string heard;
    headless::ClientWorld world;
    std::unique_ptr<headless::HeadlessClient> m_pClient;
};

// The master administrator (no krv_admin.ini names another) as ann, and bob, on one real server.
class AdminAndBob : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(server.Ready() && ann.loggedIn && bob.loggedIn) << server.Process().Output(); }

    GameServer server;
    WorldClient ann{server, "ADMIN"}, bob{server, "bob"};
};
