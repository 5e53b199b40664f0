// Login answers and what a login and a logout do to the player, beyond what a real client sees
// over UDP (tests/integration/session_test.cpp).
#include "SessionFixture.h"

#include "world/Server_EntityKinds.h"

namespace {

// A logout leaves an offline player, neither away nor in a chat channel of its own. An existing
// login checks the lengths and the password; the welcome carries the low 16 bits of the tick
// counter.
TEST_F(SessionTest, LogoutAndExistingLoginAnswers) {
    auto carol = LoggedIn("Carol");
    Server_Player* player = carol.client->m_pPlayer;
    player->SetFlag(kPlayerAFK, true);
    player->m_ucChatChannel = 7;
    carol.Disconnect();
    m_Harness->Pass(3);
    EXPECT_EQ(std::tuple(player->GetFlag(kPlayerAFK), player->IsPlayerMoving(), player->m_ucChatChannel,
                         server().m_OnlinePlayers.Count()),
              std::tuple(false, true, 1, 0u));
    server().m_uiTickCount = 0x12345;
    auto peer = m_Harness->Connect();
    EXPECT_EQ(Exchange(peer, Concat(Version(84), Login(4, "Carol", std::string(51, 'p')))), (std::vector<Bytes>{{56}}));
    EXPECT_EQ(Exchange(peer, Login(4, "Carol", "PW")), (std::vector<Bytes>{{5}}));
    EXPECT_EQ(Exchange(peer, Login(4, "Carol", "pw")), (std::vector<Bytes>{Welcome(0x2345, "Carol")}));
}

// Others see the name through the word filter.
TEST_F(SessionTest, NewPlayerStartsWithItsDefaultsAndIsLogged) {
    Server_Player* p = LoggedIn("BigDickBob").client->m_pPlayer;
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(std::tuple(p->m_vStartPoint, p->m_ucCSMHoldOff, p->m_ucChatChannel, p->IsPlayerMoving(),
                         server().m_OnlinePlayers.Count()),
              std::tuple(VUKVector(400.0f, 200.0f, -200.0f), 60, 1, false, 1u));
    EXPECT_EQ(std::tuple(p->m_strName, p->m_strDisplayName, p->m_bDisplayName),
              std::tuple("BigDickBob", "Big****Bob", true));
    std::string log = ChatLog();
    size_t alert = log.find("] LOG: (NEW PLAYER ALERT) BigDickBob has logged in.\r\n");
    ASSERT_NE(alert, std::string::npos);
    EXPECT_NE(log.find("] LOG: ONLINE COUNT: 1\r\n", alert), std::string::npos);
}

// Only the upper-case spelling makes the master administrator, and a login stays visible unless
// an administrator's client declared hiding.
TEST_F(SessionTest, MasterAdministratorAndVisibleLogins) {
    g_strAdminName = "BOSS";
    EXPECT_EQ(LoggedIn("boss").client->m_pPlayer->m_usAdminLevel, 0);
    LoggedIn("BOSS").Disconnect();
    LoggedIn("Frank").Disconnect();
    m_Harness->Pass(3);
    for (auto [name, declared] : {std::tuple{"BOSS", false}, {"Frank", true}}) {
        auto peer = m_Harness->Connect();
        if (declared) peer.Send(0, Declare("KRV_LOGIN_WITH_HIDE", 1));
        Exchange(peer, Concat(Version(84), Login(4, name, "pw")));
        ASSERT_NE(peer.client->m_pPlayer, nullptr);
        EXPECT_FALSE(peer.client->m_pPlayer->IsHidden()) << name;
        peer.Disconnect();
        m_Harness->Pass(3);
    }
}

// Declarations set and clear the client's flags; only value 1 asks for the cost chart.
TEST_F(SessionTest, DeclarationsSetAndClearClientFlags) {
    auto peer = m_Harness->Connect();
    EXPECT_TRUE(Exchange(peer, Concat(Concat(Declare("KRV_CACHE_STRINGS", 1), Declare("KRV_CSE1", 5)),
                                      Concat(Declare("KRV_UNKNOWN", 1), Declare("KRV_COST_CHART_SUPPORT", 2))))
                    .empty());
    EXPECT_EQ(std::tuple(peer.client->m_bCacheStrings, peer.client->m_bCSE1), std::tuple(true, true));
    Exchange(peer, Declare("KRV_CSE1", 0));
    EXPECT_FALSE(peer.client->m_bCSE1);
}

} // namespace
