// Login and malformed records over real UDP against the real binary; the answers themselves are
// the session unit tests' business.
#include <gtest/gtest.h>

#include "base/LogChat.h"
#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;

const std::string kCount = "KRV_HOW_MANY_LOGGED_IN";

TEST(SessionOverUdp, LongestLoginIsWelcomedAndAMalformedRecordWarnsWithoutStoppingTheNext) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    auto player = server.NewClient();
    // The welcome carries the game tick counter: take it from the answer, check every other byte.
    Bytes welcome = GameServer::Login(*player, NewLogin(std::string(30, 'a'), std::string(50, 'p')));
    ASSERT_GE(welcome.size(), 3u);
    EXPECT_EQ(welcome, Welcome(uint16_t(welcome[1] | (welcome[2] << 8)), std::string(30, 'a')));

    auto other = server.NewClient();
    other->Send(0, Bytes{10, 1, 2, 3});
    other->Send(0, Query(kCount));
    EXPECT_EQ(GameServer::Next(*other), Answer(kCount, 2));
    EXPECT_NE(server.Process().WaitForOutput("bInvalidCommand got set to TRUE in Server::PIC()\n", 5s),
              std::string::npos);
    EXPECT_NE(
        server.Folder().Read(ChatLogFileName()).find("] WARNING: bInvalidCommand got set to TRUE in Server::PIC()\r\n"),
        std::string::npos);
}

// The next chat record the client gets within 5 s, past the world updates; empty when none came.
Bytes NextChat(headless::HeadlessClient& client) {
    const auto until = std::chrono::steady_clock::now() + 5s;
    headless::Message m;
    while (std::chrono::steady_clock::now() < until)
        if (client.NextMessage(&m, 100ms) && !m.body.empty() && m.body[0] == 49) return m.body;
    return {};
}

TEST(ChatOverUdp, WhispersAndWhatIsNoCommand) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    auto ann = server.NewClient(), bob = server.NewClient();
    ASSERT_FALSE(GameServer::Login(*ann, NewLogin("ann", "pw")).empty());
    ASSERT_FALSE(GameServer::Login(*bob, NewLogin("bob", "pw")).empty());
    bob->Send(0, Record(8, {"/m ANN hi there"}));
    EXPECT_EQ(NextChat(*ann), Chat("bob (whispers to you)", "hi there"));
    EXPECT_EQ(NextChat(*bob), Chat("bob (whispers to ANN)", "hi there"));
    // A capital letter, an ordinary player's admin command and an overlong line are chat.
    const std::string overlong = "/m ann " + std::string(1018, 'x');
    for (const std::string& line : {std::string("/M ann hi"), std::string("/save"), overlong}) {
        bob->Send(0, Record(8, {line}));
        EXPECT_EQ(NextChat(*ann), Chat("BOB", line)) << line.substr(0, 10);
    }
}

} // namespace
