// Lifts along lines and curves, what they carry, push and grind, and property that falls in
// groups when its support goes. The clock stands still unless a test moves it.
#include <cmath>

#include "unit/game/GameFixture.h"

namespace {

struct LiftShape {
    VUKVector start, end;
    float speed, parameter;
    bool growing;
    std::vector<VUKVector> points = {}; // a spline lift when not empty
    bool finalized = true;
};

} // namespace

class Lifts : public GameTest {
protected:
    Server_Entity* Lift(const LiftShape& shape, VUKVector at = {0, 50, 0}) {
        Server_Entity* e = Box(kKindNormalPad, at, {100, 100, 100});
        LiftStuff* lift = e->GetOrCreateLift();
        std::tie(lift->m_vStart, lift->m_vEnd, lift->m_fSpeed, lift->m_fSplineParameter, lift->m_bRunning) =
            std::tuple(shape.start, shape.end, shape.speed, shape.parameter, shape.growing);
        for (const VUKVector& p : shape.points) lift->m_ControlPoints.Append(new VUKVector(p));
        lift->m_bSpline = !shape.points.empty();
        lift->m_bFinalized = lift->m_bSpline && shape.finalized;
        server().UpdateGroupsAndZonesEntityIsIn(e);
        return e;
    }
    // One game tick's turn of every lift.
    void Turn() {
        for (uint32_t i = 0; i < server().m_Lifts.Count(); ++i)
            server().m_Lifts.GetEntity(i)->m_ucPassFlags |= kPassTickSignal;
        server().Tick_Lifts();
    }
    Server_Entity* Moving(Server_Entity* e) {
        e->SetMoving(true);
        server().UpdateGroupsAndZonesEntityIsIn(e);
        return e;
    }
};

// Where each lift is after one and two turns; the parameter and direction after the second.
TEST_F(Lifts, StraightAndSplineSteps) {
    const float nan = std::nanf(""), inf = INFINITY;
    const std::vector<VUKVector> seven = {{0, 0, 0},       {0, 100, 0},   {100, 100, 0}, {100, 200, 0},
                                          {100, 300, 300}, {0, 300, 300}, {0, 0, 300}};
    const std::vector<VUKVector> arc = {{0, 0, 0}, {0, 100, 0}, {100, 100, 0}, {100, 0, 0}};
    const VUKVector at{0, 50, 0};
    struct Case {
        const char* name;
        LiftShape shape;
        VUKVector first, second;
        float parameter;
        bool growing;
    };
    const Case cases[] = {
        {"speed equal to its length", {{0, 50, 0}, {0, 150, 0}, 100, 0, true}, {0, 150, 0}, at, 0, true},
        {"truncated to whole numbers", {at, {10, 50, 0}, 2.5f, 0, true}, {2, 50, 0}, {5, 50, 0}, 0.5f, true},
        {"turns at the start", {at, {10, 50, 0}, 5, 0, false}, at, {5, 50, 0}, 0.5f, true},
        {"start == end, speed 0", {{5, 60, 5}, {5, 60, 5}, 0, 0, true}, {5, 60, 5}, {5, 60, 5}, 0, true},
        {"speed 0 from a file", {at, {10, 50, 0}, 0, 0.5f, true}, {5, 50, 0}, {5, 50, 0}, 0.5f, true},
        {"no numbers from a file", {at, {inf, 50, 0}, nan, nan, true}, at, at, 0, true},
        {"7 points at 0.5", {{}, {}, 0, 0.5f, true, seven}, {100, 200, 0}, {100, 200, 0}, 0.5f, true},
        {"one segment at 0.5", {{}, {}, 0, 0.5f, true, arc}, {50, 75, 0}, {50, 75, 0}, 0.5f, true},
        {"degenerate segment", {{}, {}, 250, 0, true, {arc[1], arc[1], arc[1], arc[1]}}, arc[1], arc[1], 0.5f, true},
        {"no whole segment", {{}, {}, 250, 0, true, {arc[1], arc[2]}}, at, at, 0, true},
        {"not finalized", {{}, {}, 250, 0, true, arc, false}, at, at, 0, true},
    };
    for (const Case& c : cases) {
        Server_Entity* lift = Lift(c.shape);
        Turn();
        const VUKVector first = lift->m_vPosition;
        Turn();
        EXPECT_EQ(std::tuple(first, lift->m_vPosition, lift->m_pLift->m_fSplineParameter, lift->m_pLift->m_bRunning,
                             lift->m_ucPassFlags & kPassTickSignal),
                  std::tuple(c.first, c.second, c.parameter, c.growing, 0))
            << c.name;
        EXPECT_TRUE(std::isfinite(lift->m_vVelocity.x + lift->m_vVelocity.y + lift->m_vVelocity.z)) << c.name;
        server().QueueEntityForRemoval(lift);
        server().ProcessUpdatesAndRemoves();
    }
    // A lift that was nowhere (a position that is no number) goes straight to its target.
    Server_Entity* lost = Lift({at, {10, 50, 0}, 5, 0, true}, {nan, 50, 0});
    Turn();
    EXPECT_EQ(std::tuple(lost->m_vPosition, lost->m_vVelocity), std::tuple(VUKVector(5, 50, 0), VUKVector()));
}

// Every counter reading 5 ms later: the 8.3 ms budget lets one lift through per pass, and the next
// pass goes on with the next lift. (That stopped lifts get no signal is the game tick test's.)
TEST_F(Lifts, PassBudget) {
    std::vector<Server_Entity*> lifts;
    for (float z : {0.0f, 3000.0f, 6000.0f}) lifts.push_back(Lift({{0, 50, z}, {0, 150, z}, 10, 0, true}, {0, 50, z}));
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
// and carries its rider as far as the sweep allowed, 10 x (0.5 - 0.01); the lift goes all the way.
TEST_F(Lifts, CrushPushAndCarry) {
    Server_Player* owner = Player({0, 8, -5000});
    Server_Entity* stone = Block(owner, 0, 50, 0, 39);
    Server_Entity* building = Block(owner, 0, 50, 3000, 42);
    Server_Entity* grinder = Lift({{-105, 50, 0}, {-95, 50, 0}, 10, 0, true}, {-105, 50, 0});
    Lift({{-105, 50, 3000}, {-95, 50, 3000}, 10, 0, true}, {-105, 50, 3000});
    Server_Player* rider = Player({-105, 108.5f, 0});
    rider->SetPlatform(grinder);
    Turn();
    EXPECT_EQ(std::tuple(stone->m_ucRuleFlags & kRuleQueuedForRemoval, building->m_vVelocity, building->IsMoving(),
                         grinder->m_vPosition, rider->IsPlayerMoving()),
              std::tuple(int(kRuleQueuedForRemoval), VUKVector(15, 8, 0), true, VUKVector(-95, 50, 0), true));
    EXPECT_FLOAT_EQ(rider->m_vPosition.x, -100.1f);
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
    EXPECT_EQ(std::tuple(onTop->IsMoving(), zorbin->IsMoving(), higher->IsMoving(), above->IsPlayerMoving(),
                         server().m_MovingPads.Count()),
              std::tuple(true, true, false, true, 1u));
}

// 20 moving blocks high up, 8 groups, at most 2 a tick: the first tick moves group 1, blocks 1 and 9
// (block 17 is over the cap), which fall 0.4; group counts below one count as one.
TEST_F(Lifts, MovingBlocksInGroupsWithTheCap) {
    const int32_t groups = g_iPropertyMovingGroups, cap = g_iMaxPropertyMovePerTick;
    Server_Player* owner = Player({0, 8, -5000});
    std::vector<Server_Entity*> blocks;
    for (int i = 0; i < 20; ++i) blocks.push_back(Moving(Block(owner, 200.0f * float(i), 1000, 0)));
    for (auto [count, most, expected] : {std::tuple(8, 2, std::vector<int>{0, 8}), {0, 3, {0, 1, 2}}}) {
        std::tie(g_iPropertyMovingGroups, g_iMaxPropertyMovePerTick) = std::tuple(count, most);
        server().m_MovingGroups.m_uiMovingBlockGroup = 0;
        for (Server_Entity* b : blocks) b->m_vPosition.y = 1000.0f, b->m_vVelocity = VUKVector();
        server().Tick_Moving_NPs();
        std::vector<int> moved;
        for (int i = 0; i < 20; ++i)
            if (blocks[size_t(i)]->m_vPosition.y != 1000.0f) moved.push_back(i);
        EXPECT_EQ(moved, expected) << count;
        EXPECT_FLOAT_EQ(blocks[0]->m_vPosition.y, 999.6f);
    }
    std::tie(g_iPropertyMovingGroups, g_iMaxPropertyMovePerTick) = std::tuple(groups, cap);
}

// One group: a block just above the ground lands 0.01 above it, rests twice and stops. 300 blocks
// 20 high stacked on a pad meet the block below at once and stop where they stood.
TEST_F(Lifts, BlocksComeToRest) {
    const int32_t groups = g_iPropertyMovingGroups;
    g_iPropertyMovingGroups = 1;
    Server_Player* owner = Player({0, 8, -5000});
    Server_Entity* block = Moving(Block(owner, 5000, 50.2f, 0));
    std::vector<std::tuple<float, bool, int>> turns;
    for (int i = 0; i < 3; ++i) {
        server().Game_Tick();
        turns.emplace_back(block->m_vPosition.y, block->IsMoving(), block->m_ucMoveState);
    }
    EXPECT_EQ(turns,
              (std::vector<std::tuple<float, bool, int>>{{50.01f, true, 0}, {50.01f, true, 1}, {50.01f, false, 0}}));
    g_iPropertyMovingGroups = groups;

    Block();
    std::vector<Server_Entity*> column;
    for (int i = 0; i < 300; ++i) {
        column.push_back(Block(owner, 0, 110.0f + 20.0f * float(i), 0));
        column.back()->m_vSize.y = 20.0f;
        Moving(column.back());
    }
    for (int tick = 0; tick < 400 && server().m_MovingPads.Count() != 0; ++tick) server().Game_Tick();
    EXPECT_EQ(server().m_MovingPads.Count(), 0u);
    for (int i = 0; i < 300; ++i)
        EXPECT_EQ(column[size_t(i)]->m_vPosition, VUKVector(0, 110.0f + 20.0f * float(i), 0)) << i;
}
