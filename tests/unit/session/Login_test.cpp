// Login answers, byte for byte, and what a login does to the player.
#include "SessionFixture.h"

#include "world/Server_EntityKinds.h"

namespace {

TEST_F(SessionTest, WelcomeIsByteExact) {
    auto peer = m_Harness->Connect();
    server().m_uiTickCount = 0x12345;
    peer.Send(0, Concat(Version(84), Login(5, "Bob", "secret")));
    m_Harness->Pass();
    std::vector<Bytes> got = peer.Take(0);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0], (Bytes{100, 0x45, 0x23, 76, 15, 0, 0, 0, 'K', 'R', 'V', '_', 'M', 'S', 'G', '_', 'C', 'O',
                             'M', 'M', 'A', 'N', 'D', 1, 76, 8, 0, 0, 0, 'K', 'R', 'V', '_', 'C', 'S', 'E', '1', 1,
                             76, 21, 0, 0, 0, 'K', 'R', 'V', '_', 'M', 'U', 'L', 'T', 'I', '_', 'U', 'D', 'P', '_',
                             'C', 'H', 'A', 'N', 'N', 'E', 'L', 1, 2, 3, 0, 0, 0, 'B', 'o', 'b', 74, 84, 0, 0, 0}));
}

TEST_F(SessionTest, RefusalsAreSingleBytes) {
    auto peer = m_Harness->Connect();
    auto answer = [&](const Bytes& message) {
        peer.Send(0, message);
        m_Harness->Pass();
        std::vector<Bytes> got = peer.Take(0);
        return got.size() == 1 ? got[0] : Bytes{};
    };
    EXPECT_EQ(answer(Concat(Version(83), Login(5, "Bob", "pw"))), Bytes{56});
    EXPECT_EQ(answer(Concat(Version(84), Login(5, std::string(31, 'n'), "pw"))), Bytes{56});
    EXPECT_EQ(answer(Login(4, std::string(30, 'n'), std::string(51, 'p'))), Bytes{56});
    EXPECT_EQ(answer(Login(4, "Nobody", "pw")), Bytes{6});
    EXPECT_EQ(answer(Login(5, std::string(30, 'n'), std::string(50, 'p'))), Welcome(0, std::string(30, 'n')));
    EXPECT_EQ(peer.client->m_pPlayer->m_strName, std::string(30, 'n'));
}

TEST_F(SessionTest, ExistingLoginChecksNameCaseAndPassword) {
    auto first = LoggedIn("Carol", 5, "pw");
    first.Disconnect();
    m_Harness->Pass(3);
    auto peer = m_Harness->Connect();
    auto answer = [&](const Bytes& message) {
        peer.Send(0, message);
        m_Harness->Pass();
        std::vector<Bytes> got = peer.Take(0);
        return got.size() == 1 ? got[0] : Bytes{};
    };
    EXPECT_EQ(answer(Concat(Version(84), Login(4, "carol", "pw"))), Bytes{6});
    EXPECT_EQ(answer(Login(4, "Carol", "PW")), Bytes{5});
    EXPECT_EQ(answer(Login(5, "Carol", "other")), Bytes{4});
    EXPECT_EQ(answer(Login(4, "Carol", "pw")), Welcome(0, "Carol"));
}

TEST_F(SessionTest, SecondClientWithALoggedInNameIsRefusedAndTheFirstUndisturbed) {
    auto first = LoggedIn("Dave", 5, "pw");
    auto second = m_Harness->Connect();
    second.Send(0, Concat(Version(84), Login(4, "Dave", "pw")));
    m_Harness->Pass();
    EXPECT_EQ(second.Take(0), (std::vector<Bytes>{Bytes{7}}));
    EXPECT_EQ(second.client->m_pPlayer, nullptr);
    ASSERT_NE(first.client->m_pPlayer, nullptr);
    EXPECT_TRUE(first.client->m_pPlayer->IsLoggedIn());
    EXPECT_EQ(first.client->m_strName, "Dave");
}

TEST_F(SessionTest, NewPlayerStartsWithItsDefaultsAndIsLogged) {
    auto peer = LoggedIn("Erin");
    Server_Player* p = peer.client->m_pPlayer;
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->m_vPosition, VUKVector(400.0f, 200.0f, -200.0f));
    EXPECT_EQ(p->m_vStartPoint, VUKVector(400.0f, 200.0f, -200.0f));
    EXPECT_EQ(p->m_i64PocketCoins, 1000);
    EXPECT_EQ(p->m_uiEnergy, 5000u);
    EXPECT_EQ(p->m_ucCSMHoldOff, 60);
    EXPECT_EQ(p->m_ucChatChannel, 1);
    EXPECT_EQ(p->m_usAdminLevel, 0);
    EXPECT_TRUE(p->IsLoggedIn());
    EXPECT_FALSE(p->IsHidden());
    EXPECT_FALSE(p->IsPlayerMoving());
    EXPECT_EQ(p->m_strDisplayName, "Erin");
    EXPECT_EQ(server().m_OnlinePlayers.Count(), 1u);
    std::string log = ChatLog();
    size_t alert = log.find("] LOG: (NEW PLAYER ALERT) Erin has logged in.\r\n");
    ASSERT_NE(alert, std::string::npos);
    EXPECT_NE(log.find("] LOG: ONLINE COUNT: 1\r\n", alert), std::string::npos);
}

TEST_F(SessionTest, MasterAdministratorNeedsTheUpperCaseSpelling) {
    g_strAdminName = "BOSS";
    auto lower = LoggedIn("boss");
    EXPECT_EQ(lower.client->m_pPlayer->m_usAdminLevel, 0);
    auto upper = LoggedIn("BOSS");
    EXPECT_EQ(upper.client->m_pPlayer->m_usAdminLevel, 100);
}

TEST_F(SessionTest, HiddenLoginOnlyForAdministratorsThatDeclaredIt) {
    g_strAdminName = "BOSS";
    LoggedIn("BOSS")./*first login makes the admin*/Disconnect();
    m_Harness->Pass(3);
    auto peer = m_Harness->Connect();
    peer.Send(0, Concat(Declare("KRV_LOGIN_WITH_HIDE", 1), Concat(Version(84), Login(4, "BOSS", "pw"))));
    m_Harness->Pass();
    ASSERT_NE(peer.client->m_pPlayer, nullptr);
    EXPECT_TRUE(peer.client->m_pPlayer->IsHidden());
    auto plain = m_Harness->Connect();
    plain.Send(0, Concat(Declare("KRV_LOGIN_WITH_HIDE", 1), Concat(Version(84), Login(5, "Frank", "pw"))));
    m_Harness->Pass();
    EXPECT_FALSE(plain.client->m_pPlayer->IsHidden());
}

TEST_F(SessionTest, DisconnectLeavesAnOfflinePlayerAndLogsTwoLines) {
    auto peer = LoggedIn("Gina");
    auto other = LoggedIn("Hank");
    Server_Player* gina = peer.client->m_pPlayer;
    gina->SetFlag(kPlayerAFK, true);
    gina->m_ucChatChannel = 7;
    peer.Disconnect();
    m_Harness->Pass();
    EXPECT_FALSE(gina->IsLoggedIn());
    EXPECT_FALSE(gina->GetFlag(kPlayerAFK));
    EXPECT_TRUE(gina->IsPlayerMoving());
    EXPECT_EQ(gina->m_ucChatChannel, 1);
    EXPECT_EQ(server().m_Players.Count(), 2u);
    EXPECT_EQ(server().m_OnlinePlayers.Count(), 1u);
    std::string log = ChatLog();
    size_t gone = log.find("] LOG: Gina has disconnected.\r\n");
    ASSERT_NE(gone, std::string::npos);
    EXPECT_NE(log.find("] LOG: ONLINE COUNT: 1\r\n", gone), std::string::npos);
    (void)other;
}

TEST_F(SessionTest, HowManyLoggedInCountsVisiblePlayersPlusOne) {
    auto asker = m_Harness->Connect();
    asker.Send(0, Query("KRV_HOW_MANY_LOGGED_IN"));
    m_Harness->Pass();
    Bytes none{76};
    PutString(none, "KRV_HOW_MANY_LOGGED_IN");
    none.push_back(1);
    EXPECT_EQ(asker.Take(0), (std::vector<Bytes>{none}));

    LoggedIn("One");
    LoggedIn("Two");
    auto hidden = LoggedIn("Three");
    hidden.client->m_pPlayer->SetHidden(true);
    asker.Send(0, Query("KRV_HOW_MANY_LOGGED_IN"));
    asker.Send(0, Query("KRV_SOMETHING_ELSE"));
    m_Harness->Pass();
    Bytes three = none;
    three.back() = 3;
    Bytes unknown{76};
    PutString(unknown, "KRV_SOMETHING_ELSE");
    unknown.push_back(0);
    EXPECT_EQ(asker.Take(0), (std::vector<Bytes>{three, unknown}));
}

TEST_F(SessionTest, CostChartOnlyForDeclaredValueOne) {
    auto peer = m_Harness->Connect();
    peer.Send(0, Declare("KRV_COST_CHART_SUPPORT", 2));
    m_Harness->Pass();
    EXPECT_TRUE(peer.Take(0).empty());
    peer.Send(0, Declare("KRV_COST_CHART_SUPPORT", 1));
    m_Harness->Pass();
    Bytes chart;
    for (auto [item, cost] : std::vector<std::pair<std::string, uint32_t>>{
             {"STONEBLOCK", 5000}, {"PERSONAL_BOUNCYPAD", 5000}, {"ZORBINCUBE", 25000},
             {"BUILDINGBLOCK", 300000}, {"IRSCUBE", 300000}}) {
        chart.push_back(123);
        PutString(chart, item);
        PutU32(chart, cost);
    }
    EXPECT_EQ(peer.Take(0), (std::vector<Bytes>{chart}));
}

TEST_F(SessionTest, DeclarationsSetAndClearClientFlags) {
    auto peer = m_Harness->Connect();
    peer.Send(0, Concat(Declare("KRV_CACHE_STRINGS", 1), Concat(Declare("KRV_CSE1", 5), Declare("KRV_UNKNOWN", 1))));
    m_Harness->Pass();
    EXPECT_TRUE(peer.client->m_bCacheStrings);
    EXPECT_TRUE(peer.client->m_bCSE1);
    peer.Send(0, Declare("KRV_CSE1", 0));
    m_Harness->Pass();
    EXPECT_FALSE(peer.client->m_bCSE1);
}

TEST_F(SessionTest, ChatRecordsMoveToChannelOneAndBack) {
    auto peer = LoggedIn("Ivy");
    peer.Send(0, Declare("KRV_MULTI_UDP_CHANNEL", 1));
    peer.Send(0, Bytes{1, 0x00, 0x10});
    m_Harness->Pass();
    const Bytes wait = Chat("VuK Server", "Wait 7 seconds WITHOUT PRESSING ANY KEYS to reset position.");
    EXPECT_TRUE(peer.Take(0).empty());
    EXPECT_EQ(peer.Take(1), (std::vector<Bytes>{wait}));
    peer.Send(0, Declare("KRV_MULTI_UDP_CHANNEL", 0));
    peer.Send(0, Bytes{1, 0x01, 0x00});
    m_Harness->Pass();
    EXPECT_TRUE(peer.Take(1).empty());
    EXPECT_EQ(peer.Take(0),
              (std::vector<Bytes>{Chat("VuK Server", "Request to reset position CANCELLED due to KEYPRESS.")}));
}

} // namespace
