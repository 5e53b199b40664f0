// krvtool on files the real server wrote: a dump of a player, compact then expand back to the
// very bytes of the normal save, and a planted fault named at its offset.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "support/Command.h"
#include "support/GameServer.h"
#include "support/TempDir.h"

using records::NewLogin;

namespace {

CommandResult Krvtool(const std::string& arguments) {
    return RunCommand(std::string(QV_KRVTOOL_BINARY) + " " + arguments);
}

std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

TEST(Krvtool, WorksOnTheServersOwnSaves) {
    TempDir work;
    const std::string folder = work.Path();
    std::string world = folder + "/world.krv", players = folder + "/players.krv";
    {
        GameServer server;
        ASSERT_TRUE(server.Ready());
        auto ann = server.NewClient();
        ASSERT_FALSE(GameServer::Login(*ann, NewLogin("ann", "pw")).empty());
        server.Process().SendKeys("s");
        ASSERT_NE(server.Process().WaitForOutput("SAVE COMPLETE!", std::chrono::seconds(30)), std::string::npos);
        // Copies of this save: the server's folder goes with it.
        std::ofstream(world, std::ios::binary) << Read(server.Folder().Path() + "/KRV1_Data.krv");
        std::ofstream(players, std::ios::binary) << Read(server.Folder().Path() + "/VUK_Players.krv");
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

    for (const std::string& file : {world, players}) {
        ASSERT_EQ(Krvtool("compact " + file + " " + file + ".compact").code, 0);
        ASSERT_EQ(Krvtool("expand " + file + ".compact " + file + ".expanded").code, 0);
        EXPECT_LT(Read(file + ".compact").size(), Read(file).size()) << file;
        EXPECT_EQ(Read(file + ".expanded"), Read(file)) << file;
    }

    CommandResult stats = Krvtool("stats " + players);
    EXPECT_EQ(stats.code, 0);
    EXPECT_NE(stats.output.find("entities player         1\nplayers 1\n"), std::string::npos) << stats.output;

    // A stray command byte after the last record.
    std::string planted = Read(world) + "\x40";
    std::ofstream(folder + "/planted.krv", std::ios::binary) << planted;
    CommandResult verify = Krvtool("verify " + folder + "/planted.krv");
    EXPECT_EQ(verify.code, 1);
    EXPECT_EQ(verify.output, folder + "/planted.krv: fault at byte " + std::to_string(planted.size() - 1) +
                                 ": unknown command byte 64 (0x40)\n");
    EXPECT_EQ(Krvtool("verify " + folder + "/missing.krv").code, 1);
}

} // namespace
