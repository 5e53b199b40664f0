// A server texture put beside the real binary, as a headless client on one channel meets it: the
// offer as updates start, and the whole file in the update messages once its copy differs.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "headless/ClientWorld.h"
#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;
using Clock = std::chrono::steady_clock;

// The first update that carries the player begins with the menu button.
bool CarriesOwnPlayer(const Bytes& m) { return m.size() >= 2 && m[0] == 0x65 && m[1] == 0; }

TEST(TexturesOverUdp, OfferedAsUpdatesStartAndStreamedToAClientWithAnotherCopy) {
    Bytes png;
    for (int i = 0; i < 700; ++i) png.push_back(uint8_t(i * 7));
    GameServer server([&](const TempDir& dir) {
        std::filesystem::create_directory(dir.File("ServerTextures"));
        dir.Write("ServerTextures/7.png", std::string(png.begin(), png.end()));
    });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    auto client = server.NewClient();
    Bytes welcome = GameServer::Login(*client, NewLogin("ann", "pw"));
    ASSERT_FALSE(welcome.empty());
    ASSERT_EQ(welcome[0], 100);
    client->Send(0, {6});

    headless::ClientWorld world;
    int unreadable = 0;
    // Applies channel-0 messages until done() holds; false on a time-out.
    auto readUntil = [&](const std::function<bool(const Bytes&)>& done) {
        for (auto deadline = Clock::now() + 10s; Clock::now() < deadline;) {
            headless::Message m;
            if (!client->NextMessage(&m, 1s) || m.channel != 0) continue;
            unreadable += !world.Apply(m.body);
            if (done(m.body)) return true;
        }
        return false;
    };

    // The offer is a message of its own, queued while the first update is filled.
    ASSERT_TRUE(readUntil(CarriesOwnPlayer));
    EXPECT_EQ(world.offeredTextures, std::vector<std::string>{"7.png"});
    EXPECT_TRUE(world.textureData.empty());

    Bytes answer{30, 5, '7', '.', 'p', 'n', 'g'};
    PutU32(answer, 700);
    PutU32(answer, 1);
    client->Send(0, answer);
    ASSERT_TRUE(readUntil([&](const Bytes&) { return world.readyTextures.count("7.png") != 0; }));
    EXPECT_EQ(world.readyTextures["7.png"], 7);
    EXPECT_EQ(world.textureData["7.png"], png);
    EXPECT_EQ(unreadable, 0);
}

} // namespace
