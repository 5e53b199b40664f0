// Velocity clipping and the players' own velocity, with numbers worked out by hand.
#include <cmath>
#include <limits>
#include <numbers>

#include "unit/game/GameFixture.h"

using Movement = GameTest;

// Two tops crossed at the same time: the first in list order (blocks, princess cubes, players,
// Zorbin cubes, palace cubes, Quillhob cubes) wins, whatever was made first. A later list wins
// only with a strictly earlier time.
TEST_F(Movement, EqualTimesGoToTheEarlierListStrictlyEarlierTimesToAnyList) {
    struct Case {
        uint8_t otherKind;
        float otherTop;
        bool otherWins;
    };
    const Case cases[] = {{kKindTalvyCube, 100.0f, false},
                          {kKindZorbinCube, 100.0f, false},
                          {kKindQuillhobCube, 100.0f, false},
                          {kKindPalaceCube, 101.0f, true}};
    for (const Case& c : cases) {
        const float x = 1000.0f * float(&c - cases);
        Server_Entity* other = Box(c.otherKind, {x, c.otherTop - 50.0f, 0.0f}, {100.0f, 100.0f, 100.0f});
        Server_Entity* block = Block(x + 50.0f);
        EXPECT_EQ(Fall({x + 25.0f, 113.0f, 0.0f})->m_pPlatform, c.otherWins ? other : block) << int(c.otherKind);
    }
}

// A mover touching a face at the start meets it at t = 0 and does not move along that axis.
TEST_F(Movement, MoverStartingInContactStaysPut) {
    Server_Entity* block = Block();
    Server_Player* onTop = Fall({0.0f, 108.0f, 0.0f});
    EXPECT_EQ(std::tuple(onTop->m_vPosition.y, onTop->m_fVerticalVelocity, onTop->m_pPlatform),
              std::tuple(108.0f, 0.0f, block));

    // Against the -x side of a wall, walking into it; and the same player walking away.
    Server_Player* side = Player({-58.0f, 50.0f, 0.0f});
    side->m_vVelocity.x = 5.0f;
    MovePlayer(side);
    EXPECT_EQ(std::tuple(side->m_vPosition.x, side->m_vVelocity.x), std::tuple(-58.0f, 0.0f));
    side->m_vVelocity.x = -5.0f;
    MovePlayer(side);
    EXPECT_EQ(side->m_vPosition.x, -63.0f);
}

// A block turned 45 degrees about y reaches 70.7 along x: a player over x = 60 lands on it by the
// corner clip (its plain box, half 50, would be missed), one over (45, 45) is beside the diamond
// and falls past (its plain box would be hit).
TEST_F(Movement, RotatedBlockIsClippedByItsCorners) {
    Server_Entity* block = Block();
    block->SetYaw(std::numbers::pi_v<float> / 4.0f);
    server().UpdateGroupsAndZonesEntityIsIn(block);

    Server_Player* lands = Fall({60.0f, 113.0f, 0.0f});
    EXPECT_NEAR(lands->m_vPosition.y, 108.1f, 1e-3f);
    EXPECT_EQ(lands->m_pPlatform, block);
    Server_Player* passes = Fall({45.0f, 113.0f, 45.0f});
    EXPECT_EQ(std::tuple(passes->m_vPosition.y, passes->m_pPlatform), std::tuple(103.0f, nullptr));
}

// A player's own velocity for one tick, high above the ground so that the ground plays no part; then
// near the ground.
TEST_F(Movement, VelocityFromGlideDownHyperWalkingJumpingAndTheGround) {
    struct Case {
        const char* name;
        bool glide, hyper, down, jump, standing;
        float throttle, vertical;
        float expectVertical, expectVz;
    };
    const Case cases[] = {
        {"gliding down", true, false, false, false, false, 0.0f, -5.0f, -5.02f, 0.0f},
        {"gliding, DOWN held", true, false, true, false, false, 0.0f, -5.0f, -6.2f, 0.0f},
        {"gliding while rising", true, false, false, false, false, 0.0f, 3.0f, 1.8f, 0.0f},
        {"hyper falling", false, true, false, false, false, 0.0f, -5.0f, -6.8f, 0.0f},
        // 7.5 x 1.5 x 1 = 11.25 along the heading 0 (+z), then friction 0.75.
        {"hyper walking", false, true, false, false, false, 1.0f, 0.0f, -1.8f, 8.4375f},
        // (8 + 0) x 2.25 = 18 up, less 1.8 of gravity.
        {"hyper jump", false, true, false, true, true, 0.0f, 0.0f, 16.2f, 0.0f},
        {"jump from the air", false, true, false, true, false, 0.0f, 0.0f, -1.8f, 0.0f},
    };
    for (const Case& c : cases) {
        Server_Player p;
        p.SetLoggedIn(true);
        p.m_vPosition.Set(0.0f, 5000.0f, 0.0f);
        p.SetFlag(kPlayerGlide, c.glide);
        p.SetFlag(kPlayerSpeedBoost, c.hyper);
        p.SetKey(kKeyDown, c.down);
        p.SetKey(kKeyJump, c.jump);
        p.SetFlag(kPlayerStandingOnEntity, c.standing);
        p.m_fThrottle = c.throttle;
        p.m_fVerticalVelocity = c.vertical;
        p.DetermineNewVelocity();
        EXPECT_FLOAT_EQ(p.m_fVerticalVelocity, c.expectVertical) << c.name;
        EXPECT_FLOAT_EQ(p.m_vVelocity.z, c.expectVz) << c.name;
        EXPECT_FALSE(p.GetFlag(kPlayerStandingOnEntity)) << c.name;
    }

    // Falling 5 with the feet 3 above the ground plane: the step is cut to reach it exactly.
    Server_Player p;
    p.m_vPosition.Set(0.0f, 11.0f, 0.0f);
    p.m_fVerticalVelocity = -3.8f;
    p.DetermineNewVelocity();
    EXPECT_TRUE(p.m_fVerticalVelocity == -3.0f && p.GetFlag(kPlayerOnGroundPlane));
}

// Numbers no client should send, and a player made inside a block: every move ends, finite and
// inside the world.
TEST_F(Movement, BadNumbersAndOverlapsEndFiniteAndInside) {
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInf = std::numeric_limits<float>::infinity();
    Block();
    struct Case {
        VUKVector position, velocity, size;
        float vertical;
    };
    const Case cases[] = {
        {{kNaN, 50.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {16.0f, 16.0f, 16.0f}, -1.0f},
        {{0.0f, 200.0f, 0.0f}, {kInf, -kInf, kNaN}, {16.0f, 16.0f, 16.0f}, kNaN},
        {{1e30f, -1e30f, -kInf}, {1e30f, 0.0f, -1e30f}, {16.0f, 16.0f, 16.0f}, 1e30f},
        {{0.0f, 50.0f, 0.0f}, {3.0f, 0.0f, 3.0f}, {16.0f, 16.0f, 16.0f}, -10.0f}, // inside the block
        {{0.0f, 120.0f, 0.0f}, {3.0f, 0.0f, 3.0f}, {0.0f, 0.0f, 0.0f}, -30.0f},
        {{0.0f, 120.0f, 0.0f}, {3.0f, 0.0f, 3.0f}, {-16.0f, -16.0f, -16.0f}, -30.0f},
    };
    for (const Case& c : cases) {
        Server_Player* p = Player({0.0f, 0.0f, 0.0f});
        p->m_vPosition = c.position;
        p->m_vVelocity = c.velocity;
        p->m_vSize = c.size;
        p->m_fVerticalVelocity = c.vertical;
        MovePlayer(p);
        p->ClipToOuterInvisibleBoundaries();
        const VUKVector& at = p->m_vPosition;
        const size_t i = size_t(&c - cases);
        EXPECT_TRUE(std::isfinite(at.x) && std::isfinite(at.y) && std::isfinite(at.z)) << i;
        EXPECT_TRUE(std::fabs(at.x) <= 100'000.0f && std::fabs(at.z) <= 100'000.0f && at.y <= 10'000.0f) << i;
        EXPECT_TRUE(std::isfinite(p->m_fVerticalVelocity)) << i;
    }
}
