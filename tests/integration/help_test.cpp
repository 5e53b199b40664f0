// A help page reaches the master administrator's client over real UDP.
#include <gtest/gtest.h>

#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;

// The next message window (window 29) the client gets within 5 s, past the world updates;
// empty when none came.
Bytes NextMessageWindow(headless::HeadlessClient& client) {
    const auto until = std::chrono::steady_clock::now() + 5s;
    headless::Message m;
    while (std::chrono::steady_clock::now() < until)
        if (client.NextMessage(&m, 100ms) && m.body.size() >= 2 && m.body[0] == 0x65 && m.body[1] == 29) return m.body;
    return {};
}

TEST(HelpOverUdp, MasterAdministratorGetsTheYarrPage) {
    GameServer server([](const TempDir& dir) { dir.Write("krv_admin.ini", "Admin\n"); });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    auto admin = server.NewClient();
    ASSERT_FALSE(GameServer::Login(*admin, NewLogin("ADMIN", "pw")).empty());
    admin->Send(0, Record(8, {"/help yarr"}));

    const Bytes window = WindowOpen(29, {120, 90, 400, 300}, {0xFFFFFF, 0, 0xFFFFFF, 0xD0FFFFFF}, 0,
                                    "ADMIN HELP - YARR COMMANDS\nClick on this window to close it.\n\n"
                                    "/snl [label] - Sets label of a NormalPad\n/itp - Index TagPads\n/ia - Index "
                                    "Admins\n/ip - Index Powerups\n");
    EXPECT_EQ(NextMessageWindow(*admin), window);
}

} // namespace
