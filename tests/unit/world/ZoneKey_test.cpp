// A grid's zone key must name exactly the zones the grid files an entity in, or a move that
// skips re-filing would leave the entity filed where it no longer is. Both grid geometries in
// use are checked: the world's and the clients' pending grids.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <tuple>

#include <memory>
#include "world/Server_EntityKinds.h"
#include "world/VUK_Grid.h"
#include "world/VUK_Zone.h"
#include "world/World.h"
#include "world/ZoneGridHolder.h"

namespace {

using ZoneSet = std::set<std::tuple<uint32_t, uint32_t, uint32_t>>;  // layer, row, zone

class ZoneKey : public ::testing::TestWithParam<bool> {
protected:
    ZoneKey()
        : m_pGrid(GetParam() ? std::make_unique<VUK_Grid>()
                             : std::make_unique<VUK_Grid>(VUKVector(-150000.0f, -6000.0f, -150000.0f),
                                                          VUKVector(150000.0f, 30000.0f, 150000.0f),
                                                          VUKVector(6000.0f, 6000.0f, 6000.0f), 6, 50, 50)),
          m_Grid(*m_pGrid), m_pEntity(World::CreateByType(kKindNormalPad)) {}
    ~ZoneKey() override { delete m_pEntity; }
    float ZoneSize() const { return m_Grid.m_fZoneSizeX; }

    // Where the grid really files the entity (taken out again at once).
    ZoneSet Filed() {
        PFAE_InfoList links(1);
        m_Grid.AddEntity(m_pEntity, &links, true);
        ZoneSet zones;
        for (uint32_t i = 0; i < links.Count(); ++i) {
            const VUK_Zone* zone = links.Get(i)->GetArray()->GetOwner();
            zones.insert({zone->m_pZoneLine->m_pMap->m_uiIndex, zone->m_pZoneLine->m_uiIndex, zone->m_uiIndex});
        }
        ZL_RemoveEntityFromZonesOnly(m_pEntity, &links);
        return zones;
    }
    uint32_t Key() const { return m_Grid.ZoneKey(m_pEntity); }
    void Place(float x, float y, float z, float size) {
        m_pEntity->m_vPosition.Set(x, y, z);
        m_pEntity->m_vSize.Set(size, size, size);
    }

    std::unique_ptr<VUK_Grid> m_pGrid; // its destructor may throw; the fixture's may not
    VUK_Grid& m_Grid;
    Server_Entity* m_pEntity;
};

TEST_P(ZoneKey, EqualKeysMeanTheSameZonesAcrossZoneEdges) {
    std::map<uint32_t, ZoneSet> seen;
    uint64_t state = 12345;
    auto next = [&](float low, float high) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return low + (high - low) * float(double(state >> 11) / double(1ull << 53));
    };
    int keyed = 0;
    for (int i = 0; i < 20000; ++i) {
        // Near the zone edges, where float steps decide, and anywhere else.
        float edge = -150000.0f + ZoneSize() * float(int(next(0, 300000.0f / ZoneSize())));
        float x = (i % 2) ? edge + next(-30, 30) : next(-160000, 160000);
        float z = (i % 3) ? edge + next(-30, 30) : next(-160000, 160000);
        float y = (i % 5) ? -6000.0f + ZoneSize() * float(int(next(0, 36000.0f / ZoneSize()))) + next(-30, 30)
                          : next(-8000, 32000);
        float size = (i % 7) ? next(1, 100) : next(100, 50000);
        Place(x, y, z, size);
        if (i % 11 == 0) m_pEntity->SetYaw(next(0, 6.28f));
        else m_pEntity->ClearRotation();
        uint32_t key = Key();
        if (key == 0) continue;
        ++keyed;
        ZoneSet zones = Filed();
        auto [it, fresh] = seen.emplace(key, zones);
        if (!fresh) {
            ASSERT_EQ(it->second, zones) << "key " << std::hex << key << " at " << x << ", " << y << ", " << z;
        }
    }
    EXPECT_GT(keyed, 15000);
}

TEST_P(ZoneKey, SmallMoveWithinTheZonesKeepsTheKeyAndCrossingAnEdgeChangesIt) {
    Place(1000.0f, 200.0f, 1000.0f, 40.0f);
    uint32_t before = Key();
    ASSERT_NE(before, 0u);
    Place(1004.0f, 200.0f, 1002.0f, 40.0f);
    EXPECT_EQ(Key(), before);
    // x = 6000 is a zone edge of both grids (-150000 + 26 × 6000 = -150000 + 78 × 2000): the low
    // edge crosses it.
    Place(6030.0f, 200.0f, 1002.0f, 40.0f);
    EXPECT_NE(Key(), before);
}

TEST_P(ZoneKey, EntitiesOutsideTheGridShareTheEmptyKey) {
    Place(0.0f, 40000.0f, 0.0f, 10.0f);
    uint32_t above = Key();
    EXPECT_TRUE(Filed().empty());
    Place(500000.0f, 0.0f, 0.0f, 10.0f);
    EXPECT_EQ(Key(), above);
    EXPECT_NE(above, 0u);
}

TEST_P(ZoneKey, EntitiesSpanningManyZonesHaveNoKey) {
    Place(0.0f, 0.0f, 0.0f, 60000.0f);
    EXPECT_EQ(Key(), 0u);
}

INSTANTIATE_TEST_SUITE_P(BothGeometries, ZoneKey, ::testing::Values(true, false),
                         [](const auto& info) { return info.param ? "WorldGrid" : "PendingGrid"; });

} // namespace

namespace {

TEST(WorldRefiling, MoveWithinTheZonesKeepsTheFilingAndCrossingAnEdgeRefiles) {
    auto world = std::make_unique<World>();
    Server_Entity* pad = world->ProperAddByType(kKindNormalPad);
    pad->m_vPosition.Set(1000.0f, 100.0f, 1000.0f);
    pad->m_vSize.Set(50.0f, 50.0f, 50.0f);
    world->UpdateGroupsAndZonesEntityIsIn(pad);
    PFAE_Info* firstLink = pad->m_ZoneLinks.Get(0);
    uint32_t links = pad->m_ZoneLinks.Count();

    pad->m_vPosition.Set(1010.0f, 100.0f, 1000.0f);
    world->UpdateZonesEntityIsIn(pad);
    EXPECT_EQ(pad->m_ZoneLinks.Get(0), firstLink); // not filed again
    EXPECT_EQ(pad->m_ZoneLinks.Count(), links);

    pad->m_vPosition.Set(2990.0f, 100.0f, 1000.0f); // the low edge moves from x zone 75 into zone 76
    world->UpdateZonesEntityIsIn(pad);
    VUK_Zone* now = world->m_Grid.GetZone(uint32_t(world->m_Grid.IndexY(75.0f)), uint32_t(world->m_Grid.IndexZ(975.0f)),
                                          uint32_t(world->m_Grid.IndexX(2965.0f)));
    ASSERT_NE(now, nullptr);
    EXPECT_EQ(world->m_Grid.GetZone(uint32_t(world->m_Grid.IndexY(75.0f)), uint32_t(world->m_Grid.IndexZ(975.0f)),
                                    uint32_t(world->m_Grid.IndexX(975.0f))),
              nullptr); // the old zone emptied and went

    // Taken out of the grid by hand, the next update files it again whatever the key says.
    ZL_RemoveEntityFromZonesOnly(pad, &pad->m_ZoneLinks);
    world->UpdateZonesEntityIsIn(pad);
    EXPECT_EQ(pad->m_ZoneLinks.Count(), links);
    world->ProperDestroy(pad);
}

} // namespace
