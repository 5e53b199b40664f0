// Login, extensions and chat records over real UDP against the real binary.
#include <gtest/gtest.h>

#include "base/LogChat.h"
#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;

const std::string kCount = "KRV_HOW_MANY_LOGGED_IN";

// Asks until the server counts this many visible players (a drop is seen a pass later).
bool WaitForVisibleCount(headless::HeadlessClient& asker, uint8_t players) {
    for (int i = 0; i < 100; ++i) {
        asker.Send(0, Query(kCount));
        if (GameServer::NextOn(asker, 0) == Answer(kCount, uint8_t(players + 1))) return true;
    }
    return false;
}

// The welcome carries the game tick counter: take it from the answer, check every other byte.
void ExpectWelcome(const Bytes& got, const std::string& name) {
    ASSERT_GE(got.size(), 3u);
    uint16_t tick = uint16_t(got[1] | (got[2] << 8));
    EXPECT_EQ(got, Welcome(tick, name));
}

TEST(SessionOverUdp, LoginAnswersAndRefusals) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    auto first = server.NewClient();
    ExpectWelcome(GameServer::Login(*first, NewLogin(std::string(30, 'a'), std::string(50, 'p'))),
                  std::string(30, 'a'));

    auto other = server.NewClient();
    other->Send(0, Concat(Version(83), NewLogin("Bob", "pw")));
    EXPECT_EQ(GameServer::NextOn(*other, 0), Bytes{56});
    other->Send(0, Concat(Version(84), NewLogin(std::string(31, 'b'), "pw")));
    EXPECT_EQ(GameServer::NextOn(*other, 0), Bytes{56});
    other->Send(0, NewLogin("Bob", std::string(51, 'p')));
    EXPECT_EQ(GameServer::NextOn(*other, 0), Bytes{56});
    other->Send(0, ExistingLogin(std::string(30, 'A'), std::string(50, 'p')));
    EXPECT_EQ(GameServer::NextOn(*other, 0), Bytes{6});
    other->Send(0, ExistingLogin(std::string(30, 'a'), "wrong")); // a logged-in name is refused first
    EXPECT_EQ(GameServer::NextOn(*other, 0), Bytes{7});
    other->Send(0, NewLogin(std::string(30, 'a'), "pw"));
    EXPECT_EQ(GameServer::NextOn(*other, 0), Bytes{4});
    other->Send(0, ExistingLogin(std::string(30, 'a'), std::string(50, 'p')));
    EXPECT_EQ(GameServer::NextOn(*other, 0), Bytes{7});

    // The first client is undisturbed: it is still logged in and still answered.
    first->Send(0, Query(kCount));
    EXPECT_EQ(GameServer::NextOn(*first, 0), Answer(kCount, 2));
}

TEST(SessionOverUdp, MasterAdministratorHidesOnlyWithTheUpperCaseName) {
    GameServer server([](const TempDir& dir) { dir.Write("krv_admin.ini", "Boss\r\n"); });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    ASSERT_NE(server.Process().Output().find("krv_admin.ini says the master admin is: BOSS\n"), std::string::npos);

    auto lower = server.NewClient();
    lower->Send(0, Declare("KRV_LOGIN_WITH_HIDE", 1));
    ExpectWelcome(GameServer::Login(*lower, NewLogin("Boss", "pw")), "Boss");
    auto upper = server.NewClient();
    upper->Send(0, Declare("KRV_LOGIN_WITH_HIDE", 1));
    ExpectWelcome(GameServer::Login(*upper, NewLogin("BOSS", "pw")), "BOSS");
    // The new master administrator was not yet an administrator while its login ran; the next
    // login with the hide declaration is hidden, and only then.
    upper->SendLeave();
    auto asker = server.NewClient();
    ASSERT_TRUE(WaitForVisibleCount(*asker, 1));
    auto again = server.NewClient();
    again->Send(0, Declare("KRV_LOGIN_WITH_HIDE", 1));
    ExpectWelcome(GameServer::Login(*again, ExistingLogin("BOSS", "pw")), "BOSS");
    asker->Send(0, Query(kCount));
    EXPECT_EQ(GameServer::NextOn(*asker, 0), Answer(kCount, 2)); // only "Boss" is visible
}

TEST(SessionOverUdp, ExtensionAnswersCostChartAndChatChannels) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    auto c = server.NewClient();
    c->Send(0, Query("KRV_NOT_A_THING"));
    EXPECT_EQ(GameServer::NextOn(*c, 0), Answer("KRV_NOT_A_THING", 0));
    c->Send(0, Declare("KRV_COST_CHART_SUPPORT", 2));
    c->Send(0, Declare("KRV_COST_CHART_SUPPORT", 1));
    Bytes chart;
    for (auto [item, cost] : std::vector<std::pair<std::string, uint32_t>>{{"STONEBLOCK", 5000},
                                                                          {"PERSONAL_BOUNCYPAD", 5000},
                                                                          {"ZORBINCUBE", 25000},
                                                                          {"BUILDINGBLOCK", 300000},
                                                                          {"IRSCUBE", 300000}}) {
        chart.push_back(123);
        PutString(chart, item);
        PutU32(chart, cost);
    }
    EXPECT_EQ(GameServer::NextOn(*c, 0), chart);

    ExpectWelcome(GameServer::Login(*c, NewLogin("Chatty", "pw")), "Chatty");
    const Bytes wait = Chat("VuK Server", "Wait 7 seconds WITHOUT PRESSING ANY KEYS to reset position.");
    const Bytes cancelled = Chat("VuK Server", "Request to reset position CANCELLED due to KEYPRESS.");
    c->Send(0, Declare("KRV_MULTI_UDP_CHANNEL", 1));
    c->Send(0, Keys(0x1000));
    EXPECT_EQ(GameServer::NextOn(*c, 1), wait);
    c->Send(0, Concat(Declare("KRV_MULTI_UDP_CHANNEL", 0), Keys(0x0001)));
    EXPECT_EQ(GameServer::NextOn(*c, 0), cancelled);
}

TEST(SessionOverUdp, MalformedRecordWarnsAndTheNextMessageIsHandled) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    auto c = server.NewClient();
    c->Send(0, Bytes{10, 1, 2, 3});
    c->Send(0, Query(kCount));
    EXPECT_EQ(GameServer::NextOn(*c, 0), Answer(kCount, 1));
    EXPECT_NE(server.Process().WaitForOutput("bInvalidCommand got set to TRUE in Server::PIC()\n", 5s),
              std::string::npos);
    std::string log = server.Folder().Read(ChatLogFileName());
    EXPECT_NE(log.find("] WARNING: bInvalidCommand got set to TRUE in Server::PIC()\r\n"), std::string::npos);
}

TEST(SessionOverUdp, LeavingClientIsLoggedOutAndItsPlayerKept) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    auto c = server.NewClient();
    ExpectWelcome(GameServer::Login(*c, NewLogin("Leaver", "pw")), "Leaver");
    c->SendLeave();
    auto back = server.NewClient();
    ASSERT_TRUE(WaitForVisibleCount(*back, 0));
    ExpectWelcome(GameServer::Login(*back, ExistingLogin("Leaver", "pw")), "Leaver");
    std::string log = server.Folder().Read(ChatLogFileName());
    size_t gone = log.find("] LOG: Leaver has disconnected.\r\n");
    ASSERT_NE(gone, std::string::npos);
    EXPECT_NE(log.find("] LOG: ONLINE COUNT: 0\r\n", gone), std::string::npos);
    EXPECT_NE(log.find("] LOG: Leaver has logged in.\r\n", gone), std::string::npos);
}

} // namespace
