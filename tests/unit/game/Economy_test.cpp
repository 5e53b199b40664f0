// The coin economy at its edges: the wealth ceiling, ranks, tag pads, dividends, the tax, goal pads
// and the Solexis purchase, with every number worked out by hand.
#include <climits>

#include "unit/game/GameFixture.h"

using Economy = GameTest;

namespace {

Server_Player* Ranked(Server_Player* p, uint32_t rank, int64_t coins, int64_t property = 0) {
    p->m_uiRank = rank;
    p->m_i64PocketCoins = coins;
    p->m_i64PropertyValue = property;
    return p;
}

} // namespace

TEST(EconomyLimits, KeepCoinsAtLimit) {
    struct Case {
        int64_t coins, property, expected;
    };
    const Case cases[] = {
        {1'999'999'999, 600'000, 1'999'400'000}, // the excess comes off the pocket
        {2'147'483'647, 0, 2'000'000'000},       // a loaded maximum is cut to the ceiling
        {100, 1'999'999'950, 50},                // never more than the pocket holds ...
        {100, 2'100'000'000, 0},
        {-5, 2'100'000'000, -5}, // ... and nothing from an overdrawn one
        {2'000'000'000, 4'294'967'295, 0},
        {LLONG_MAX, LLONG_MAX, 0}, // the sum would overflow: it is held at the limit instead
        {-7, LLONG_MIN, -7},
    };
    for (const Case& c : cases) {
        Server_Player p;
        p.m_i64PocketCoins = c.coins;
        p.m_i64PropertyValue = c.property;
        p.KeepCoinsAtLimit();
        EXPECT_EQ(p.m_i64PocketCoins, c.expected) << c.coins << " + " << c.property;
    }
}

// 900, 900 and 500 rank 1, 1 and 2; the tax then takes 10 % of both leaders (90 each) and 9 % of
// the third (500 x 0.09f = 45.0000018, so 45).
TEST_F(Economy, DenseRanksAndTheirTax) {
    Server_Player* a = Offline("A", 0, 8, 0);
    Server_Player* b = Offline("B", 100, 8, 0);
    Server_Player* c = Offline("C", 200, 8, 0);
    Ranked(a, 0, 900)->SetFlag(kPlayerPyramidRewardUsed, true);
    Ranked(b, 0, 500);
    Ranked(c, 0, 400, 500);
    server().DeterminePlayerRankings();
    EXPECT_EQ(std::vector<uint32_t>({a->m_uiRank, b->m_uiRank, c->m_uiRank}), std::vector<uint32_t>({1, 2, 1}));
    server().DoMeanTaxWarrior();
    EXPECT_EQ(std::vector<int64_t>({a->m_i64PocketCoins, b->m_i64PocketCoins, c->m_i64PocketCoins}),
              std::vector<int64_t>({810, 455, 360}));
    EXPECT_EQ(a->m_uiTicksSinceLastLogin, 108'000u);
    EXPECT_FALSE(a->GetFlag(kPlayerPyramidRewardUsed));
}

// The tax's single-precision rates lie just below 3 % and 1 %: whole products lose a coin. Each
// BuildingBlock (600,000 property) pays a dividend of 0 at rank 1, rank² x 10 up to rank 9, 1,000
// below. Players online are told what the tax took.
TEST_F(Economy, TaxAndDividendByRankAndProperty) {
    const auto tax = &Server::DoMeanTaxWarrior, dividend = &Server::RewardPlayersWhoHaveBBlocks;
    const std::string remember = "Remember to build BuildingBlocks to increase PROPERTY VALUE, because the tax "
                                 "doesn't affect that!  (NET WORTH = COINS + PROPERTY VALUE)";
    struct Case {
        void (Game::*routine)();
        uint32_t rank;
        int64_t coins, property, after;
        const char* told = nullptr; // null: offline
        bool reminded = false;      // the text told ends with the reminder
    };
    const Case cases[] = {
        {tax, 10, 100, 0, 100},                    // 0.99999998
        {tax, 10, 200, 0, 199},                    // 1.99999996
        {tax, 0, 200, 0, 199},                     // unranked pays 1 % too
        {tax, 8, 100, 0, 98},                      // 2.99999993
        {tax, 1, 2'000'000'000, 0, 1'799'999'998}, // 200,000,002.98
        {tax, 10, 1'000, 100'000'000, 1'000},      // spared
        {tax, 10, 1'000, 99'999'999, 991},         // 9.9999998
        {tax, 5, -50, 0, -50},                     // nothing to take
        {tax, 9, 2'147'483'647, 0, 2'104'533'976}, // 42,949,671.9 from a pocket above the ceiling
        {tax, 8, 100, 0, 98,
         "Since you are ranked #8, the MEAN TAX WARRIOR is taking 3% of your coins this hour instead of 1%.  He has "
         "just taken 2 of your coins!  ",
         true},
        {tax, 12, 300, 0, 298,
         "It's tax time!  The MEAN TAX WARRIOR takes 1% of all players' coins each hour.  He has just taken 2 of your "
         "coins!  ",
         true},
        {tax, 1, 5, 100'000'000, 5,
         "The MEAN TAX WARRIOR has spared you because your property value is too high for you to build stuff."},
        {dividend, 1, 0, 1'200'000, 0},
        {dividend, 2, 0, 1'200'000, 80},
        {dividend, 9, 0, 600'000, 810},
        {dividend, 12, 0, 1'799'999, 2'000},
        {dividend, 0, 0, 600'000, 0},
        {dividend, 3, 0, 599'999, 0},
        {dividend, 12, 1, 100'000'000, 1},
        {dividend, 12, 0, 100'000'000, 166'000},
        {dividend, 12, -5, 600'000, 995},
    };
    for (const Case& c : cases) {
        Server_Player* p = Ranked(c.told ? Player("P", 0, 8, 0) : Offline("P", 0, 8, 0), c.rank, c.coins, c.property);
        (server().*c.routine)();
        const std::string told = std::string(c.told ? c.told : "").append(c.reminded ? remember : "");
        EXPECT_EQ(std::tuple(p->m_i64PocketCoins, p->m_strMessageText, p->m_fMessageTime),
                  std::tuple(c.after, told, c.told ? 1.0f : 0.0f))
            << int(&c - cases);
        server().ProperDestroy(p);
    }
}

// A pad paying 7 a second: nothing for the leader, double from rank 11, single for the unranked.
TEST_F(Economy, TagPadRewardsAndLock) {
    struct Case {
        uint32_t rank;
        int64_t coins;
    };
    const Case cases[] = {{1, 0}, {2, 7}, {10, 7}, {11, 14}, {0, 7}};
    for (const Case& c : cases) {
        Server_Entity* pad = Block();
        pad->m_ucSurfaceFlags |= kSurfaceTagPad;
        pad->SetEEA(kEEATagPayout, 7);
        pad->SetEEA(kEEATagLockLeft, 2);
        server().UpdateGroupsAndZonesEntityIsIn(pad);
        pad->m_pTagHolder = Ranked(Offline("P", 0, 8, 0), c.rank, 0);
        server().DoTagPadRewards();
        EXPECT_EQ(pad->m_pTagHolder->m_i64PocketCoins, c.coins) << c.rank;
        EXPECT_EQ(pad->GetEEA(kEEATagLockLeft), 1u);
        server().ProperDestroy(pad->m_pTagHolder);
        server().ProperDestroy(pad);
    }
}

TEST_F(Economy, TaggingAPad) {
    Server_Entity* pad = Block();
    pad->m_ucSurfaceFlags |= kSurfaceTagPad;
    pad->SetEEA(kEEATagPayout, 10);
    pad->SetEEA(kEEATagLockTime, 300);
    Server_Player* p = Player("Ann", 0, 8, 0);
    ASSERT_TRUE(p->HandleTagPadLand(pad));
    EXPECT_EQ(std::tuple(pad->m_pTagHolder, *pad->m_pLabel, pad->GetEEA(kEEATagLockLeft)),
              std::tuple(p, std::string("T: Ann"), 300u));
    EXPECT_EQ(p->m_strMessageText,
              "You have tagged a TagPad!  For each TagPad that is last tagged by you, you will earn 10 coins per "
              "second!  This TagPad can't be tagged away from you by opponents for 5 minutes!  (Players in 1st place "
              "ARE DENIED TagPad rewards)(You get DOUBLE coins if you're ranked 10 or lower!)");
    EXPECT_FALSE(p->HandleTagPadLand(pad)); // already the owner

    Server_Player* q = Player("Bob", 0, 8, 0);
    for (uint32_t left : {59u, 179u}) {
        pad->SetEEA(kEEATagLockLeft, left);
        ASSERT_TRUE(q->HandleTagPadLand(pad));
        EXPECT_EQ(pad->m_pTagHolder, p);
        std::string text = "You cannot tag this TagPad for the next ";
        text.append(left < 60 ? "1" : "2")
            .append(" minutes.  After that, then you can tag this TagPad, and then other players won't be able to "
                    "tag it away from you for 5 minutes!");
        EXPECT_EQ(q->m_strMessageText, text);
        EXPECT_FLOAT_EQ(q->m_fMessageTime, 0.25f);
    }
}

// A warp costing 5 Solexis, paying -500 coins, to a point beyond the outer walls.
TEST_F(Economy, GoalPadWarp) {
    Server_Entity* pad = Block();
    GoalPadStuff* goal = pad->GetOrCreateGoalPad();
    goal->m_iSolexis = -5;
    goal->m_iCoinReward = -500;
    goal->m_strMessage = "Welcome";
    goal->m_vRespawnPoint.Set(500'000.0f, 20'000.0f, -7.0f);
    Server_Player* p = Player("P", 0, 8, 0, 200);
    p->TryAddPowerup(kPowerupSolexis, "Solexis", 4.9f);
    p->HandleGoalPadLand(pad);
    EXPECT_EQ(p->m_strMessageText, "You cannot use this warp because you need 5 Solexis. Get some from a GoalPad with "
                                   "Solexis or use the Special Menu to buy some.");
    EXPECT_EQ(std::tuple(p->IsMessageWindowOpen(), p->m_i64PocketCoins), std::tuple(false, 200));

    p->AppendMoreTimeToPowerup(kPowerupSolexis, 0.5f); // 5.4 units
    p->HandleGoalPadLand(pad);
    EXPECT_NEAR(p->GetPowerupTime(kPowerupSolexis), 0.4f, 1e-5f);
    EXPECT_EQ(std::tuple(p->IsMessageWindowOpen(), p->GetFlag(kPlayerHalted), p->m_strModalText, p->m_i64PocketCoins),
              std::tuple(true, true, std::string("Welcome"), 0));
    p->HandleEnterKey();
    EXPECT_EQ(std::tuple(p->IsMessageWindowOpen(), p->GetFlag(kPlayerHalted), p->m_vPosition.x, p->m_vPosition.y,
                         p->m_vPosition.z),
              std::tuple(false, false, 100'000.0f, 10'000.0f, -7.0f));

    // A reward to a player with no Solexis opens a new entry; coins stop at the ceiling.
    goal->m_iSolexis = 3;
    goal->m_iCoinReward = INT32_MAX;
    Server_Player* q = Player("Q", 0, 8, 0, 1'000);
    q->HandleGoalPadLand(pad);
    EXPECT_EQ(std::tuple(q->GetPowerupTime(kPowerupSolexis), q->m_i64PocketCoins), std::tuple(3.0f, 2'000'000'000));
}

// One BuildingBlock at rank 2 earns 40 a minute: 59 minutes give 2,360 on top of 1,000; the sixtieth
// is the tax instead (3,360 x 0.09f = 302.4, so 302), and the dividend returns at the sixty-first.
TEST_F(Economy, FirstTaxAtTheSixtiethMinute) {
    Offline("Rich", 0, 8, 0)->m_i64PropertyValue = 100'000'000;
    Server_Player* p = Ranked(Offline("P", 100, 8, 0), 0, 1'000, 600'000);
    std::vector<int64_t> coins;
    for (int minute = 1; minute <= 61; ++minute) {
        m_Harness.clock().AdvanceNanoseconds(server().m_SixtySecondTimer.m_iPeriod + 1);
        m_Harness.Pass();
        if (minute >= 58) coins.push_back(p->m_i64PocketCoins);
    }
    EXPECT_EQ(coins, std::vector<int64_t>({3'320, 3'360, 3'058, 3'098}));
    EXPECT_EQ(p->m_uiRank, 2u);
}
