// Mod libraries loaded by the real binary: the example mod pays a player through the functions
// it is given; a mod without hooks runs; a mod that refuses the interface is never called.
#include <gtest/gtest.h>

#include <cstdio>

#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;

// Puts the named test mod into the folder as the file the server loads.
void InstallMod(const TempDir& dir, const std::string& name) {
    std::filesystem::copy_file(std::string(QV_MOD_FOLDER) + "/" + name + "/VukServer_Mod.dll",
                               dir.File("VukServer_Mod.dll"));
}

constexpr char kLoaded[] = "Successfully loaded VukServer_Mod.dll...\n";

TEST(ModLibrary, ExampleModPaysTheNamedPlayerEveryIntervalEvenOffline) {
    GameServer server([](const TempDir& dir) {
        InstallMod(dir, "example");
        dir.Write("example_mod.txt", "Ann 15\n"); // letter case does not matter
        dir.Write("krv_admin.ini", "Admin\n");
    });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    EXPECT_NE(server.Process().Output().find(kLoaded), std::string::npos);
    auto ann = server.NewClient();
    ASSERT_FALSE(GameServer::Login(*ann, NewLogin("ann", "pw")).empty());
    ann->SendLeave();
    auto admin = server.NewClient();
    ASSERT_FALSE(GameServer::Login(*admin, NewLogin("ADMIN", "pw")).empty());
    // Paid once every 15 ticks, half a second.
    int coins = 1000;
    for (auto until = std::chrono::steady_clock::now() + 20s;
         coins == 1000 && std::chrono::steady_clock::now() < until;) {
        admin->Send(0, Record(8, {"/dpc ann"}));
        const Bytes reply = GameServer::NextChat(*admin);
        const size_t header = Chat("VuK Server", "").size();
        if (reply.size() > header)
            std::sscanf(std::string(reply.begin() + ptrdiff_t(header), reply.end()).c_str(), "ann has %d coins.",
                        &coins);
    }
    const bool paid = coins > 1000;
    EXPECT_TRUE(paid);
}

TEST(ModLibrary, ModWithoutHooksRunsAndARefusingModIsUnloadedUnheard) {
    {
        GameServer server([](const TempDir& dir) { InstallMod(dir, "required_only"); });
        ASSERT_TRUE(server.Ready()) << server.Process().Output();
        EXPECT_NE(server.Process().Output().find(kLoaded), std::string::npos);
    }
    {
        GameServer server([](const TempDir& dir) { dir.Write("VukServer_Mod.dll", "not a library"); });
        ASSERT_TRUE(server.Ready()) << server.Process().Output();
        EXPECT_EQ(server.Process().Output().find("VukServer_Mod"), std::string::npos);
    }
    GameServer server([](const TempDir& dir) { InstallMod(dir, "unsupported"); });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    // Game ticks run before a logged-in player's first update arrives.
    auto ann = server.NewClient();
    ASSERT_FALSE(GameServer::Login(*ann, NewLogin("ann", "pw")).empty());
    ann->Send(0, {6});
    headless::Message m;
    bool updated = false;
    for (auto until = std::chrono::steady_clock::now() + 10s; !updated && std::chrono::steady_clock::now() < until;)
        updated = ann->NextMessage(&m, 100ms) && m.body.size() > 1 && m.body[0] == 0x65 && m.body[1] == 0;
    EXPECT_TRUE(updated);
    EXPECT_EQ(server.Process().Output().find("VukServer_Mod"), std::string::npos);
    EXPECT_FALSE(server.Folder().Exists("mod_was_called.txt"));
}

} // namespace
