// Lifts along lines and curves, what they carry, push and grind, and property that falls in
// groups when its support goes. The clock stands still, so every lap of the lifts is whole.
#include <cmath>
#include <tuple>
#include <vector>

#include "base/Settings.h"
#include "unit/game/GameFixture.h"

namespace {

struct LiftSpec {
    VUKVector start, end;
    float speed, parameter;
    bool growing;
    std::vector<VUKVector> points; // a finalized spline lift when not empty
};

bool Finite(const VUKVector& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

} // namespace

class Lifts : public GameTest {
protected:
    Server_Entity* Lift(const LiftSpec& spec, VUKVector at = {0.0f, 50.0f, 0.0f}) {
        Server_Entity* e = Box(kKindNormalPad, at, {100.0f, 100.0f, 100.0f});
        LiftStuff* lift = e->GetOrCreateLift();
        lift->m_vStart = spec.start;
        lift->m_vEnd = spec.end;
        lift->m_fSpeed = spec.speed;
        lift->m_fSplineParameter = spec.parameter;
        lift->m_bRunning = spec.growing;
        for (const VUKVector& p : spec.points) lift->m_ControlPoints.Append(new VUKVector(p));
        lift->m_bSpline = lift->m_bFinalized = !spec.points.empty();
        server().UpdateGroupsAndZonesEntityIsIn(e);
        return e;
    }
    // One game tick's turn of every lift.
    void Turn() {
        for (uint32_t i = 0; i < server().m_Lifts.Count(); ++i)
            server().m_Lifts.GetEntity(i)->m_ucPassFlags |= kPassTickSignal;
        server().Tick_Lifts();
    }
    void Settle() {
        for (int i = 0; i < 3; ++i) server().ProcessUpdatesAndRemoves();
    }
};

// Where each lift is after one and two turns; the parameter and direction after the second.
TEST_F(Lifts, StraightAndSplineSteps) {
    const float nan = std::nanf(""), inf = INFINITY;
    const std::vector<VUKVector> seven = {{0, 0, 0},       {0, 100, 0},   {100, 100, 0}, {100, 200, 0},
                                          {100, 300, 300}, {0, 300, 300}, {0, 0, 300}};
    const std::vector<VUKVector> arc = {{0, 0, 0}, {0, 100, 0}, {100, 100, 0}, {100, 0, 0}};
    struct Case {
        const char* name;
        LiftSpec spec;
        VUKVector first, second;
        float parameter;
        bool growing;
    };
    const Case cases[] = {
        {"speed equal to its length", {{0, 50, 0}, {0, 150, 0}, 100, 0, true, {}}, {0, 150, 0}, {0, 50, 0}, 0, true},
        {"truncated to whole numbers",
         {{0, 50, 0}, {10, 50, 0}, 2.5f, 0, true, {}},
         {2, 50, 0},
         {5, 50, 0},
         0.5f,
         true},
        {"turns at the start", {{0, 50, 0}, {10, 50, 0}, 5, 0, false, {}}, {0, 50, 0}, {5, 50, 0}, 0.5f, true},
        {"start == end, speed 0", {{5, 60, 5}, {5, 60, 5}, 0, 0, true, {}}, {5, 60, 5}, {5, 60, 5}, 0, true},
        {"speed 0 from a file", {{0, 50, 0}, {10, 50, 0}, 0, 0.5f, true, {}}, {5, 50, 0}, {5, 50, 0}, 0.5f, true},
        {"no numbers from a file", {{0, 50, 0}, {inf, 50, 0}, nan, nan, true, {}}, {0, 50, 0}, {0, 50, 0}, 0, true},
        {"7 points at 0.5", {{}, {}, 0, 0.5f, true, seven}, {100, 200, 0}, {100, 200, 0}, 0.5f, true},
        {"one segment at 0.5", {{}, {}, 0, 0.5f, true, arc}, {50, 75, 0}, {50, 75, 0}, 0.5f, true},
        {"degenerate segment", {{}, {}, 250, 0, true, {arc[1], arc[1], arc[1], arc[1]}}, arc[1], arc[1], 0.5f, true},
        {"no whole segment", {{}, {}, 250, 0, true, {arc[1], arc[2]}}, {0, 50, 0}, {0, 50, 0}, 0, true},
    };
    for (const Case& c : cases) {
        Server_Entity* lift = Lift(c.spec);
        Turn();
        const VUKVector first = lift->m_vPosition;
        Turn();
        EXPECT_EQ(std::tuple(first, lift->m_vPosition, lift->m_pLift->m_fSplineParameter, lift->m_pLift->m_bRunning),
                  std::tuple(c.first, c.second, c.parameter, c.growing))
            << c.name;
        EXPECT_TRUE(Finite(lift->m_vPosition) && Finite(lift->m_vVelocity)) << c.name;
        server().QueueEntityForRemoval(lift);
        Settle();
    }
}

// Not finalized: no move, the signal taken all the same. Stopped lifts get no signal and no turn.
TEST_F(Lifts, UnfinishedSplineAndStoppedLifts) {
    Server_Entity* spline = Lift({{}, {}, 1, 0, true, {}});
    spline->m_pLift->m_bSpline = true;
    spline->m_pLift->m_ControlPoints.Append(new VUKVector(0, 500, 0));
    Turn();
    EXPECT_EQ(std::tuple(spline->m_vPosition, spline->m_ucPassFlags & kPassTickSignal),
              std::tuple(VUKVector(0, 50, 0), 0));

    Server_Entity* lift = Lift({{0, 50, 5000}, {0, 150, 5000}, 10, 0, true, {}}, {0, 50, 5000});
    server().m_bLiftsRunning = false;
    m_Harness.GameTick();
    EXPECT_EQ(lift->m_vPosition, VUKVector(0, 50, 5000));
    server().m_bLiftsRunning = true;
    m_Harness.GameTick();
    EXPECT_EQ(lift->m_vPosition, VUKVector(0, 60, 5000));
}

// Every counter reading 5 ms later: the 8.3 ms budget lets one lift through per pass, and the next
// pass goes on with the next lift.
TEST_F(Lifts, TheBudgetEndsALapAndTheNextPassGoesOn) {
    std::vector<Server_Entity*> lifts;
    for (float z : {0.0f, 3000.0f, 6000.0f})
        lifts.push_back(Lift({{0, 50, z}, {0, 150, z}, 10, 0, true, {}}, {0, 50, z}));
    for (Server_Entity* e : lifts) e->m_ucPassFlags |= kPassTickSignal;
    static int64_t s_Now = 0;
    platform::SetCounterSource([] { return s_Now += 5'000'000; });
    std::vector<float> heights;
    for (int pass = 0; pass < 3; ++pass) {
        server().Tick_Lifts();
        for (Server_Entity* e : lifts) heights.push_back(e->m_vPosition.y);
    }
    FakeClock restored;
    EXPECT_EQ(heights, (std::vector<float>{50, 60, 50, 50, 60, 60, 60, 60, 60}));
}

// A lift running 10 along x grinds a StoneBlock, kicks a BuildingBlock (1.5 x 10 along x, 8 up)
// and carries the player standing on it; it goes the whole step whatever it met.
TEST_F(Lifts, CrushPushAndCarry) {
    Server_Player* owner = Player({0, 8, -5000});
    Server_Entity* stone = Block(owner, 0, 50, 0, 39);
    Server_Entity* building = Block(owner, 0, 50, 3000, 42);
    Server_Entity* grinder = Lift({{-105, 50, 0}, {-95, 50, 0}, 10, 0, true, {}}, {-105, 50, 0});
    Server_Entity* pusher = Lift({{-105, 50, 3000}, {-95, 50, 3000}, 10, 0, true, {}}, {-105, 50, 3000});
    Server_Player* rider = Player({-105, 108.5f, 0});
    rider->SetPlatform(grinder);
    Turn();
    EXPECT_NE(stone->m_ucRuleFlags & kRuleQueuedForRemoval, 0);
    EXPECT_EQ(std::tuple(building->m_vVelocity, building->IsMoving()), std::tuple(VUKVector(15, 8, 0), true));
    EXPECT_EQ(std::tuple(grinder->m_vPosition, pusher->m_vPosition),
              std::tuple(VUKVector(-95, 50, 0), VUKVector(-95, 50, 3000)));
    // The rider goes as far as the sweep allowed: 10 x (0.5 - 0.01).
    EXPECT_FLOAT_EQ(rider->m_vPosition.x, -100.1f);
    EXPECT_TRUE(rider->IsPlayerMoving());
}

// Removing a block: what rests on its top starts moving, a block whose bottom is elsewhere does not.
TEST_F(Lifts, RemovingASupportSetsWhatRestedOnItMoving) {
    Server_Player* owner = Player({0, 8, -5000});
    Server_Entity* base = Block(owner, 0, 50, 0);
    Server_Entity* onTop = Block(owner, 0, 150, 0);
    Server_Entity* zorbin = Box(kKindZorbinCube, {60, 120, 0}, {40, 40, 40});
    zorbin->SetMoving(false);
    server().UpdateGroupsAndZonesEntityIsIn(zorbin);
    Server_Entity* higher = Block(owner, 200, 250, 0);
    Server_Player* above = Player({0, 300, 0});
    server().QueueEntityForRemoval(base);
    server().ProcessUpdatesAndRemoves();
    EXPECT_EQ(std::tuple(onTop->IsMoving(), zorbin->IsMoving(), higher->IsMoving(), above->IsPlayerMoving()),
              std::tuple(true, true, false, true));
    EXPECT_EQ(server().m_MovingPads.Count(), 1u);
}

// 20 moving blocks high up, 8 groups, at most 2 a tick: the first tick moves group 1, blocks 1 and 9
// (block 17 is over the cap), which fall 0.4; group counts below one count as one.
TEST_F(Lifts, MovingBlocksInGroupsWithTheCap) {
    const int32_t groups = g_iPropertyMovingGroups, cap = g_iMaxPropertyMovePerTick;
    Server_Player* owner = Player({0, 8, -5000});
    std::vector<Server_Entity*> blocks;
    for (int i = 0; i < 20; ++i) {
        blocks.push_back(Block(owner, 200.0f * float(i), 1000, 0));
        blocks.back()->SetMoving(true);
        server().UpdateGroupsAndZonesEntityIsIn(blocks.back());
    }
    struct Case {
        int32_t groups, cap;
        std::vector<int> moved;
    };
    for (const Case& c : {Case{8, 2, {0, 8}}, Case{0, 3, {0, 1, 2}}}) {
        g_iPropertyMovingGroups = c.groups;
        g_iMaxPropertyMovePerTick = c.cap;
        server().m_MovingGroups.m_uiMovingBlockGroup = 0;
        for (Server_Entity* b : blocks) b->m_vPosition.y = 1000.0f, b->m_vVelocity = VUKVector();
        server().Tick_Moving_NPs();
        std::vector<int> moved;
        for (int i = 0; i < 20; ++i)
            if (blocks[size_t(i)]->m_vPosition.y != 1000.0f) moved.push_back(i);
        EXPECT_EQ(moved, c.moved) << c.groups;
        EXPECT_FLOAT_EQ(blocks[0]->m_vPosition.y, 999.6f);
    }
    g_iPropertyMovingGroups = groups;
    g_iMaxPropertyMovePerTick = cap;
}

// A block just above the ground lands 0.01 above it, then rests twice and stops moving.
TEST_F(Lifts, AFallingBlockLandsAndStops) {
    const int32_t groups = g_iPropertyMovingGroups;
    g_iPropertyMovingGroups = 1;
    Server_Entity* block = Block(Player({0, 8, -5000}), 0, 50.2f, 0);
    block->SetMoving(true);
    server().UpdateGroupsAndZonesEntityIsIn(block);
    std::vector<std::tuple<float, bool, int>> turns;
    for (int i = 0; i < 3; ++i) {
        server().Tick_Moving_NPs();
        Settle();
        turns.emplace_back(block->m_vPosition.y, block->IsMoving(), block->m_ucMoveState);
    }
    EXPECT_EQ(turns,
              (std::vector<std::tuple<float, bool, int>>{{50.01f, true, 0}, {50.01f, true, 1}, {50.01f, false, 0}}));
    EXPECT_EQ(server().m_MovingPads.Count(), 0u);
    g_iPropertyMovingGroups = groups;
}

// 300 blocks 20 high stacked in one column on a pad, all set moving: each turn meets the block below at
// once, so the column comes to rest where it stood, a few blocks a tick, and nothing leaves it.
TEST_F(Lifts, AMovingColumnComesToRest) {
    Block();
    Server_Player* owner = Player({0, 8, -5000});
    std::vector<Server_Entity*> column;
    for (int i = 0; i < 300; ++i) {
        column.push_back(Block(owner, 0, 110.0f + 20.0f * float(i), 0));
        column.back()->m_vSize.y = 20.0f;
        column.back()->SetMoving(true);
        server().UpdateGroupsAndZonesEntityIsIn(column.back());
    }
    for (int tick = 0; tick < 400 && server().m_MovingPads.Count() != 0; ++tick) server().Game_Tick();
    EXPECT_EQ(server().m_MovingPads.Count(), 0u);
    for (int i = 0; i < 300; ++i)
        EXPECT_EQ(column[size_t(i)]->m_vPosition, VUKVector(0, 110.0f + 20.0f * float(i), 0)) << i;
}
