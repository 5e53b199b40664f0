// The zone grid: where entities are filed, how zones come and go, the zone walk and the zone key.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <map>
#include <memory>

#include "WorldFixture.h"
#include "world/WorldFatalError.h"

namespace {

// Entities filed straight into a grid of their own, taken out again at the end.
class GridTest : public ::testing::Test {
protected:
    Server_Entity* Filed(VUKVector position, VUKVector size, uint8_t kind = kKindNormalPad,
                         const std::function<void(Server_Entity*)>& set = {}, bool masterListOnly = false) {
        Server_Entity* e = m_Entities.emplace_back(World::CreateByType(kind)).get();
        e->m_vPosition = position;
        e->m_vSize = size;
        if (set) set(e);
        m_Grid.AddEntity(e, &e->m_ZoneLinks, masterListOnly);
        return e;
    }
    void TearDown() override {
        for (auto& e : m_Entities) ZL_RemoveEntityFromZonesOnly(e.get(), &e->m_ZoneLinks);
        m_Entities.clear();
    }
    std::vector<ZoneIndex> Walk(const ZoneQuery& q) {
        std::vector<ZoneIndex> zones;
        ZoneLooper looper(&m_Grid, &q);
        for (VUK_Zone* z = looper.GetFirst(); z; z = looper.GetNext()) zones.push_back(IndexOf(z));
        return zones;
    }
    VUK_Grid m_Grid;
    std::vector<std::unique_ptr<Server_Entity>> m_Entities;
};

TEST_F(GridTest, AnIndexIsTheTruncatedDistanceFromTheLowEdgeOrMinusOneOutside) {
    // clang-format off
    for (auto [index, expected] : {std::pair{m_Grid.IndexX(-50), 74}, {m_Grid.IndexX(1950), 75}, {m_Grid.IndexY(-6000), 0},
            {m_Grid.IndexY(-6000.5f), -1}, {m_Grid.IndexY(29'999), 17}, {m_Grid.IndexY(30'000), -1},
            {m_Grid.IndexZ(149'999), 149}, {m_Grid.IndexX(std::nanf("")), -1}})
        EXPECT_EQ(index, expected);
    // clang-format on
}

// Each loop of the filing walk runs one zone past the high edge, so the zone holding the high
// edge is always reached; a zone is filed once, and only the part inside the grid counts.
TEST_F(GridTest, AnEntityIsFiledOnceInEveryZoneItsBoxReaches) {
    // position, size, number of zones, lowest and highest zone
    // clang-format off
    const std::tuple<VUKVector, VUKVector, size_t, ZoneIndex, ZoneIndex> cases[] = {
        {{0, 0, 0}, {100, 100, 100}, 8, {74, 2, 74}, {75, 3, 75}},
        {{0, -7000, 0}, {100, 100, 100}, 4, {74, 0, 74}, {75, 0, 75}}, // just below the grid: layer 0 only
        {{149'900, 0, 0}, {400, 10, 10}, 4, {149, 2, 74}, {149, 3, 75}},
        {{0, 0, 0}, {20'000, 10, 10}, 48, {70, 2, 74}, {81, 3, 75}}, // -10000 is the low edge of zone 70
        {{0, -9000, 0}, {100, 100, 100}, 0, {}, {}}, {{std::nanf(""), 0, 0}, {10, 10, 10}, 0, {}, {}},
        {{1e30f, 0, -1e30f}, {10, 10, 10}, 0, {}, {}},
        {{0, 0, 0}, {300'000, 10, 300'000}, 45'000, {0, 2, 0}, {149, 3, 149}}, // a floor as wide as the world
        // Too large to file whole: cut to the grid, then its longest side halved around the centre
        // (x, z, x, z) until at most 45,000 zones are left.
        {{0, 0, 0}, {1e9f, 1e9f, 1e9f}, 39 * 18 * 39, {56, 0, 56}, {94, 17, 94}}};
    // clang-format on
    for (const auto& [position, size, count, lowest, highest] : cases) {
        Server_Entity* e = Filed(position, size);
        std::vector<ZoneIndex> zones = ZonesOf(e->m_ZoneLinks);
        zones.resize(std::max<size_t>(zones.size(), 1));
        EXPECT_EQ(std::tuple(m_Grid.CountZones(), e->m_ZoneLinks.Count(), zones.front(), zones.back()),
                  std::tuple(count, 2 * count, lowest, highest));
        TearDown();
    }
    EXPECT_TRUE(m_Grid.IsEmpty()); // rows made for an entity with no zone along x went again
    EXPECT_EQ(m_Grid.m_uiClampedFilings, 1u);
}

// Every entity goes into the master list; then into its kind's list, and property at rest also
// into the resting-property list.
TEST_F(GridTest, ZoneListsFollowTheKind) {
    auto built = [](Server_Entity* e) { e->m_ucSurfaceFlags = kSurfacePlayerBuilt; };
    // clang-format off
    const std::tuple<uint8_t, std::function<void(Server_Entity*)>, bool, std::vector<int>> cases[] = {
        {kKindNormalPad, {}, false, {kZoneAll, kZoneNormalPads}},
        {kKindNormalPad, built, false, {kZoneAll, kZoneNormalPads, kZoneRestingProperty}},
        {kKindNormalPad, [&](Server_Entity* e) { built(e), e->SetMoving(true); }, false, {kZoneAll, kZoneNormalPads}},
        {kKindZorbinCube, {}, false, {kZoneAll, kZoneZorbinCubes}},
        {kKindZorbinCube, [](Server_Entity* e) { e->SetMoving(false); }, false, {kZoneAll, kZoneRestingProperty, kZoneZorbinCubes}},
        {kKindFireBlock, {}, false, {kZoneAll}}, {kKindTalvyCube, {}, false, {kZoneAll, kZonePrincesses}},
        {kKindOrisetCube, {}, false, {kZoneAll, kZonePrincesses}}, {kKindPalaceCube, {}, false, {kZoneAll, kZonePalaceCubes}},
        {kKindQuillhobCube, {}, false, {kZoneAll, kZoneQuillhobCubes}}, {kKindPlayer, {}, false, {kZoneAll, kZonePlayers}},
        {kKindNormalPad, {}, true, {kZoneAll}}};
    // clang-format on
    uint32_t entries = 0;
    for (const auto& [kind, set, masterListOnly, lists] : cases) {
        Server_Entity* e = Filed({0, 0, 0}, {10, 10, 10}, kind, set, masterListOnly);
        VUK_Zone* zone = m_Grid.GetZone(2, 74, 74);
        std::vector<int> in;
        for (uint8_t l = 0; l < kZoneListCount; ++l)
            if (zone->List(ZoneList(l)).Contains(e)) in.push_back(l);
        EXPECT_EQ(std::tuple(in, e->m_ZoneLinks.Count(), zone->m_uiLinkCount),
                  std::tuple(lists, 8 * lists.size(), entries += uint32_t(lists.size())))
            << int(kind);
    }
}

TEST_F(GridTest, ARotatedBarIsFiledByItsRotatedCornersUnlessItsKindSaysOtherwise) {
    Server_Entity* bar =
        Filed({0, 100, 2100}, {1000, 10, 10}, kKindNormalPad, [](Server_Entity* e) { e->SetYaw(0.7853982f); });
    VUKVector low, high;
    VUK_Grid::GetEntityBounds(bar, true, &low, &high);
    EXPECT_NEAR(low.z, 2100 - 357.088f, 0.01f);
    EXPECT_NEAR(high.x, 357.088f, 0.01f);
    EXPECT_EQ(ZonesOf(bar->m_ZoneLinks).front(), ZoneIndex(74, 3, 75));
    // Its unrotated box starts at z = 2095, one zone further.
    ZL_RemoveEntityFromZonesOnly(bar, &bar->m_ZoneLinks);
    bar->m_ucTypeAndFlags |= kTypeUnrotatedBounds;
    m_Grid.AddEntity(bar, &bar->m_ZoneLinks, false);
    EXPECT_EQ(ZonesOf(bar->m_ZoneLinks).front(), ZoneIndex(74, 3, 76));
}

// A zone goes with its last entity, and so do its row, its layer and the whole structure.
TEST_F(GridTest, ZonesLiveOnlyWhileAnEntityIsFiledInThem) {
    PoolCounts before;
    Server_Entity* a = Filed({0, 0, 0}, {100, 100, 100});
    Server_Entity* b = Filed({1000, 0, 0}, {100, 100, 100}); // zones x 75 and 76
    EXPECT_EQ(m_Grid.CountZones(), 12u);
    ZL_RemoveEntityFromZonesOnly(a, &a->m_ZoneLinks);
    EXPECT_EQ(std::tuple(m_Grid.CountZones(), m_Grid.GetZone(2, 74, 74)), std::tuple(8u, nullptr));
    EXPECT_EQ(m_Grid.GetZone(2, 74, 75)->List(kZoneAll).GetEntity(0), b);
    ZL_RemoveEntityFromZonesOnly(b, &b->m_ZoneLinks);
    EXPECT_TRUE(m_Grid.IsEmpty());
    EXPECT_EQ(PoolCounts().Grid(), before.Grid());
    m_Grid.AddEntity(a, &a->m_ZoneLinks, false);
    VUK_ZoneLine* line = m_Grid.m_pMapStack->m_ppMaps[2]->m_ppLines[74];
    ++line->m_uiLiveCount; // a row whose count disagrees with its zones is fatal
    EXPECT_THROW(line->GetZoneCount(), WorldFatalError);
    --line->m_uiLiveCount;
}

// The walk goes through y, then z, then x, ascending, within the query box, skipping what does
// not exist and ending even for a box far larger than the grid.
TEST_F(GridTest, TheZoneWalkVisitsTheZonesOfTheBoxInOrder) {
    EXPECT_TRUE(Walk(ZoneQuery::Box(m_Grid, {-1000, -1000, -1000}, {1000, 1000, 1000})).empty());
    Filed({0, 0, 0}, {100, 100, 100});
    Filed({10'000, 0, 0}, {100, 100, 100}); // x 79, 80
    // clang-format off
    EXPECT_EQ(Walk(ZoneQuery::Box(m_Grid, {-3000, -3000, -3000}, {3000, 3000, 3000})), (std::vector<ZoneIndex>{
        {74, 2, 74}, {75, 2, 74}, {74, 2, 75}, {75, 2, 75}, {74, 3, 74}, {75, 3, 74}, {74, 3, 75}, {75, 3, 75}}));
    EXPECT_EQ(Walk(ZoneQuery::Box(m_Grid, {-50, -50, -50}, {-50, -50, 10'000})), (std::vector<ZoneIndex>{{74, 2, 74}, {74, 2, 75}}));
    EXPECT_EQ(Walk(ZoneQuery::Box(m_Grid, {-1000, 0, -50}, {11'000, 0, -50})),
              (std::vector<ZoneIndex>{{74, 3, 74}, {75, 3, 74}, {79, 3, 74}, {80, 3, 74}}));
    // clang-format on
    ZoneQuery q = ZoneQuery::Box(m_Grid, {-1e30f, -1e30f, -1e30f}, {1e30f, 1e30f, 1e30f});
    EXPECT_EQ(Walk(q).size(), 16u);
    q.m_fXHigh = INFINITY;
    q.m_fYLow = -INFINITY;
    q.m_fXStep = 0; // a step that would not advance
    EXPECT_EQ(Walk(q).size(), 16u);
    q.m_fZLow = std::nanf("");
    EXPECT_TRUE(Walk(q).empty());
}

// ---- zone keys ---------------------------------------------------------------------------------

// The world grid's zone key must name exactly the zones the grid files an entity in, or a move
// that skips re-filing would leave the entity filed where it no longer is.
TEST(ZoneKey, EqualKeysMeanTheSameZonesAcrossZoneEdges) {
    auto grid = std::make_unique<VUK_Grid>();
    std::unique_ptr<Server_Entity> e(World::CreateByType(kKindNormalPad));
    const float zone = grid->m_fZoneSizeX;
    std::map<uint32_t, std::vector<ZoneIndex>> seen;
    uint64_t state = 12345;
    auto next = [&](float low, float high) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return low + (high - low) * float(double(state >> 11) / double(1ull << 53));
    };
    int keyed = 0;
    for (int i = 0; i < 20000; ++i) {
        // Near the zone edges, where float steps decide, and anywhere else.
        float edge = -150000.0f + zone * float(int(next(0, 300000.0f / zone)));
        float x = (i % 2) ? edge + next(-30, 30) : next(-160000, 160000);
        float z = (i % 3) ? edge + next(-30, 30) : next(-160000, 160000);
        float y = (i % 5) ? -6000.0f + zone * float(int(next(0, 36000.0f / zone))) + next(-30, 30) : next(-8000, 32000);
        float size = (i % 7) ? next(1, 100) : next(100, 50000);
        e->m_vPosition.Set(x, y, z);
        e->m_vSize.Set(size, size, size);
        e->SetYaw(i % 11 ? 0.0f : next(0, 6.28f));
        if (uint32_t key = grid->ZoneKey(e.get())) {
            PFAE_InfoList links(1); // where the grid really files the entity, taken out again at once
            grid->AddEntity(e.get(), &links, true);
            std::vector<ZoneIndex> zones = ZonesOf(links);
            ZL_RemoveEntityFromZonesOnly(e.get(), &links);
            auto [it, fresh] = seen.emplace(key, zones);
            ASSERT_TRUE(fresh || it->second == zones) << std::hex << key << " at " << x << ", " << y << ", " << z;
            ++keyed;
        }
    }
    EXPECT_GT(keyed, 15000);
}

} // namespace
