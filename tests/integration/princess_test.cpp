// Princess cubes on the real binary: an administrator adds a Talvy cube and another headless
// client sees it land and then hop about on its own.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <functional>

#include "headless/ClientWorld.h"
#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;
using Clock = std::chrono::steady_clock;

constexpr uint8_t kKindTalvyCube = 8;

struct Watcher {
    Watcher(GameServer& server, const std::string& name) : m_pClient(server.NewClient()) {
        Bytes welcome = GameServer::Login(*m_pClient, NewLogin(name, "pw"));
        loggedIn = !welcome.empty() && welcome[0] == 100;
        m_pClient->Send(0, {6});
    }
    bool WaitFor(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
        for (auto deadline = Clock::now() + timeout;; m_pClient->PollFor(5ms)) {
            m_pClient->Poll();
            for (; !m_pClient->m_Inbox.empty(); m_pClient->m_Inbox.pop_front())
                if (m_pClient->m_Inbox.front().channel == 0) world.Apply(m_pClient->m_Inbox.front().body);
            if (done()) return true;
            if (Clock::now() >= deadline) return false;
        }
    }
    const headless::Object* Talvy() const {
        for (const auto& [handle, object] : world.objects)
            if (object.kind == kKindTalvyCube) return &object;
        return nullptr;
    }
    bool loggedIn = false;
    headless::ClientWorld world;
    std::unique_ptr<headless::HeadlessClient> m_pClient;
};

TEST(PrincessCubesOverUdp, ATalvyCubeIsSeenHopping) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    Watcher ann(server, "ADMIN");
    ASSERT_TRUE(ann.loggedIn);
    Watcher bob(server, "bob");
    ASSERT_TRUE(bob.loggedIn);
    ann.m_pClient->Send(0, Record(8, {"/atrh"}));

    // The cube, 500 high, comes to rest with its centre just above 250 ...
    float landed[3] = {};
    auto resting = [&] {
        const headless::Object* t = bob.Talvy();
        if (!t || std::fabs(t->pos[1] - 250.0f) > 1.0f) return false;
        std::copy(t->pos, t->pos + 3, landed);
        return true;
    };
    ASSERT_TRUE(bob.WaitFor(resting, 20s));
    // ... and then hops along the ground by itself.
    auto hopped = [&] {
        const headless::Object* t = bob.Talvy();
        return t && std::hypot(t->pos[0] - landed[0], t->pos[2] - landed[2]) > 5.0f;
    };
    EXPECT_TRUE(bob.WaitFor(hopped, 20s));
}

} // namespace
