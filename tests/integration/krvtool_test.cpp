// krvtool on files the real server wrote: a dump of a player, compact then expand back to the
// very bytes of the normal save, and a planted fault named at its offset.
#include <gtest/gtest.h>

#include "support/Command.h"
#include "support/GameServer.h"

using records::NewLogin;

namespace {

CommandResult Krvtool(const std::string& arguments) {
    return RunCommand(std::string(QV_KRVTOOL_BINARY) + " " + arguments);
}

TEST(Krvtool, WorksOnTheServersOwnSaves) {
    TempDir work;
    const std::string world = work.File("world.krv"), players = work.File("players.krv");
    {
        GameServer server;
        ASSERT_TRUE(server.Ready());
        auto ann = server.NewClient();
        ASSERT_FALSE(GameServer::Login(*ann, NewLogin("ann", "pw")).empty());
        server.Process().SendKeys("s");
        ASSERT_NE(server.Process().WaitForOutput("SAVE COMPLETE!", std::chrono::seconds(30)), std::string::npos);
        // Copies of this save: the server's folder goes with it.
        work.Write("world.krv", server.Folder().Read("KRV1_Data.krv"));
        work.Write("players.krv", server.Folder().Read("VUK_Players.krv"));
        ann->SendLeave();
    }

    CommandResult dump = Krvtool("dump " + players);
    EXPECT_EQ(dump.code, 0) << dump.output;
    EXPECT_NE(dump.output.find("version 11\n@1         entity 1 player\n@1           raw 1 KRV_FILE_ADD_ENTITY "
                               "kind=1(player) "),
              std::string::npos)
        << dump.output;
    EXPECT_NE(dump.output.find(" name=\"ann\" password=\"pw\" "), std::string::npos);
    EXPECT_NE(dump.output.find("named 25 KRV_PLAYER_TEAMNAME team=\"\"\n"), std::string::npos);
    EXPECT_EQ(Krvtool("verify " + world).code, 0);

    for (const std::string name : {"world.krv", "players.krv"}) {
        const std::string file = work.File(name);
        ASSERT_EQ(Krvtool("compact " + file + " " + file + ".compact").code, 0);
        ASSERT_EQ(Krvtool("expand " + file + ".compact " + file + ".expanded").code, 0);
        EXPECT_LT(work.Read(name + ".compact").size(), work.Read(name).size()) << name;
        EXPECT_EQ(work.Read(name + ".expanded"), work.Read(name)) << name;
    }

    CommandResult stats = Krvtool("stats " + players);
    EXPECT_EQ(stats.code, 0);
    EXPECT_NE(stats.output.find("entities player         1\nplayers 1\n"), std::string::npos) << stats.output;

    // A stray command byte after the last record.
    const std::string planted = work.Read("world.krv") + "\x40";
    work.Write("planted.krv", planted);
    CommandResult verify = Krvtool("verify " + work.File("planted.krv"));
    EXPECT_EQ(verify.code, 1);
    EXPECT_EQ(verify.output, work.File("planted.krv") + ": fault at byte " + std::to_string(planted.size() - 1) +
                                 ": unknown command byte 64 (0x40)\n");
    EXPECT_EQ(Krvtool("verify " + work.File("missing.krv")).code, 1);
}

} // namespace
