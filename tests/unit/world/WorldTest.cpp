#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "support/WorkingFolder.h"
#include "base/Settings.h"
#include "world/VUK_Zone.h"
#include "world/ZoneGridHolder.h"
#include "world/World.h"

namespace {

// Every world array, with its name, for membership checks.
struct Groups {
    explicit Groups(World& w)
        : all{{"AllEntities", &w.m_AllEntities},
              {"FireBlocks", &w.m_FireBlocks},
              {"TalvyCubes", &w.m_TalvyCubes},
              {"OrisetCubes", &w.m_OrisetCubes},
              {"NormalPads", &w.m_NormalPads},
              {"PlayerBuiltPads", &w.m_PlayerBuiltPads},
              {"MovingPads", &w.m_MovingPads},
              {"ZorbinCubes", &w.m_ZorbinCubes},
              {"PalaceCubes", &w.m_PalaceCubes},
              {"QuillhobCubes", &w.m_QuillhobCubes},
              {"Lifts", &w.m_Lifts},
              {"Players", &w.m_Players},
              {"OnlinePlayers", &w.m_OnlinePlayers},
              {"RestingOfflinePlayers", &w.m_RestingOfflinePlayers},
              {"OtherPlayers", &w.m_OtherPlayers},
              {"TagPads", &w.m_TagPads},
              {"MovingZorbinCubes", &w.m_MovingZorbinCubes},
              {"LinkedZorbinCubes", &w.m_LinkedZorbinCubes}} {}

    // The names of the arrays that hold e.
    std::vector<std::string> Of(const Server_Entity* e) const {
        std::vector<std::string> names;
        for (const auto& [name, array] : all)
            if (array->Contains(e)) names.push_back(name);
        return names;
    }
    uint32_t Total() const {
        uint32_t n = 0;
        for (const auto& entry : all) n += entry.second->Count();
        return n;
    }

    std::vector<std::pair<std::string, VUKFastArray_Entity*>> all;
};

using Names = std::vector<std::string>;

// Files e again after its flags were changed, as the rules do.
Server_Entity* Refiled(World& w, Server_Entity* e) {
    w.UpdateGroupsAndZonesEntityIsIn(e);
    return e;
}

} // namespace

// ---- membership rules ------------------------------------------------------------------------

TEST(WorldGroups, APlainPadIsANormalPad) {
    World w;
    Groups g(w);
    Server_Entity* pad = w.ProperAddByType(kKindNormalPad);
    EXPECT_EQ(g.Of(pad), (Names{"AllEntities", "NormalPads"}));
    EXPECT_EQ(pad->m_GroupLinks.Count(), 2u);
}

TEST(WorldGroups, AMovingLiftPadIsMovingAndNotALift) {
    World w;
    Groups g(w);
    Server_Entity* pad = w.ProperAddByType(kKindNormalPad);
    pad->GetOrCreateLift();
    EXPECT_EQ(g.Of(Refiled(w, pad)), (Names{"AllEntities", "NormalPads", "Lifts"}));
    pad->SetMoving(true);
    EXPECT_EQ(g.Of(Refiled(w, pad)), (Names{"AllEntities", "NormalPads", "MovingPads"}));
    EXPECT_TRUE(w.HasMovingProperty());
}

TEST(WorldGroups, APlayerBuiltTagPadIsNotATagPad) {
    World w;
    Groups g(w);
    Server_Entity* pad = w.ProperAddByType(kKindNormalPad);
    pad->m_ucSurfaceFlags |= kSurfaceTagPad;
    EXPECT_EQ(g.Of(Refiled(w, pad)), (Names{"AllEntities", "NormalPads", "TagPads"}));
    pad->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
    EXPECT_EQ(g.Of(Refiled(w, pad)), (Names{"AllEntities", "NormalPads", "PlayerBuiltPads"}));
}

TEST(WorldGroups, AFlagChangeCountsOnlyAtTheNextFiling) {
    World w;
    Groups g(w);
    Server_Entity* pad = w.ProperAddByType(kKindNormalPad);
    pad->SetMoving(true);
    EXPECT_EQ(g.Of(pad), (Names{"AllEntities", "NormalPads"}));
    EXPECT_FALSE(w.HasMovingProperty());
}

TEST(WorldGroups, PlayersBySessionAndMotion) {
    World w;
    Groups g(w);
    auto* resting = static_cast<Server_Player*>(w.ProperAddByType(kKindPlayer));
    EXPECT_EQ(g.Of(resting), (Names{"AllEntities", "Players", "RestingOfflinePlayers"}));
    auto* online = static_cast<Server_Player*>(w.ProperAddByType(kKindPlayer));
    online->SetLoggedIn(true);
    EXPECT_EQ(g.Of(Refiled(w, online)), (Names{"AllEntities", "Players", "OnlinePlayers", "OtherPlayers"}));
    auto* falling = static_cast<Server_Player*>(w.ProperAddByType(kKindPlayer));
    falling->SetPlayerMoving(true);
    EXPECT_EQ(g.Of(Refiled(w, falling)), (Names{"AllEntities", "Players", "OtherPlayers"}));
}

TEST(WorldGroups, ZorbinCubesByMotionAndNearPlayers) {
    World w;
    Groups g(w);
    auto* z = static_cast<Server_ZorbinCube*>(w.ProperAddByType(kKindZorbinCube));
    EXPECT_EQ(g.Of(z), (Names{"AllEntities", "ZorbinCubes", "MovingZorbinCubes"}));
    EXPECT_TRUE(w.HasMovingZorbinCubes());
    Server_Player p;
    z->m_NearPlayers.Add(&p);
    p.m_NearZorbins.Add(z);
    z->SetMoving(false);
    EXPECT_EQ(g.Of(Refiled(w, z)), (Names{"AllEntities", "ZorbinCubes", "LinkedZorbinCubes"}));
    w.ProperDestroy(z);
    EXPECT_TRUE(p.m_NearZorbins.Empty());
}

TEST(WorldGroups, EveryOtherKindHasItsArray) {
    World w;
    Groups g(w);
    EXPECT_EQ(g.Of(w.ProperAddByType(kKindFireBlock)), (Names{"AllEntities", "FireBlocks"}));
    EXPECT_EQ(g.Of(w.ProperAddByType(kKindTalvyCube)), (Names{"AllEntities", "TalvyCubes"}));
    EXPECT_EQ(g.Of(w.ProperAddByType(kKindOrisetCube)), (Names{"AllEntities", "OrisetCubes"}));
    EXPECT_EQ(g.Of(w.ProperAddByType(kKindPalaceCube)), (Names{"AllEntities", "PalaceCubes"}));
    EXPECT_EQ(g.Of(w.ProperAddByType(kKindQuillhobCube)), (Names{"AllEntities", "QuillhobCubes"}));
}

TEST(WorldGroups, UnknownKindsChangeNothing) {
    World w;
    Groups g(w);
    uint64_t pads = g_VukHeap_ServerEntity.ChainLiveCount();
    EXPECT_EQ(w.ProperAddByType(2, 0), nullptr);
    EXPECT_EQ(w.ProperAddByType(13, 0), nullptr);
    EXPECT_EQ(g.Total(), 0u);
    EXPECT_TRUE(w.m_Grid.IsEmpty());
    EXPECT_EQ(g_VukHeap_ServerEntity.ChainLiveCount(), pads);
}

TEST(WorldGroups, InitialCapacitiesAreTheStartingSizes) {
    World w;
    EXPECT_EQ(w.m_AllEntities.Capacity(), 131'072u);
    EXPECT_EQ(w.m_OrisetCubes.Capacity(), 8u);
    EXPECT_EQ(w.m_QuillhobCubes.Capacity(), 4u);
    EXPECT_EQ(w.m_OnlinePlayers.Capacity(), 16u);
    EXPECT_EQ(w.m_LinkedZorbinCubes.Capacity(), 256u);
    EXPECT_FALSE(w.m_AllEntities.HasStorage());
}

// ---- filing --------------------------------------------------------------------------------

TEST(WorldFiling, NewEntitiesStartAtTheOriginInTheirZones) {
    World w;
    Server_Entity* pad = w.ProperAddByType(kKindNormalPad);
    EXPECT_EQ(pad->m_ZoneLinks.Count(), 16u);
    EXPECT_NE(w.m_Grid.GetZone(3, 75, 75), nullptr);
}

TEST(WorldFiling, RefilingAnUnchangedEntityGivesTheSameArraysAndZones) {
    World w;
    Groups g(w);
    Server_Entity* pad = w.ProperAddByType(kKindNormalPad);
    pad->m_vPosition.Set(5000, 300, -7000);
    pad->m_vSize.Set(300, 300, 300);
    w.UpdateGroupsAndZonesEntityIsIn(pad);
    Names groups = g.Of(pad);
    // Zones are named by their place: the zones themselves are freed and made again.
    auto zonesOf = [&] {
        std::vector<std::tuple<uint32_t, uint32_t, uint32_t, uint32_t>> zones;
        for (uint32_t i = 0; i < pad->m_ZoneLinks.Count(); ++i) {
            const VUK_Zone* z = pad->m_ZoneLinks[i]->GetArray()->GetOwner();
            uint32_t list = 0;
            while (&z->m_Lists[list] != pad->m_ZoneLinks[i]->GetArray()) ++list;
            zones.emplace_back(z->m_pZoneLine->m_pMap->m_uiIndex, z->m_pZoneLine->m_uiIndex, z->m_uiIndex, list);
        }
        return zones;
    };
    auto zones = zonesOf();
    ASSERT_EQ(zones.size(), 16u);
    uint64_t records = g_VukHeap_PFAE_Info.ChainLiveCount();

    w.UpdateGroupsAndZonesEntityIsIn(pad);
    EXPECT_EQ(g.Of(pad), groups);
    EXPECT_EQ(zonesOf(), zones);
    EXPECT_EQ(g_VukHeap_PFAE_Info.ChainLiveCount(), records);
}

TEST(WorldFiling, UpdateZonesMovesTheEntityInTheGridOnly) {
    World w;
    Groups g(w);
    Server_Entity* pad = w.ProperAddByType(kKindNormalPad);
    pad->m_vPosition.Set(20'000, 0, 0);
    pad->SetMoving(true);  // a group change that must wait for a full re-filing
    w.UpdateZonesEntityIsIn(pad);
    EXPECT_EQ(g.Of(pad), (Names{"AllEntities", "NormalPads"}));
    EXPECT_EQ(w.m_Grid.GetZone(3, 75, 75), nullptr);
    EXPECT_NE(w.m_Grid.GetZone(3, 75, 85), nullptr);
}

TEST(WorldFiling, ProperDestroyLeavesNoTrace) {
    World w;
    Groups g(w);
    uint64_t records = g_VukHeap_PFAE_Info.ChainLiveCount();
    uint64_t pads = g_VukHeap_ServerEntity.ChainLiveCount();
    Server_Entity* pad = w.ProperAddByType(kKindNormalPad);
    Server_Entity* other = w.ProperAddByType(kKindNormalPad);
    w.ProperDestroy(pad);
    EXPECT_EQ(g.Of(other), (Names{"AllEntities", "NormalPads"}));
    EXPECT_EQ(w.m_AllEntities.GetEntity(0), other);
    w.ProperDestroy(other);
    EXPECT_EQ(g.Total(), 0u);
    EXPECT_TRUE(w.m_Grid.IsEmpty());
    EXPECT_EQ(g_VukHeap_PFAE_Info.ChainLiveCount(), records);
    EXPECT_EQ(g_VukHeap_ServerEntity.ChainLiveCount(), pads);
}

TEST(WorldFiling, AnEntityMadeButNotFiledCanBeDiscarded) {
    World w;
    Server_Entity* candidate = World::CreateByType(kKindNormalPad);
    EXPECT_EQ(candidate->m_GroupLinks.Count(), 0u);
    EXPECT_EQ(w.m_AllEntities.Count(), 0u);
    delete candidate;
    Server_Entity* kept = World::CreateByType(kKindZorbinCube);
    w.AddEntityToZonesAndGroups(kept);
    EXPECT_EQ(w.m_ZorbinCubes.Count(), 1u);
}

TEST(WorldFiling, DoublingClientSlotsDoublesTheGlobal) {
    uint32_t saved = g_uiAllocatedClientUINs;
    World w;
    g_uiAllocatedClientUINs = 32;
    w.DoubleAllocatedClientUINs();
    EXPECT_EQ(g_uiAllocatedClientUINs, 64u);
    w.DoubleAllocatedClientUINs();
    EXPECT_EQ(g_uiAllocatedClientUINs, 128u);
    g_uiAllocatedClientUINs = saved;
}

// ---- destruction -----------------------------------------------------------------------------

namespace {
struct PoolCounts {
    uint64_t pads = g_VukHeap_ServerEntity.ChainLiveCount();
    uint64_t zorbins = g_VukHeap_ServerZorbinCube.ChainLiveCount();
    uint64_t palaces = g_VukHeap_ServerPalaceCube.ChainLiveCount();
    uint64_t records = g_VukHeap_PFAE_Info.ChainLiveCount();
    uint64_t zones = g_VukHeap_VukZone.ChainLiveCount();
    uint64_t rows = g_VukHeap_VukZoneLine.ChainLiveCount();
    uint64_t links = g_VukHeap_Links.ChainLiveCount();
    bool operator==(const PoolCounts&) const = default;
};
} // namespace

TEST(WorldLifetime, DestroyingTheWorldDestroysEveryKind) {
    PoolCounts before;
    {
        World w;
        for (uint8_t kind : {1, 4, 6, 8, 9, 10, 11, 12}) {
            Server_Entity* e = w.ProperAddByType(kind);
            e->m_vPosition.Set(float(kind) * 3000, 100, 0);
            e->m_vSize.Set(50, 50, 50);
            w.UpdateGroupsAndZonesEntityIsIn(e);
        }
    }
    EXPECT_EQ(PoolCounts(), before);
}

TEST(WorldLifetime, AHundredThousandEntitiesComeAndGoWithoutATrace) {
    WorkingFolder folder;
    PoolCounts before;
    uint32_t zonesSeen = 0;
    {
        World w;
        Groups g(w);
        std::vector<Server_Entity*> made;
        made.reserve(100'000);
        uint32_t seed = 12345;
        auto next = [&seed] { return seed = seed * 1'103'515'245u + 12'345u; };
        for (int i = 0; i < 100'000; ++i) {
            uint8_t kind = (i % 10 == 0) ? kKindZorbinCube : (i % 25 == 1) ? kKindPalaceCube : kKindNormalPad;
            Server_Entity* e = w.ProperAddByType(kind);
            e->m_vPosition.Set(float(next() % 200'000) - 100'000.0f, float(next() % 5'000), float(next() % 200'000) - 100'000.0f);
            e->m_vSize.Set(float(next() % 600 + 10), float(next() % 600 + 10), float(next() % 600 + 10));
            if (i % 7 == 0) e->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
            if (i % 13 == 0) e->SetYaw(0.3f);
            w.UpdateGroupsAndZonesEntityIsIn(e);
            made.push_back(e);
        }
        EXPECT_EQ(w.m_AllEntities.Count(), 100'000u);
        // Move every entity once more, then throw away a third through the world.
        for (Server_Entity* e : made) {
            e->m_vPosition.x += 3000;
            w.UpdateZonesEntityIsIn(e);
        }
        for (size_t i = 0; i < made.size(); i += 3) w.ProperDestroy(made[i]);
        zonesSeen = w.m_Grid.CountZones();
        EXPECT_GT(zonesSeen, 9'000u);
    }
    EXPECT_EQ(PoolCounts(), before);
    EXPECT_EQ(folder.CountInLog("CRASH"), 0);
}

TEST(WorldLifetime, AnEmptiedPoolHoldsNoCommittedPages) {
    {
        World w;
        for (int i = 0; i < 1000; ++i) w.ProperAddByType(kKindNormalPad);
        EXPECT_GT(g_VukHeap_ServerEntity.ChainCommittedPages(), 40u);
    }
    OptimizeGlobalHeaps();
    for (const VukHeap* heap : {&g_VukHeap_ServerEntity, &g_VukHeap_PFAE_Info, &g_VukHeap_VukZone, &g_VukHeap_VukZoneLine}) {
        if (heap->ChainLiveCount() == 0) {
            EXPECT_EQ(heap->ChainCommittedPages(), 0u) << heap->Name();
        }
    }
}
