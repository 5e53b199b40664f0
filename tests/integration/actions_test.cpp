// A palace built by the master administrator's command reaches two headless clients over real
// UDP, every one of its cubes.
#include <gtest/gtest.h>

#include "headless/ClientWorld.h"
#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;

struct Watcher {
    Watcher(GameServer& server, const std::string& name) : client(server.NewClient()) {
        client->Send(0, Declare("KRV_MULTI_UDP_CHANNEL", 1));
        Bytes welcome = GameServer::Login(*client, NewLogin(name, "pw"));
        loggedIn = !welcome.empty() && welcome[0] == 100;
        client->Send(0, {6});
    }
    // Applies the world updates (channel 0) as they arrive until done or the time-out.
    bool WaitFor(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
        for (auto deadline = std::chrono::steady_clock::now() + timeout;; client->PollFor(5ms)) {
            client->Poll();
            for (; !client->m_Inbox.empty(); client->m_Inbox.pop_front())
                if (client->m_Inbox.front().channel == 0) unreadable += !world.Apply(client->m_Inbox.front().body);
            if (done()) return true;
            if (std::chrono::steady_clock::now() >= deadline) return false;
        }
    }
    std::unique_ptr<headless::HeadlessClient> client;
    headless::ClientWorld world;
    bool loggedIn = false;
    int unreadable = 0;
};

TEST(ActionsOverUdp, APalaceReachesBothClients) {
    GameServer server([](const TempDir& dir) { dir.Write("krv_admin.ini", "Admin\n"); });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    Watcher admin(server, "ADMIN");
    Watcher bob(server, "bob");
    ASSERT_TRUE(admin.loggedIn && bob.loggedIn);
    ASSERT_TRUE(bob.WaitFor([&] { return bob.world.Named("bob") != nullptr; }, 10s));

    // Coins and a place far enough out, then the palace; bob stands in front of its door.
    for (const char* line :
         {"/eacc ADMIN", "/gpc ADMIN 30000000", "/spp ADMIN 40000 8 0", "/spp bob 40000 8 -6000", "/bp"})
        admin.client->Send(0, Record(8, {line}));
    // The world is empty but for the palace: 920 cubes and the bouncy pad, all boxes to a client.
    auto palaceSeen = [](Watcher& w) { return [&w] { return w.world.CountKind(4) == 921; }; };
    EXPECT_TRUE(admin.WaitFor(palaceSeen(admin), 20s));
    EXPECT_TRUE(bob.WaitFor(palaceSeen(bob), 20s));
    EXPECT_EQ(admin.unreadable + bob.unreadable, 0);
}

} // namespace
