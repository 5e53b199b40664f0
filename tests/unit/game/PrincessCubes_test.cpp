// Talvy, Oriset and Quillhob cubes: their turns, riders, launches, the world's edge, and the
// rewards of those who defeat them. The fake clock stands at 10^12, so every draw of the counter
// modulo 64, 4 or 100 is 0 (heading 0: along +z) and modulo 14 is 8.
#include <cmath>
#include <limits>

#include "game/GameConstants.h"
#include "unit/game/GameFixture.h"

namespace {

class PrincessCubes : public GameTest {
protected:
    Server_TalvyCube* Talvy(VUKVector at, VUKVector velocity = {}) {
        auto* c = static_cast<Server_TalvyCube*>(Box(kKindTalvyCube, at, {500.0f, 500.0f, 500.0f}));
        c->m_vVelocity = velocity;
        c->m_vHomePoint = {100.0f, 600.0f, 100.0f};
        c->m_sCountdown = 1;
        return c;
    }
    // One turn of the cube, as the round robin gives it after a game tick's signal.
    void Turn(Server_TalvyCube* c) {
        c->m_ucPassFlags |= kPassTickSignal;
        server().Tick_One_TC(c);
    }
};

// A free cube moves every (skip + 1)-th turn, a ridden or drunk one every turn. Each turn adds
// gravity (and, while resting, a hop of 5 along +z), so a waiting cube keeps its speed for later.
TEST_F(PrincessCubes, TurnsMovedBySkipRiderAndDrink) {
    struct Case {
        const char* name;
        uint32_t skip;
        bool ridden, drunk;
        const char* moved; // per turn
    };
    const Case cases[] = {
        {"free, skip 0", 0, false, false, "111111"},
        {"free, skip 2", 2, false, false, "100100"},
        {"ridden, skip 2", 2, true, false, "111111"},
        {"drunk, skip 2", 2, false, true, "111111"},
    };
    for (const Case& c : cases) {
        server().m_uiPopPrincessSkip = c.skip;
        const float x = 20'000.0f * float(&c - cases);
        Server_TalvyCube* cube = Talvy({x, 5'000.0f, 0.0f});
        if (c.drunk) cube->m_ucTalvyFlags |= kTalvyDrunk;
        if (c.ridden) Player({x, 5'258.0f, 0.0f})->SetPlatform(cube);
        std::string moved;
        for (int turn = 0; turn < 6; ++turn) {
            const VUKVector before = cube->m_vPosition;
            Turn(cube);
            moved += cube->m_vPosition != before ? '1' : '0';
        }
        EXPECT_EQ(moved, c.moved) << c.name;
    }
}

// One move from where the cube starts: launches beyond 1000 per tick are undone, the ground and the
// ceiling hold, and a cube outside the walls (or nowhere at all) goes home.
TEST_F(PrincessCubes, OneMoveFromBadPlaces) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    struct Case {
        const char* name;
        VUKVector at, velocity;
        VUKVector position, after;
    };
    const Case cases[] = {
        {"launch of 1500 undone", {0, 5'000, 0}, {1'500, 0, 0}, {0, 5'000, 0}, {0, 0, 0}},
        {"launch of 999 made", {0, 5'000, 0}, {999, 0, 0}, {999, 4'999.6f, 5}, {999, -0.4f, 5}},
        {"below the ground", {0, 100, 0}, {0, 0, 0}, {0, 250.01f, 5}, {0, 0, 3}},
        {"above the ceiling", {0, 25'000, 0}, {0, 0, 0}, {0, 20'000, 5}, {0, 0, 3}},
        {"outside the walls", {300'000, 5'000, 0}, {0, 0, 0}, {100, 600, 100}, {0, 0, 0}},
        {"nowhere", {nan, nan, 150'000}, {nan, 0, 0}, {100, 600, 100}, {0, 0, 0}},
    };
    for (const Case& c : cases) {
        Server_TalvyCube* cube = Talvy(c.at, c.velocity);
        Turn(cube);
        EXPECT_EQ(std::tuple(cube->m_vPosition, cube->m_vVelocity), std::tuple(c.position, c.after)) << c.name;
        server().ProperDestroy(cube);
    }
}

// A driver steers by its heading (+x) and throttle and jumps a standing cube; holding the fly-up key
// leaves the cube to gravity.
TEST_F(PrincessCubes, DriversSteerUnlessFlyingUp) {
    for (uint32_t keys : {kKeyJump, kKeyUp}) {
        Server_TalvyCube* cube = Talvy({keys == kKeyUp ? 20'000.0f : 0.0f, 5'000.0f, 0.0f});
        cube->m_ucRuleFlags |= kRuleStanding;
        Server_Player* driver = Player(cube->m_vPosition + VUKVector(0, 258, 0));
        driver->SetPlatform(cube);
        driver->SetMoveFlag(kMoveDriving, true);
        driver->m_uiKeyFlags = keys;
        driver->m_fSteeringHeading = 1.5707964f;
        driver->m_fThrottle = 1.0f;
        Turn(cube);
        const VUKVector v = keys == kKeyUp ? VUKVector(0, -0.4f, 0) : VUKVector(1.5f, 36.0f - 0.4f, 0);
        EXPECT_NEAR((cube->m_vVelocity - v).x, 0.0f, 1e-6f);
        EXPECT_EQ(cube->m_vVelocity.y, v.y);
    }
}

// An Oriset cube below its hover height rises by 5 while it wanders 5 along +z, then slows by 0.7.
TEST_F(PrincessCubes, OrisetCubeHoversUpAndWanders) {
    auto* oriset = static_cast<Server_OrisetCube*>(Box(kKindOrisetCube, {0, 500, 9'000}, {1'000, 1'000, 1'000}));
    oriset->m_fHoverHeight = 1'100.0f;
    oriset->m_sCountdown = oriset->m_ucHeadingCountdown = 1;
    server().Tick_Signal_TCs_OCs_Lifts();
    server().Tick_OCs();
    EXPECT_EQ(std::tuple(oriset->m_vPosition, oriset->m_vVelocity, oriset->m_ucPassFlags & kPassTickSignal),
              std::tuple(VUKVector(0, 505, 9'005), VUKVector(0, 5, 3.5f), 0));
}

// With every read of the clock 1 ms later, the Talvy pass (1/240 s) reads it at 1 and 2 ms for
// its first cube's budget check and heading, at 3 and 4 ms for the second, and stops at 5 ms: two
// cubes a pass, the others keeping their signal for the passes after.
TEST_F(PrincessCubes, TalvyPassStaysInItsBudget) {
    std::vector<Server_TalvyCube*> cubes;
    for (int i = 0; i < 10; ++i) cubes.push_back(Talvy({2'000.0f * float(i), 5'000, 0}));
    server().Tick_Signal_TCs_OCs_Lifts();
    static int64_t s_Now = 0;
    platform::SetCounterSource([] { return s_Now += 1'000'000; });
    std::vector<int> signalled;
    for (int pass = 0; pass < 5; ++pass) {
        server().Tick_TCs();
        signalled.push_back(int(std::count_if(cubes.begin(), cubes.end(), [](const Server_TalvyCube* c) {
            return (c->m_ucPassFlags & kPassTickSignal) != 0;
        })));
    }
    platform::SetCounterSource([] { return int64_t(1'000'000'000'000); });
    EXPECT_EQ(signalled, (std::vector<int>{8, 6, 4, 2, 0}));
}

// A Quillhob cube nobody hit only hops where it stands; one with a hitter 5000 away chases it at 16
// and, in its first tick, shoots at 32 towards it.
TEST_F(PrincessCubes, QuillhobCubesChaseAndShootOnlyTheirHitter) {
    Server_Player* hitter = Player({3'000.0f, 50.01f, 4'000.0f});
    for (bool hit : {false, true}) {
        auto* q = static_cast<Server_QuillhobCube*>(Box(kKindQuillhobCube, {0, 50.01f, 0}, {10, 10, 10}));
        if (hit) q->m_pLastHitter = hitter;
        for (int tick = 0; tick < 5; ++tick) server().Game_Tick();
        const VUKVector expected = hit ? VUKVector(48, 0, 64) : VUKVector(0, 0, 0);
        EXPECT_NEAR(q->m_vPosition.x, expected.x, 1e-3f) << hit;
        EXPECT_NEAR(q->m_vPosition.z, expected.z, 1e-3f) << hit;
        EXPECT_EQ(q->m_vSize, VUKVector(100, 100, 100));
        ASSERT_EQ(server().m_FireBlocks.Count(), hit ? 1u : 0u);
        if (hit) {
            Server_FireBlock* fb = FireBlock(0);
            EXPECT_EQ(std::tuple(fb->m_pShotOwner, fb->m_sPower, fb->m_ucFireFlags, fb->m_vSize.x),
                      std::tuple(static_cast<Server_Entity*>(q), int16_t(2'000), uint8_t(0x05), 32.0f));
            EXPECT_NEAR(fb->m_vVelocity.x, 19.2f, 0.05f);
            EXPECT_NEAR(fb->m_vVelocity.z, 25.6f, 0.05f);
        }
        server().ProperDestroy(q);
    }
}

// Slot 0 holds a powerup and slot 4 the Gloves of Vextor: a Talvy defeat pays 10,000, an Oriset
// defeat puts the Spirit of Zorbin into slot 1; both add the rank bonus.
TEST_F(PrincessCubes, DefeatRewards) {
    struct Case {
        uint8_t kind;
        uint16_t texture;
        uint32_t rank;
        int64_t coins;
        uint32_t energy, spirit;
        std::string text;
    };
    const Case cases[] = {
        {kKindTalvyCube, 75, 3, 10'030, 1'500, 0,
         "You have defeated a KrulmCube!\n\nThanks to the Gloves of Vextor, you get 10,000 coins instead of the usual "
         "2,000 coins.  You get 1,000 HP.  You receive a 30 coin bonus because of your ranking.  (This bonus lowers "
         "as your ranking increases.)"},
        {kKindOrisetCube, 76, 2, 60'100, 500, kPowerupSpiritOfZorbin,
         "You have defeated a DrevoCube!\n\nYou get 60,000 coins and a 10 minute Spirit of Zorbin.  You receive a "
         "100 coin bonus because of your ranking.  (This bonus lowers as your ranking increases.)"},
    };
    for (const Case& c : cases) {
        Server_Player* p = Player({0, 8, 0});
        p->m_uiEnergy = 500;
        p->m_uiRank = c.rank;
        p->m_uiEffectIds[0] = kPowerupJumpHigh;
        p->m_uiEffectIds[4] = kPowerupGlovesOfVextor;
        p->m_fEffectTimes[0] = p->m_fEffectTimes[4] = 3.0f;
        Server_Entity* cube = Box(c.kind, {0, 5'000, 0}, {500, 500, 500});
        cube->m_usTexture = c.texture;
        if (c.kind == kKindTalvyCube)
            p->HandleTalvyCubeDefeat(cube);
        else
            p->HandleOrisetCubeDefeat(cube);
        EXPECT_EQ(std::tuple(p->m_i64PocketCoins, p->m_uiEnergy, p->m_strMessageText, p->m_fMessageTime,
                             p->m_uiEffectIds[1], p->m_fEffectTimes[1]),
                  std::tuple(c.coins, c.energy, c.text, 0.25f, c.spirit, c.spirit ? 10.0f : 0.0f));
    }
}

// Kicking a Talvy cube onto a pyramid pays once until the tax comes round; the second kick gets
// the apology. Either way the player is halted where it stands.
TEST_F(PrincessCubes, PyramidRewardOncePerTaxHour) {
    Server_Player* p = Player({70, 8, 90});
    const std::string paid = "The TalvyCube has landed on a sacred object!  The Smiley Sun gods defeated her!  You "
                             "touched her last, so you win 10000 coins!  Congraulations!  YOU CAN'T COLLECT COINS "
                             "FROM KICKING TALVY ON A SACRED OBJECT AGAIN UNTIL THE MEAN TAX WARRIOR SHOWS UP!!!\n\n"
                             "Press ENTER to continue.";
    const std::string refused = "We're sorry, but you cannot collect money from kicking a Talvy on top of a sacred "
                                "object until the MEAN TAX WARRIOR has come along.  He should come along within the "
                                "next hour.\n\nPress ENTER to continue.";
    for (const std::string* expected : {&paid, &refused}) {
        p->HandleTalvyCubeOnPyramid(10'000);
        EXPECT_EQ(std::tuple(p->m_i64PocketCoins, p->m_strModalText, p->IsMessageWindowOpen(), p->m_vRespawnPoint),
                  std::tuple(int64_t(10'000), *expected, true, VUKVector(70, 8, 90)));
    }
    // The tax clears the flag: the next kick pays again.
    p->SetFlag(kPlayerPyramidRewardUsed, false);
    p->HandleTalvyCubeOnPyramid(250);
    EXPECT_EQ(p->m_i64PocketCoins, 10'250);
}

// "/kapp": every Talvy cube drops in at its home from 8000 at full size, sober and protected; every
// Oriset cube is home at full size and hover height; Quillhob cubes forget their hitter.
TEST_F(PrincessCubes, KillAndResetAll) {
    Server_TalvyCube* talvy = Talvy({5'000, 300, 5'000}, {3, 3, 3});
    talvy->m_vSize = {60, 60, 60};
    talvy->m_ucTalvyFlags = kTalvyDrunk;
    auto* oriset = static_cast<Server_OrisetCube*>(Box(kKindOrisetCube, {9'000, 400, 0}, {300, 300, 300}));
    oriset->m_vHomePoint = {-500, 1'100, 700};
    auto* q = static_cast<Server_QuillhobCube*>(Box(kKindQuillhobCube, {0, 50, 0}, {100, 100, 100}));
    q->m_pLastHitter = Player({0, 8, 900});
    server().KillAndResetAllPrincesses();
    EXPECT_EQ(
        std::tuple(talvy->m_vPosition, talvy->m_vSize, talvy->m_vVelocity, talvy->m_ucTalvyFlags, talvy->m_sCounter),
        std::tuple(VUKVector(100, 8'000, 100), VUKVector(500, 500, 500), VUKVector(), uint8_t(0), int16_t(150)));
    EXPECT_EQ(std::tuple(oriset->m_vPosition, oriset->m_vSize, oriset->m_fHoverHeight),
              std::tuple(VUKVector(-500, 1'100, 700), VUKVector(1'000, 1'000, 1'000), 1'100.0f));
    EXPECT_EQ(q->m_pLastHitter, nullptr);
}

} // namespace
