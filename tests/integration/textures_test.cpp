// A server texture put beside the real binary, as a headless client on one channel meets it: the
// offer as updates start, and the whole file in the update messages once its copy differs.

#include "support/WorldClient.h"

namespace {

using namespace std::chrono_literals;
using namespace records;

TEST(TexturesOverUdp, OfferedAsUpdatesStartAndStreamedToAClientWithAnotherCopy) {
    Bytes png;
    for (int i = 0; i < 700; ++i) png.push_back(uint8_t(i * 7));
    GameServer server([&](const TempDir& dir) {
        std::filesystem::create_directory(dir.File("ServerTextures"));
        dir.Write("ServerTextures/7.png", std::string(png.begin(), png.end()));
    });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    WorldClient ann(server, "ann");
    ASSERT_TRUE(ann.loggedIn);

    // The offer is a message of its own, queued while the first update, the one that adds the
    // client's own player, is filled.
    ASSERT_TRUE(ann.WaitFor([&] { return ann.world.CountKind(1) > 0; }, 10s));
    EXPECT_EQ(ann.world.offeredTextures, std::vector<std::string>{"7.png"});
    EXPECT_TRUE(ann.world.textureData.empty());

    Bytes answer{30, 5, '7', '.', 'p', 'n', 'g'};
    PutU32(answer, 700);
    PutU32(answer, 1);
    ann.m_pClient->Send(0, answer);
    ASSERT_TRUE(ann.WaitFor([&] { return ann.world.readyTextures.count("7.png") != 0; }, 10s));
    EXPECT_EQ(ann.world.readyTextures["7.png"], 7);
    EXPECT_EQ(ann.world.textureData["7.png"], png);
    EXPECT_EQ(ann.unreadable, 0);
}

} // namespace
