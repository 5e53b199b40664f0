// Login, malformed records and chat over real UDP against the real binary; the answers themselves
// are the session unit tests' business.
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

// Chat between clients over real UDP: a whisper reaches the two it concerns, a filtered line every
// player in the channel, and a line from a client that never logged in nobody.
TEST(ChatOverUdp, WhispersAndFilteredLinesReachThePlayersTheyConcern) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    std::vector<std::unique_ptr<headless::HeadlessClient>> players;
    for (const char* name : {"ann", "bob", "cid"}) {
        players.push_back(server.NewClient());
        ASSERT_FALSE(GameServer::Login(*players.back(), NewLogin(name, "pw")).empty()) << name;
    }
    auto stranger = server.NewClient();
    stranger->Send(0, Record(8, {"not logged in"}));
    players[1]->Send(0, Record(8, {"/m ANN hi there"}));
    EXPECT_EQ(GameServer::NextChat(*players[0]), Chat("bob (whispers to you)", "hi there"));
    EXPECT_EQ(GameServer::NextChat(*players[1]), Chat("bob (whispers to ANN)", "hi there"));
    players[0]->Send(0, Record(8, {"what the fuck is this"}));
    for (auto& p : players) EXPECT_EQ(GameServer::NextChat(*p), Chat("ANN", "what the **** is this"));
}

} // namespace
