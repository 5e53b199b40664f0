#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <vector>

#include "world/Server_EntityKinds.h"
#include "world/VUK_Grid.h"
#include "world/VUK_Zone.h"
#include "world/World.h"
#include "world/WorldFatalError.h"
#include "world/ZoneGridHolder.h"

namespace {

using ZoneIndex = std::tuple<uint32_t, uint32_t, uint32_t>;  // x, y, z

ZoneIndex IndexOf(const VUK_Zone* zone) {
    const VUK_ZoneLine* line = zone->m_pZoneLine;
    return {zone->m_uiIndex, line->m_pMap->m_uiIndex, line->m_uiIndex};
}

// The distinct zones an entity is filed in, sorted.
std::vector<ZoneIndex> ZonesOf(const PFAE_InfoList& links) {
    std::vector<ZoneIndex> zones;
    for (uint32_t i = 0; i < links.Count(); ++i) zones.push_back(IndexOf(links[i]->GetArray()->GetOwner()));
    std::sort(zones.begin(), zones.end());
    zones.erase(std::unique(zones.begin(), zones.end()), zones.end());
    return zones;
}

std::vector<ZoneIndex> Cube(uint32_t x0, uint32_t y0, uint32_t z0) {
    std::vector<ZoneIndex> zones;
    for (uint32_t x : {x0, x0 + 1})
        for (uint32_t y : {y0, y0 + 1})
            for (uint32_t z : {z0, z0 + 1}) zones.emplace_back(x, y, z);
    std::sort(zones.begin(), zones.end());
    return zones;
}

// Pads filed straight into a grid of their own, taken out again at the end.
class GridTest : public ::testing::Test {
protected:
    VUK_Grid grid;
    std::vector<Server_Entity*> entities;

    Server_Entity* Pad(VUKVector position, VUKVector size, uint8_t kind = kKindNormalPad) {
        Server_Entity* e = World::CreateByType(kind);
        e->m_vPosition = position;
        e->m_vSize = size;
        entities.push_back(e);
        return e;
    }
    Server_Entity* Filed(VUKVector position, VUKVector size, uint8_t kind = kKindNormalPad) {
        Server_Entity* e = Pad(position, size, kind);
        grid.AddEntity(e, &e->m_ZoneLinks, false);
        return e;
    }
    void TearDown() override {
        for (Server_Entity* e : entities) {
            ZL_RemoveEntityFromZonesOnly(e, &e->m_ZoneLinks);
            delete e;
        }
    }
    std::vector<ZoneIndex> Walk(const ZoneQuery& q) {
        std::vector<ZoneIndex> zones;
        ZoneLooper looper(&grid, &q);
        for (VUK_Zone* z = looper.GetFirst(); z; z = looper.GetNext()) zones.push_back(IndexOf(z));
        return zones;
    }
};

} // namespace

// ---- filing ------------------------------------------------------------------------------------

TEST_F(GridTest, ABoxAtTheOriginLandsInTwoZonesPerAxis) {
    Server_Entity* e = Filed({0, 0, 0}, {100, 100, 100});
    EXPECT_EQ(ZonesOf(e->m_ZoneLinks), Cube(74, 2, 74));
    EXPECT_EQ(e->m_ZoneLinks.Count(), 16u);  // master list and normal pads in each
    EXPECT_EQ(grid.CountZones(), 8u);
    VUK_Zone* zone = grid.GetZone(2, 74, 74);
    ASSERT_NE(zone, nullptr);
    EXPECT_EQ(zone->List(kZoneAll).GetEntity(0), e);
    EXPECT_EQ(zone->List(kZoneNormalPads).GetEntity(0), e);
    EXPECT_EQ(zone->m_uiLinkCount, 2u);
}

TEST_F(GridTest, AnIndexIsTheTruncatedDistanceFromTheMinimum) {
    EXPECT_EQ(grid.IndexX(-50), 74);
    EXPECT_EQ(grid.IndexX(1950), 75);
    EXPECT_EQ(grid.IndexY(-6000), 0);
    EXPECT_EQ(grid.IndexY(-6000.5f), -1);
    EXPECT_EQ(grid.IndexY(29'999), 17);
    EXPECT_EQ(grid.IndexY(30'000), -1);
    EXPECT_EQ(grid.IndexZ(149'999), 149);
}

TEST_F(GridTest, ArraysFollowTheKind) {
    Server_Entity* built = Filed({0, 0, 0}, {10, 10, 10});
    built->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
    ZL_RemoveEntityFromZonesOnly(built, &built->m_ZoneLinks);
    grid.AddEntity(built, &built->m_ZoneLinks, false);
    EXPECT_EQ(built->m_ZoneLinks.Count(), 24u);  // master, normal pads, resting property

    Server_Entity* zorbin = Filed({0, 0, 0}, {10, 10, 10}, kKindZorbinCube);  // made moving
    EXPECT_EQ(zorbin->m_ZoneLinks.Count(), 16u);
    zorbin->SetMoving(false);
    ZL_RemoveEntityFromZonesOnly(zorbin, &zorbin->m_ZoneLinks);
    grid.AddEntity(zorbin, &zorbin->m_ZoneLinks, false);
    EXPECT_EQ(zorbin->m_ZoneLinks.Count(), 24u);

    Server_Entity* fire = Filed({0, 0, 0}, {10, 10, 10}, kKindFireBlock);
    EXPECT_EQ(fire->m_ZoneLinks.Count(), 8u);
    Server_Entity* talvy = Filed({0, 0, 0}, {10, 10, 10}, kKindTalvyCube);
    Server_Entity* player = Filed({0, 0, 0}, {10, 10, 10}, kKindPlayer);
    Server_Entity* master = Pad({0, 0, 0}, {10, 10, 10});
    grid.AddEntity(master, &master->m_ZoneLinks, true);
    EXPECT_EQ(master->m_ZoneLinks.Count(), 8u);

    VUK_Zone* zone = grid.GetZone(2, 74, 74);
    EXPECT_EQ(zone->List(kZoneAll).Count(), 6u);
    EXPECT_EQ(zone->List(kZoneRestingProperty).Count(), 2u);
    EXPECT_EQ(zone->List(kZoneZorbinCubes).GetEntity(0), zorbin);
    EXPECT_EQ(zone->List(kZonePrincesses).GetEntity(0), talvy);
    EXPECT_EQ(zone->List(kZonePlayers).GetEntity(0), player);
    EXPECT_EQ(zone->List(kZoneNormalPads).Count(), 1u);
    EXPECT_EQ(zone->m_uiLinkCount, 6u + 2 + 1 + 1 + 1 + 1);
}

TEST_F(GridTest, NothingIsFiledBelowTheGrid) {
    Server_Entity* e = Filed({0, -9000, 0}, {100, 100, 100});
    EXPECT_EQ(e->m_ZoneLinks.Count(), 0u);
    EXPECT_TRUE(grid.IsEmpty());
}

TEST_F(GridTest, AnEntityJustBelowTheGridReachesOnlyTheLowestLayer) {
    // The walk runs one zone past the high edge (-6950 + 2000), which is inside layer 0.
    Server_Entity* e = Filed({0, -7000, 0}, {100, 100, 100});
    std::vector<ZoneIndex> expected = {{74, 0, 74}, {74, 0, 75}, {75, 0, 74}, {75, 0, 75}};
    EXPECT_EQ(ZonesOf(e->m_ZoneLinks), expected);
    EXPECT_EQ(e->m_ZoneLinks.Count(), 8u);  // once per zone, never twice
}

TEST_F(GridTest, OnlyThePartInsideTheGridIsFiled) {
    Server_Entity* e = Filed({149'900, 0, 0}, {400, 10, 10});
    std::vector<ZoneIndex> expected = {{149, 2, 74}, {149, 2, 75}, {149, 3, 74}, {149, 3, 75}};
    EXPECT_EQ(ZonesOf(e->m_ZoneLinks), expected);
}

TEST_F(GridTest, NonFiniteAndFarAwayEntitiesAreNotFiled) {
    Server_Entity* nan = Filed({std::nanf(""), 0, 0}, {10, 10, 10});
    Server_Entity* far = Filed({1e30f, 0, -1e30f}, {10, 10, 10});
    EXPECT_EQ(nan->m_ZoneLinks.Count(), 0u);
    EXPECT_EQ(far->m_ZoneLinks.Count(), 0u);
    EXPECT_TRUE(grid.IsEmpty());
}

TEST_F(GridTest, ALongBoxCoversEveryZoneAlongItsLength) {
    // x from -10000 (exactly the low edge of zone 70) to 10000: the walk visits -10000, -8000,
    // ..., 12000, which is still at most the high edge plus one zone: zones 70 to 81.
    Server_Entity* e = Filed({0, 0, 0}, {20'000, 10, 10});
    std::vector<ZoneIndex> zones = ZonesOf(e->m_ZoneLinks);
    ASSERT_EQ(zones.size(), 12u * 4);
    EXPECT_EQ(std::get<0>(zones.front()), 70u);
    EXPECT_EQ(std::get<0>(zones.back()), 81u);
}

TEST_F(GridTest, ARotatedBarIsFiledByItsRotatedCorners) {
    const float quarterPi = 0.7853982f;
    Server_Entity* bar = Pad({0, 100, 2100}, {1000, 10, 10});
    bar->SetYaw(quarterPi);
    VUKVector low, high;
    VUK_Grid::GetEntityBounds(bar, true, &low, &high);
    EXPECT_NEAR(low.z, 2100 - 357.088f, 0.01f);
    EXPECT_NEAR(high.x, 357.088f, 0.01f);
    grid.AddEntity(bar, &bar->m_ZoneLinks, false);
    EXPECT_EQ(ZonesOf(bar->m_ZoneLinks), Cube(74, 3, 75));

    // Its unrotated box starts at z = 2095, one zone further.
    ZL_RemoveEntityFromZonesOnly(bar, &bar->m_ZoneLinks);
    grid.AddEntity_NonRotated(bar, &bar->m_ZoneLinks, false);
    EXPECT_EQ(ZonesOf(bar->m_ZoneLinks), Cube(74, 3, 76));

    ZL_RemoveEntityFromZonesOnly(bar, &bar->m_ZoneLinks);
    bar->m_ucTypeAndFlags |= kTypeUnrotatedBounds;
    grid.AddEntity(bar, &bar->m_ZoneLinks, false);
    EXPECT_EQ(ZonesOf(bar->m_ZoneLinks), Cube(74, 3, 76));
}

// ---- removal -----------------------------------------------------------------------------------

TEST_F(GridTest, RemovingTheOnlyEntityFreesZoneRowLayerAndStack) {
    uint64_t zones = g_VukHeap_VukZone.ChainLiveCount();
    uint64_t rows = g_VukHeap_VukZoneLine.ChainLiveCount();
    uint64_t records = g_VukHeap_PFAE_Info.ChainLiveCount();
    Server_Entity* e = Filed({0, 0, 0}, {100, 100, 100});
    EXPECT_EQ(g_VukHeap_VukZone.ChainLiveCount(), zones + 8);
    EXPECT_EQ(g_VukHeap_VukZoneLine.ChainLiveCount(), rows + 4);
    ZL_RemoveEntityFromZonesOnly(e, &e->m_ZoneLinks);
    EXPECT_EQ(e->m_ZoneLinks.Count(), 0u);
    EXPECT_TRUE(grid.IsEmpty());
    EXPECT_EQ(g_VukHeap_VukZone.ChainLiveCount(), zones);
    EXPECT_EQ(g_VukHeap_VukZoneLine.ChainLiveCount(), rows);
    EXPECT_EQ(g_VukHeap_PFAE_Info.ChainLiveCount(), records);

    grid.AddEntity(e, &e->m_ZoneLinks, false);
    EXPECT_EQ(grid.CountZones(), 8u);
}

TEST_F(GridTest, AZoneStaysWhileAnotherEntityHoldsIt) {
    Server_Entity* a = Filed({0, 0, 0}, {100, 100, 100});
    Server_Entity* b = Filed({1000, 0, 0}, {100, 100, 100});  // zones x 75 and 76
    ZL_RemoveEntityFromZonesOnly(a, &a->m_ZoneLinks);
    EXPECT_EQ(grid.CountZones(), 8u);
    EXPECT_EQ(grid.GetZone(2, 74, 74), nullptr);
    ASSERT_NE(grid.GetZone(2, 74, 75), nullptr);
    EXPECT_EQ(grid.GetZone(2, 74, 75)->List(kZoneAll).GetEntity(0), b);
}

TEST_F(GridTest, RemovalFixesTheLinksOfTheEntryMovedIntoThePlace) {
    Server_Entity* a = Filed({0, 0, 0}, {100, 100, 100});
    Server_Entity* b = Filed({0, 0, 0}, {100, 100, 100});
    Server_Entity* c = Filed({0, 0, 0}, {100, 100, 100});
    ZL_RemoveEntityFromZonesOnly(a, &a->m_ZoneLinks);
    VUK_Zone* zone = grid.GetZone(2, 74, 74);
    EXPECT_EQ(zone->List(kZoneAll).Count(), 2u);
    for (Server_Entity* e : {b, c})
        for (uint32_t i = 0; i < e->m_ZoneLinks.Count(); ++i) {
            PFAE_Info* info = e->m_ZoneLinks[i];
            EXPECT_EQ(info->GetArray()->GetEntity(info->m_uiIndex), e);
        }
}

TEST_F(GridTest, ALiveCountThatDisagreesWithTheRowIsFatal) {
    Filed({0, 0, 0}, {100, 100, 100});
    VUK_ZoneLine* line = grid.m_pMapStack->m_ppMaps[2]->m_ppLines[74];
    EXPECT_EQ(line->GetZoneCount(), 2u);
    ++line->m_uiLiveCount;
    EXPECT_THROW(line->GetZoneCount(), WorldFatalError);
    --line->m_uiLiveCount;
}

// ---- iteration ---------------------------------------------------------------------------------

TEST_F(GridTest, AnEmptyGridHasNoFirstZone) {
    ZoneQuery q = ZoneQuery::Box(grid, {-1000, -1000, -1000}, {1000, 1000, 1000});
    ZoneLooper looper(&grid, &q);
    EXPECT_EQ(looper.GetFirst(), nullptr);
}

TEST_F(GridTest, TheLooperGoesYThenZThenXAscending) {
    Filed({0, 0, 0}, {100, 100, 100});
    ZoneQuery q = ZoneQuery::Box(grid, {-3000, -3000, -3000}, {3000, 3000, 3000});
    std::vector<ZoneIndex> expected = {{74, 2, 74}, {75, 2, 74}, {74, 2, 75}, {75, 2, 75},
                                       {74, 3, 74}, {75, 3, 74}, {74, 3, 75}, {75, 3, 75}};
    EXPECT_EQ(Walk(q), expected);
}

TEST_F(GridTest, TheLooperKeepsToTheQueryBox) {
    Filed({0, 0, 0}, {100, 100, 100});
    Filed({10'000, 0, 0}, {100, 100, 100});  // x 79, 80
    ZoneQuery q = ZoneQuery::Box(grid, {-50, -50, -50}, {-50, -50, 10'000});
    std::vector<ZoneIndex> expected = {{74, 2, 74}, {74, 2, 75}};
    EXPECT_EQ(Walk(q), expected);

    q = ZoneQuery::Box(grid, {-1000, 0, -50}, {11'000, 0, -50});
    expected = {{74, 3, 74}, {75, 3, 74}, {79, 3, 74}, {80, 3, 74}};
    EXPECT_EQ(Walk(q), expected);
}

TEST_F(GridTest, AQueryFarLargerThanTheGridEnds) {
    Filed({0, 0, 0}, {100, 100, 100});
    ZoneQuery q = ZoneQuery::Box(grid, {-1e30f, -1e30f, -1e30f}, {1e30f, 1e30f, 1e30f});
    EXPECT_EQ(Walk(q).size(), 8u);
    q.m_fXHigh = INFINITY;
    q.m_fYLow = -INFINITY;
    EXPECT_EQ(Walk(q).size(), 8u);
    q.m_fXStep = 0;  // a step that would not advance
    EXPECT_EQ(Walk(q).size(), 8u);
    q.m_fZLow = std::nanf("");
    EXPECT_EQ(Walk(q).size(), 0u);
}

TEST_F(GridTest, FindNextSkipsEmptySlotsAndLeavesTheSpotOnTheFind) {
    Filed({10'000, 0, 0}, {100, 100, 100});  // x 79, 80 in row 74 of layer 2
    VUK_ZoneLine* line = grid.m_pMapStack->m_ppMaps[2]->m_ppLines[74];
    float spot = -200'000;
    VUK_Zone* z = line->FindNextZoneFromSpot(&spot, 200'000);
    ASSERT_NE(z, nullptr);
    EXPECT_EQ(z->m_uiIndex, 79u);
    EXPECT_EQ(spot, -150'000.0f + 79 * 2000);
    spot = 13'000;
    EXPECT_EQ(line->FindNextZoneFromSpot(&spot, 200'000), nullptr);
    spot = -50;
    EXPECT_EQ(line->FindNextZoneFromSpot(&spot, 5'000), nullptr);
}
