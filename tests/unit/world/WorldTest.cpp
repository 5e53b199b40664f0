// The world's groups and filing. The lifetime of a hundred thousand entities, and the pages the
// tidy gives back after it, are exercised by bench_world outside the unit suite.
#include <gtest/gtest.h>

#include <functional>

#include "WorldFixture.h"

namespace {

// The names of the world arrays that hold e.
Names GroupsOf(World& w, const Server_Entity* e) {
    // clang-format off
    const std::pair<const char*, VUKFastArray_Entity*> all[] = {{"AllEntities", &w.m_AllEntities},
        {"FireBlocks", &w.m_FireBlocks}, {"TalvyCubes", &w.m_TalvyCubes}, {"OrisetCubes", &w.m_OrisetCubes},
        {"NormalPads", &w.m_NormalPads}, {"PlayerBuiltPads", &w.m_PlayerBuiltPads}, {"MovingPads", &w.m_MovingPads},
        {"ZorbinCubes", &w.m_ZorbinCubes}, {"PalaceCubes", &w.m_PalaceCubes}, {"QuillhobCubes", &w.m_QuillhobCubes},
        {"Lifts", &w.m_Lifts}, {"Players", &w.m_Players}, {"OnlinePlayers", &w.m_OnlinePlayers},
        {"RestingOfflinePlayers", &w.m_RestingOfflinePlayers}, {"OtherPlayers", &w.m_OtherPlayers},
        {"TagPads", &w.m_TagPads}, {"MovingZorbinCubes", &w.m_MovingZorbinCubes}, {"LinkedZorbinCubes", &w.m_LinkedZorbinCubes}};
    // clang-format on
    Names names;
    for (const auto& [name, array] : all)
        if (array->Contains(e)) names.push_back(name);
    return names;
}

// An entity of each kind and state, filed again after its flags were set as the rules do.
TEST(WorldGroups, FollowKindAndStateWhenAnEntityIsFiled) {
    World w;
    Server_Player near;
    auto none = [](Server_Entity*) {};
    auto nearPlayer = [&](Server_Entity* e) {
        static_cast<Server_ZorbinCube*>(e)->m_NearPlayers.Add(&near), e->SetMoving(false);
        near.m_NearZorbins.Add(static_cast<Server_ZorbinCube*>(e));
    };
    // clang-format off
    const std::tuple<uint8_t, std::function<void(Server_Entity*)>, Names> cases[] = {
        {kKindNormalPad, none, {"AllEntities", "NormalPads"}},
        {kKindNormalPad, [](Server_Entity* e) { e->GetOrCreateLift(); }, {"AllEntities", "NormalPads", "Lifts"}},
        {kKindNormalPad, [](Server_Entity* e) { e->GetOrCreateLift(), e->SetMoving(true); }, {"AllEntities", "NormalPads", "MovingPads"}},
        {kKindNormalPad, [](Server_Entity* e) { e->m_ucSurfaceFlags = kSurfaceTagPad; }, {"AllEntities", "NormalPads", "TagPads"}},
        {kKindNormalPad, [](Server_Entity* e) { e->m_ucSurfaceFlags = kSurfaceTagPad | kSurfacePlayerBuilt; },
         {"AllEntities", "NormalPads", "PlayerBuiltPads"}},
        {kKindPlayer, none, {"AllEntities", "Players", "RestingOfflinePlayers"}},
        {kKindPlayer, [&](Server_Entity* e) { static_cast<Server_Player*>(e)->SetLoggedIn(true); }, {"AllEntities", "Players", "OnlinePlayers", "OtherPlayers"}},
        {kKindPlayer, [&](Server_Entity* e) { static_cast<Server_Player*>(e)->SetPlayerMoving(true); }, {"AllEntities", "Players", "OtherPlayers"}},
        {kKindZorbinCube, none, {"AllEntities", "ZorbinCubes", "MovingZorbinCubes"}},
        {kKindZorbinCube, nearPlayer, {"AllEntities", "ZorbinCubes", "LinkedZorbinCubes"}},
        {kKindFireBlock, none, {"AllEntities", "FireBlocks"}}, {kKindTalvyCube, none, {"AllEntities", "TalvyCubes"}},
        {kKindOrisetCube, none, {"AllEntities", "OrisetCubes"}}, {kKindPalaceCube, none, {"AllEntities", "PalaceCubes"}},
        {kKindQuillhobCube, none, {"AllEntities", "QuillhobCubes"}}};
    // clang-format on
    for (const auto& [kind, set, groups] : cases) {
        Server_Entity* e = w.ProperAddByType(kind);
        set(e);
        w.UpdateGroupsAndZonesEntityIsIn(e);
        EXPECT_EQ(GroupsOf(w, e), groups) << int(kind);
        EXPECT_EQ(e->m_GroupLinks.Count(), groups.size());
    }
    w.ProperDestroy(w.m_LinkedZorbinCubes.GetEntity(0)); // it leaves its player's list too
    EXPECT_TRUE(near.m_NearZorbins.Empty());
}

// Filing an unchanged entity again gives the same arrays and zones and no more records. A move
// within its zones keeps the filing (group changes wait for a full filing); a move across a zone
// edge files it again, and so does an update after it was taken out of the grid by hand.
TEST(WorldFiling, FilesAnEntityAgainOnlyWhereItChanged) {
    World w;
    Server_Entity* pad = w.ProperAddByType(kKindNormalPad);
    EXPECT_EQ(ZonesOf(pad->m_ZoneLinks).front(), ZoneIndex(75, 3, 75)); // made at the origin
    pad->m_vPosition.Set(1000, 100, 1000);
    pad->m_vSize.Set(50, 50, 50);
    w.UpdateGroupsAndZonesEntityIsIn(pad);
    const std::vector<ZoneIndex> zones = ZonesOf(pad->m_ZoneLinks);
    const uint64_t records = g_VukHeap_PFAE_Info.ChainLiveCount();
    w.UpdateGroupsAndZonesEntityIsIn(pad);
    EXPECT_EQ(
        std::tuple(GroupsOf(w, pad), ZonesOf(pad->m_ZoneLinks), zones.size(), g_VukHeap_PFAE_Info.ChainLiveCount()),
        std::tuple(Names{"AllEntities", "NormalPads"}, zones, 8u, records));
    PFAE_Info* firstLink = pad->m_ZoneLinks.Get(0);
    pad->m_vPosition.Set(1010, 100, 1000);
    pad->SetMoving(true);
    w.UpdateZonesEntityIsIn(pad);
    EXPECT_EQ(std::tuple(pad->m_ZoneLinks.Get(0), GroupsOf(w, pad)),
              std::tuple(firstLink, Names{"AllEntities", "NormalPads"}));
    pad->m_vPosition.Set(2990, 100, 1000); // the low edge moves from x zone 75 into zone 76
    w.UpdateZonesEntityIsIn(pad);
    EXPECT_EQ(std::tuple(w.m_Grid.GetZone(3, 75, 75), w.m_Grid.GetZone(3, 75, 77) != nullptr),
              std::tuple(nullptr, true));
    ZL_RemoveEntityFromZonesOnly(pad, &pad->m_ZoneLinks);
    w.UpdateZonesEntityIsIn(pad);
    EXPECT_EQ(pad->m_ZoneLinks.Count(), 16u);
}

// Unknown kinds make nothing; what is made comes from its kind's pool and goes with the world,
// and so does what it filed.
TEST(WorldLifetime, DestroyingTheWorldLeavesNoTrace) {
    PoolCounts before;
    {
        World w;
        EXPECT_EQ(std::tuple(w.ProperAddByType(2), w.ProperAddByType(13)), std::tuple(nullptr, nullptr));
        for (uint8_t kind : {1, 4, 6, 8, 9, 10, 11, 12}) {
            Server_Entity* e = w.ProperAddByType(kind);
            e->m_vPosition.Set(float(kind) * 3000, 100, 0);
            e->m_vSize.Set(50, 50, 50);
            w.UpdateGroupsAndZonesEntityIsIn(e);
        }
        EXPECT_TRUE(g_VukHeap_ServerZorbinCube.IsIn(w.m_ZorbinCubes.GetEntity(0)) &&
                    g_VukHeap_ServerPalaceCube.IsIn(w.m_PalaceCubes.GetEntity(0)));
    }
    EXPECT_EQ(PoolCounts().All(), before.All());
}

} // namespace
