// The entity model: rotation record, labels, attributes, geometry, limits, players, storage and
// the per-client-slot storage.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "world/EntityClientBits.h"
#include "world/Server_Client_Entity.h"
#include "world/World.h"

namespace {

constexpr float kQuarter = 1.5707964f;

class Box : public Entity {
public:
    Box(VUKVector position = {}, VUKVector size = {}, float yaw = 0, float pitch = 0, float roll = 0) {
        m_vPosition = position;
        m_vSize = size;
        SetRotation(yaw, pitch, roll);
    }
};

// The rotation record and the attribute list exist only while they hold something.
TEST(Entity, KeepsItsRotationRecordAndAttributeListOnlyWhileTheyHoldSomething) {
    Box e;
    e.SetYaw(0.0f);
    e.SetEEA(kEEAInverseAlpha, 0);
    EXPECT_EQ(std::tuple(e.m_pRotation, e.m_pEEAList), std::tuple(nullptr, nullptr));
    e.SetRotation(0.0f, 0.5f, -1.0f);
    EXPECT_EQ(std::tuple(e.GetYaw(), e.GetPitch(), e.GetRoll(), e.HasRotation()), std::tuple(0.0f, 0.5f, -1.0f, true));
    e.SetPitch(0.0f);
    EXPECT_NE(e.m_pRotation, nullptr);
    e.SetRoll(0.0f);
    EXPECT_EQ(e.m_pRotation, nullptr);
    // Attributes keep their order; setting one again overwrites it, and 0 removes it.
    e.SetEEA(kEEATagPayout, 10);
    e.SetEEA(kEEATagLockTime, 10'800);
    e.SetEEA(kEEATagPayout, 9);
    e.SetEEA(kEEABounce, 0); // not there: nothing happens
    ASSERT_EQ(e.m_pEEAList->Length(), 2u);
    EXPECT_EQ(std::tuple((*e.m_pEEAList)[0]->m_ucId, (*e.m_pEEAList)[0]->m_uiValue, (*e.m_pEEAList)[1]->m_uiValue),
              std::tuple(kEEATagPayout, 9u, 10'800u));
    e.SetEEA(kEEATagPayout, 0);
    EXPECT_EQ(std::tuple(e.m_pEEAList->Length(), e.GetEEA(kEEATagLockTime)), std::tuple(size_t(1), 10'800u));
    e.SetEEA(kEEATagLockTime, 0);
    EXPECT_EQ(e.m_pEEAList, nullptr);
}

TEST(Entity, LabelsOfEqualBytesShareOneStringAndAnEmptyTextIsNoLabel) {
    Box a, b, c, d;
    a.SetLabel("BuilderBob");
    b.SetLabel(std::string("Builder") + "Bob");
    c.SetLabel("BuilderBo");
    EXPECT_EQ(std::tuple(a.m_pLabel, *c.m_pLabel), std::tuple(b.m_pLabel, "BuilderBo"));
    a.SetLabel(std::string("x\0y", 3));
    b.SetLabel(std::string("x\xFFy", 3));
    c.SetLabel(std::string("x\x7Fy", 3));
    d.SetLabel(std::string("x\0y", 3));
    EXPECT_EQ(std::tuple(a.m_pLabel == d.m_pLabel, b.m_pLabel == c.m_pLabel, *a.m_pLabel, *b.m_pLabel),
              std::tuple(true, false, std::string("x\0y", 3), std::string("x\xFFy")));
    a.SetLabel("");
    EXPECT_EQ(std::tuple(a.m_pLabel, a.GetLabel()), std::tuple(nullptr, ""));
}

// ---- geometry ------------------------------------------------------------------------------

void ExpectNear(const VUKVector& v, const VUKVector& expected, float tolerance = 1e-4f) {
    EXPECT_NEAR(v.x, expected.x, tolerance);
    EXPECT_NEAR(v.y, expected.y, tolerance);
    EXPECT_NEAR(v.z, expected.z, tolerance);
}

// Yaw turns x toward -z, pitch y toward +z, roll x toward +y; yaw comes first, then pitch, then
// roll. The moved vector starts at (100, 200, 300): the turned step is added to it.
TEST(Geometry, AMoveTurnsItsStepByYawThenPitchThenRoll) {
    const float q = kQuarter;
    // yaw, pitch, roll, step, turned step
    // clang-format off
    const std::tuple<float, float, float, VUKVector, VUKVector> cases[] = {
        {q, 0, 0, {1, 0, 0}, {0, 0, -1}}, {q, 0, 0, {0, 0, 1}, {1, 0, 0}}, {q, 0, 0, {0, 1, 0}, {0, 1, 0}},
        {0, q, 0, {0, 1, 0}, {0, 0, 1}}, {0, q, 0, {0, 0, 1}, {0, -1, 0}}, {0, q, 0, {1, 0, 0}, {1, 0, 0}},
        {0, 0, q, {1, 0, 0}, {0, 1, 0}}, {0, 0, q, {0, 1, 0}, {-1, 0, 0}},
        {q, q, 0, {1, 0, 0}, {0, 1, 0}}, {0, q, q, {0, 1, 0}, {0, 0, 1}}, {q, q, q, {1, 0, 0}, {-1, 0, 0}},
        {q, q, q, {0, 0, 1}, {0, 1, 0}}};
    // clang-format on
    for (const auto& [yaw, pitch, roll, step, turned] : cases) {
        Rotation r{yaw, pitch, roll, true};
        VUKVector v(100, 200, 300);
        v.MoveWRTRotation(&step, &r);
        ExpectNear(v - VUKVector(100, 200, 300), turned);
    }
    EXPECT_FLOAT_EQ(VUKVector(6, 8, 0).SizeReach(), 5.0f); // the radius around a box of these sides
}

// The inverse object matrix is the object formula with negated angles, taken to the origin: it
// undoes a turn about one axis, but not a turn about two, where it turns x to +y instead of +z.
TEST(Geometry, TheInverseObjectMatrixUndoesSingleAxisTurnsOnly) {
    for (auto [yaw, pitch, roll] : {std::tuple{0.9f, 0.0f, 0.0f}, {0.0f, -0.6f, 0.0f}, {0.0f, 0.0f, 0.3f}}) {
        Box e({100, -40, 250}, {1, 1, 1}, yaw, pitch, roll);
        VUKMatrix M, I;
        e.GetObjectAndIObjectMatrix(&M, &I);
        ExpectNear(I.TransformPoint(M.TransformPoint({3.5f, -8, 12.25f})), {3.5f, -8, 12.25f}, 1e-3f);
    }
    Box e({30, 60, -90}, {1, 1, 1}, kQuarter, kQuarter);
    VUKMatrix I;
    e.GetIObjectMatrix(&I);
    ExpectNear(I.TransformPoint({31, 60, -90}), {0, 1, 0});
}

// Boxes touch when their faces meet; a gap on any axis separates them; rotation is ignored.
TEST(Geometry, BoxesTouchUnlessAGapSeparatesThemOnSomeAxis) {
    Box a({0, 0, 0}, {1, 1, 1}), b({1, 0, 0}, {1, 1, 1}), x({1.0001f, 0, 0}, {1, 1, 1}), y({0, -1.0001f, 0}, {1, 1, 1}),
        z({0.5f, 0.5f, 1.0001f}, {1, 1, 1}), bar({-5, 0, 0}, {10, 1, 1}, kQuarter);
    EXPECT_EQ(std::tuple(TouchTest(&a, &b), TouchTest(&b, &a), TouchTest(&a, &x), TouchTest(&y, &a), TouchTest(&a, &z),
                         TouchTest(&bar, &a)),
              std::tuple(true, true, false, false, false, true));
}

// ---- limits and defaults --------------------------------------------------------------------

// Too large to move: all three sides above 2000, two above 3000 or one above 5000. Only what must
// stay movable is held to it: player-built blocks, lifts and the cubes that move.
TEST(SizeLimits, KeepMovableThingsFromGrowingTooLargeToMove) {
    // clang-format off
    const std::tuple<float, float, float, bool> sizes[] = {{2000, 2000, 2000, false}, {2001, 2001, 2001, true},
        {2001, 2001, 2000, false}, {3001, 3001, 10, true}, {3000, 3001, 10, false}, {5001, 1, 1, true}, {5000, 1, 1, false}};
    for (auto [x, y, z, excessive] : sizes) EXPECT_EQ(Server_Entity::IsExcessiveSizeForMovement(x, y, z), excessive);
    Server_Entity pad, built, lift;
    built.m_ucSurfaceFlags |= kSurfacePlayerBuilt;
    lift.GetOrCreateLift();
    EXPECT_EQ(std::tuple(pad.ShouldSizeBeRejected(9e4f, 9e4f, 9e4f), built.ShouldSizeBeRejected(6000, 1, 1),
                         built.ShouldSizeBeRejected(300, 300, 300), lift.ShouldSizeBeRejected(2500, 2500, 2500)),
              std::tuple(false, true, false, true));
    for (auto [kind, rejected] : {std::pair{kKindFireBlock, false}, {kKindTalvyCube, true}, {kKindOrisetCube, true},
                                  {kKindZorbinCube, true}, {kKindPalaceCube, true}, {kKindQuillhobCube, false}})
        EXPECT_EQ(std::unique_ptr<Server_Entity>(World::CreateByType(kind))->ShouldSizeBeRejected(5001, 1, 1), rejected);
    // clang-format on
}

// Each wall on its own: the height, then x and z at either side; the floor is no wall. A
// coordinate that is no finite number starts again from 0.
TEST(OuterWalls, HoldHeightXAndZButNotTheFloorAndMarkTheEntityDirty) {
    // clang-format off
    for (auto [from, to] : {std::pair{VUKVector(0, 12'000, 0), VUKVector(0, 10'000, 0)},
            {VUKVector(-150'000, -5'000, 0), VUKVector(-100'000, -5'000, 0)}, {VUKVector(150'000, 0, 0), VUKVector(100'000, 0, 0)},
            {VUKVector(0, 0, -120'000), VUKVector(0, 0, -100'000)}, {VUKVector(0, 0, 120'000), VUKVector(0, 0, 100'000)},
            {VUKVector(1e5f, 1e4f, -1e5f), VUKVector(1e5f, 1e4f, -1e5f)},
            {VUKVector(NAN, -INFINITY, 7), VUKVector(0, 0, 7)}, {VUKVector(INFINITY, 5, NAN), VUKVector(0, 5, 0)}}) {
        Server_Player p;
        p.m_vPosition = from;
        p.ClipToOuterInvisibleBoundaries();
        EXPECT_EQ(std::tuple(p.m_vPosition.x, p.m_vPosition.y, p.m_vPosition.z, p.IsDirty()), std::tuple(to.x, to.y, to.z, from != to));
    }
    // clang-format on
}

TEST(Players, KeepTheirFlagBitsWhereTheSaveFileAndWireExpectThem) {
    Server_Player p;
    EXPECT_EQ(std::tuple(p.m_vSize, p.m_ucChatChannel, p.m_fAdminStep), std::tuple(VUKVector(16, 16, 16), 1, 1.0f));
    using Flags = std::vector<uint8_t>;
    EXPECT_EQ(Flags(p.m_ucPlayerFlags, p.m_ucPlayerFlags + 10), (Flags{0, 0, 0, 0, 0, 0x20, 0, 0x0E, 64, 0}));
    p.SetLoggedIn(true);
    p.SetHidden(true);
    p.SetPlayerMoving(true);
    for (PlayerFlag flag : {kPlayerMessageWindow, kPlayerClientSideWarp, kPlayerMenuLocateOwn}) p.SetFlag(flag, true);
    EXPECT_EQ(Flags(p.m_ucPlayerFlags, p.m_ucPlayerFlags + 10), (Flags{5, 0, 0, 0x14, 0, 0x20, 0, 0x0F, 0x48, 0}));
}

TEST(EntityStorage, ADestroyedPlatformClearsItsRidersReference) {
    auto* pad = new Server_Entity();
    Server_Player a, b;
    for (Server_Player* p : {&a, &b}) p->SetPlatform(pad);
    b.SetPlatform(nullptr);
    EXPECT_EQ(pad->m_ReferringPlayers.Length(), 1u);
    pad->GetOrCreateGoalPad();
    pad->DeleteGoalPad(); // the pad's destructor must not see it again
    delete pad;
    EXPECT_EQ(a.m_pPlatform, nullptr);
}

// A freed index is handed out again with a clean row; widening the rows for a 129th watcher
// keeps every bit.
TEST(EntityClientBits, IndicesAreReusedCleanAndRowsWidenWithoutLosingBits) {
    auto a = std::make_unique<Server_Entity>();
    auto b = std::make_unique<Server_Entity>();
    const uint32_t ia = a->m_uiIndex, ib = b->m_uiIndex;
    EXPECT_EQ(g_EntityClientBits.EntityAt(ia), a.get());
    g_EntityClientBits.Set(ia, kBitPending, 3);
    g_EntityClientBits.Set(ib, kBitViewed, 127);
    a.reset();
    auto c = std::make_unique<Server_Entity>();
    EXPECT_EQ(c->m_uiIndex, ia);
    EXPECT_FALSE(g_EntityClientBits.Test(ia, kBitPending, 3));
    const uint32_t words = g_EntityClientBits.WordsPerKind();
    g_EntityClientBits.EnsureWatchers(words * 64 + 1);
    EXPECT_EQ(g_EntityClientBits.WordsPerKind(), words * 2);
    g_EntityClientBits.Set(ib, kBitFiled, words * 64);
    EXPECT_EQ(
        std::tuple(g_EntityClientBits.Test(ib, kBitViewed, 127), g_EntityClientBits.Test(ib, kBitFiled, words * 64),
                   g_EntityClientBits.Test(ib, kBitFiled, 127), g_EntityClientBits.Test(ib, kBitViewed, words * 64)),
        std::tuple(true, true, false, false));
    g_EntityClientBits.Clear(ib, kBitViewed, 127);
    g_EntityClientBits.Clear(ib, kBitFiled, words * 64);
}

// Their starting values, the baseline of what a client is first sent, are checked by the
// replication tests through the bytes of a first update.
TEST(ViewRecords, ComeFromTheirPoolsAndFreeTheirParts) {
    const uint64_t views = g_VukHeap_ServerClientEntity.ChainLiveCount(), parts = g_VukHeap_SCEPlayer.ChainLiveCount();
    auto* view = new Server_Client_Entity();
    EXPECT_TRUE(g_VukHeap_SCEPlayer.IsIn(view->GetOrCreatePlayerView()));
    view->GetOrCreateGoalPadInfo()->m_str = "warp";
    delete view;
    EXPECT_EQ(std::tuple(g_VukHeap_ServerClientEntity.ChainLiveCount(), g_VukHeap_SCEPlayer.ChainLiveCount()),
              std::tuple(views, parts));
}

} // namespace
