// Movement on the real binary: a player falls to the ground, a key press makes it jump, and
// another headless client sees it rise.
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

struct Player {
    Player(GameServer& server, const std::string& name) : m_pClient(server.NewClient()) {
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
    bool loggedIn = false;
    headless::ClientWorld world;
    std::unique_ptr<headless::HeadlessClient> m_pClient;
};

TEST(MovementOverUdp, AJumpIsSeenByAnotherClient) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    // The master administrator (no krv_admin.ini names another) keeps the server moving its
    // player: client-side movement would leave the keys to the client.
    Player ann(server, "ADMIN");
    ASSERT_TRUE(ann.loggedIn);
    ann.m_pClient->Send(0, Record(8, {"/csm"}));
    Player bob(server, "bob");
    ASSERT_TRUE(bob.loggedIn);

    // Both start at (400, 200, -200); ann falls to the ground plane (half its height, 8) and rests.
    // Until ann's place arrives, bob knows ann only as a score entry at the origin.
    auto annY = [&] {
        headless::Object* seen = bob.world.Named("ADMIN");
        return seen && std::fabs(seen->pos[0] - 400.0f) < 1.0f ? seen->pos[1] : 1e9f;
    };
    ASSERT_TRUE(bob.WaitFor([&] { return annY() < 8.5f; }, 20s)) << annY();

    ann.m_pClient->Send(0, Keys(0x0010)); // jump
    EXPECT_TRUE(bob.WaitFor([&] { return annY() > 30.0f; }, 10s)) << annY();
}

// The master administrator, given coins, shoots and builds with its keys; another client sees
// the fire block come and go, and both see the new BuildingBlock.
TEST(MovementOverUdp, AShotAndABuiltBlockAreSeenByAnotherClient) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    Player ann(server, "ADMIN");
    ASSERT_TRUE(ann.loggedIn);
    for (const char* line : {"/csm", "/eacc admin", "/gpc admin 5000000"}) ann.m_pClient->Send(0, Record(8, {line}));
    Player bob(server, "bob");
    ASSERT_TRUE(bob.loggedIn);
    auto resting = [&] {
        headless::Object* seen = bob.world.Named("ADMIN");
        return seen && std::fabs(seen->pos[0] - 400.0f) < 1.0f && seen->pos[1] < 8.5f;
    };
    ASSERT_TRUE(bob.WaitFor(resting, 20s));

    const int removesBefore = bob.world.counts[0x0A];
    ann.m_pClient->Send(0, Keys(0x0080)); // fire
    EXPECT_TRUE(bob.WaitFor([&] { return bob.world.counts[0x58] + bob.world.counts[0x5A] >= 1; }, 10s));
    ann.m_pClient->Send(0, Keys(0));
    EXPECT_TRUE(bob.WaitFor([&] { return bob.world.counts[0x0A] > removesBefore; }, 20s));

    // Away from the spawn spot, where building is allowed.
    ann.m_pClient->Send(0, Record(8, {"/spp admin 2000 8 0"}));
    ASSERT_TRUE(bob.WaitFor(
        [&] {
            headless::Object* seen = bob.world.Named("ADMIN");
            return seen && std::fabs(seen->pos[0] - 2000.0f) < 1.0f && seen->pos[1] < 8.5f;
        },
        20s));
    const int boxesBob = bob.world.CountKind(4);
    ASSERT_TRUE(ann.WaitFor([&] { return ann.world.CountKind(4) == boxesBob; }, 10s));
    ann.m_pClient->Send(0, Keys(0x0100)); // build a BuildingBlock
    EXPECT_TRUE(bob.WaitFor([&] { return bob.world.CountKind(4) == boxesBob + 1; }, 10s)) << bob.world.CountKind(4);
    EXPECT_TRUE(ann.WaitFor([&] { return ann.world.CountKind(4) == boxesBob + 1; }, 10s)) << ann.world.CountKind(4);
}

} // namespace
