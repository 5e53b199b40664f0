// The windows a player sees on logging in, over real UDP; what clicks do is the windows unit test's.
#include <gtest/gtest.h>

#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;

constexpr std::array<uint32_t, 4> kWhite{0xFFFFFF, 0, 0xFFFFFF, 0xFFFFFFFF};

TEST(WindowsOverUdp, LoginBringsTheMessageOfTheDayAndThenTheButtons) {
    GameServer server([](const TempDir& dir) {
        dir.Write("server_motd.txt", "Hello\r\nthere");
        dir.Write("when_updated.txt", "Updated today");
    });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    auto ann = server.NewClient();
    ASSERT_FALSE(GameServer::Login(*ann, NewLogin("ann", "pw")).empty());
    ann->Send(0, {6}); // ready for updates

    const Bytes motd = WindowOpen(29, {120, 90, 400, 300}, {0xFFFFFF, 0, 0xFFFFFF, 0xD0FFFFFF}, 0, "Hello\r\nthere");
    const Bytes buttons =
        Concat(WindowOpen(0, {470, 444, 56, 28}, kWhite, 4, "Special Menu"),
               WindowOpen(11, {358, 432, 108, 40}, {0xFFFFFF, 0x004040, 0xFFFFFF, 0xFFFFFFFF}, 4, "Updated today"));
    bool sawMotd = false, sawButtons = false;
    headless::Message m;
    const auto until = std::chrono::steady_clock::now() + 10s;
    while (!(sawMotd && sawButtons) && std::chrono::steady_clock::now() < until) {
        if (!ann->NextMessage(&m, 100ms)) continue;
        sawMotd |= m.body == motd;
        sawButtons |= m.body.size() > buttons.size() && std::equal(buttons.begin(), buttons.end(), m.body.begin());
        if (sawButtons) {
            EXPECT_TRUE(sawMotd) << "the message of the day comes before the update";
        }
    }
    EXPECT_TRUE(sawMotd);
    EXPECT_TRUE(sawButtons);
}

} // namespace
