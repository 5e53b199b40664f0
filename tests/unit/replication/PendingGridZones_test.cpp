// The zone key of a pending grid must name exactly the zones the grid files an entity in, or a
// change notice would leave an entity filed where it no longer is.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <tuple>

#include "replication/PendingGridZones.h"
#include "world/Server_Entity.h"
#include "world/VUK_Grid.h"
#include "world/VUK_Zone.h"
#include "world/World.h"
#include "world/ZoneGridHolder.h"

namespace {

using ZoneSet = std::set<std::tuple<uint32_t, uint32_t, uint32_t>>;  // layer, row, zone

class PendingGridZones : public ::testing::Test {
protected:
    PendingGridZones() : m_pEntity(World::CreateByType(kKindNormalPad)) {}
    ~PendingGridZones() override { delete m_pEntity; }

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
    uint32_t Key() const { return replication::PendingGridZoneKey(m_Grid, m_pEntity); }
    void Place(float x, float y, float z, float size) {
        m_pEntity->m_vPosition.Set(x, y, z);
        m_pEntity->m_vSize.Set(size, size, size);
    }

    // The geometry of every client's pending grid.
    VUK_Grid m_Grid{VUKVector(-150000.0f, -6000.0f, -150000.0f), VUKVector(150000.0f, 30000.0f, 150000.0f),
                    VUKVector(6000.0f, 6000.0f, 6000.0f), 6, 50, 50};
    Server_Entity* m_pEntity;
};

TEST_F(PendingGridZones, EqualKeysMeanTheSameZonesAcrossZoneEdges) {
    std::map<uint32_t, ZoneSet> seen;
    uint64_t state = 12345;
    auto next = [&](float low, float high) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return low + (high - low) * float(double(state >> 11) / double(1ull << 53));
    };
    int keyed = 0;
    for (int i = 0; i < 20000; ++i) {
        // Near the zone edges, where float steps decide, and anywhere else.
        float edge = -150000.0f + 6000.0f * float(int(next(0, 50)));
        float x = (i % 2) ? edge + next(-30, 30) : next(-160000, 160000);
        float z = (i % 3) ? edge + next(-30, 30) : next(-160000, 160000);
        float y = (i % 5) ? -6000.0f + 6000.0f * float(int(next(0, 6))) + next(-30, 30) : next(-8000, 32000);
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

TEST_F(PendingGridZones, SmallMoveWithinTheZonesKeepsTheKeyAndCrossingAnEdgeChangesIt) {
    Place(1000.0f, 200.0f, 1000.0f, 40.0f);
    uint32_t before = Key();
    ASSERT_NE(before, 0u);
    Place(1004.0f, 200.0f, 1002.0f, 40.0f);
    EXPECT_EQ(Key(), before);
    // x = 6000 is a zone edge of the pending grid (-150000 + 26 × 6000): the low edge crosses it.
    Place(6030.0f, 200.0f, 1002.0f, 40.0f);
    EXPECT_NE(Key(), before);
}

TEST_F(PendingGridZones, EntitiesOutsideTheGridShareTheEmptyKey) {
    Place(0.0f, 40000.0f, 0.0f, 10.0f);
    uint32_t above = Key();
    EXPECT_TRUE(Filed().empty());
    Place(500000.0f, 0.0f, 0.0f, 10.0f);
    EXPECT_EQ(Key(), above);
    EXPECT_NE(above, 0u);
}

TEST_F(PendingGridZones, EntitiesSpanningManyZonesHaveNoKey) {
    Place(0.0f, 0.0f, 0.0f, 60000.0f);
    EXPECT_EQ(Key(), 0u);
}

} // namespace
