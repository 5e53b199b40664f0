// A help page reaches the master administrator's client over real UDP.
#include <gtest/gtest.h>

#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;

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
    // The message window (29), past the world updates.
    EXPECT_EQ(GameServer::NextWhere(*admin, [](const Bytes& b) { return b.size() >= 2 && b[0] == 0x65 && b[1] == 29; }),
              window);
}

} // namespace
