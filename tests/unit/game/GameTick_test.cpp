// The game tick's order, its signals, and the deferred update and remove lists.

#include "mod/VukServer_Mod_Interface.h"
#include "unit/game/GameFixture.h"
#include "world/VUK_Zone.h"

using GameTick = GameTest;

static bool FiledInZoneAt(const VUK_Grid& grid, const Server_Entity* e, float x, float y, float z) {
    int layer = grid.IndexY(y), row = grid.IndexZ(z), zone = grid.IndexX(x);
    const VUK_Zone* found = grid.GetZone(uint32_t(layer), uint32_t(row), uint32_t(zone));
    return found && found->List(kZoneAll).Contains(e);
}

TEST_F(GameTick, UpdateThenRemovalInOneTickDestroysWithoutRefiling) {
    Server& s = server();
    Server_Entity* removed = Block();
    Server_Entity* moved = Block(300.0f);
    Server_Entity* later = Block(600.0f);
    for (Server_Entity* e : {removed, moved, later}) {
        e->m_vPosition.x += 50'000.0f;
        s.QueueEntityForUpdate(e);
        s.QueueEntityForUpdate(e); // once is enough
    }
    s.QueueEntityForRemoval(removed);
    s.QueueEntityForRemoval(removed); // and never twice
    s.QueueEntityForUpdate(removed);  // after removal: changes nothing
    EXPECT_EQ(std::tuple(removed->m_ucRuleFlags & 0x07, moved->m_ucRuleFlags & 0x07, s.m_UpdateList.Length(),
                         s.m_RemoveList.Length()),
              std::tuple(int(kRuleQueuedForRemoval), int(kRuleQueuedForUpdate), 3u, 1u));

    s.m_pCurrentEntity = removed;
    s.ProcessUpdatesAndRemoves();
    // The list is walked from its head, newest first: later leaves [removed, moved, later] and
    // comes back last, then moved does, then removed goes and moved takes its place.
    ASSERT_EQ(s.m_AllEntities.Count(), 2u);
    EXPECT_EQ(std::tuple(s.m_AllEntities.GetEntity(0), s.m_AllEntities.GetEntity(1), s.m_pCurrentEntity),
              std::tuple(moved, later, nullptr));
    EXPECT_TRUE(s.m_UpdateList.Empty() && s.m_RemoveList.Empty() && (moved->m_ucRuleFlags & 0x07) == 0);
    EXPECT_TRUE(FiledInZoneAt(s.m_Grid, moved, 50'300.0f, 50.0f, 0.0f));
    EXPECT_FALSE(FiledInZoneAt(s.m_Grid, moved, 300.0f, 50.0f, 0.0f));
}

// A removed fire block leaves its admins their selection; anything else is deselected, and fire
// blocks credited to it are credited to nobody.
TEST_F(GameTick, RemovalDeselectsEverythingButFireBlocks) {
    Server& s = server();
    Server_Entity* block = Block();
    auto* fire = static_cast<Server_FireBlock*>(Box(kKindFireBlock, {0.0f, 500.0f, 0.0f}, {8.0f, 8.0f, 8.0f}));
    auto* otherFire = static_cast<Server_FireBlock*>(Box(kKindFireBlock, {0.0f, 900.0f, 0.0f}, {8.0f, 8.0f, 8.0f}));
    otherFire->m_pShotOwner = block;
    Server_Player* blockAdmin = Player({1000.0f, 8.0f, 0.0f});
    Server_Player* fireAdmin = Player({2000.0f, 8.0f, 0.0f});
    blockAdmin->m_pAdminSelection = block;
    fireAdmin->m_pAdminSelection = fire;
    s.QueueEntityForRemoval(block);
    s.QueueEntityForRemoval(fire);
    s.ProcessUpdatesAndRemoves();
    // The fire block's pointer is compared, never followed.
    EXPECT_EQ(std::tuple(blockAdmin->m_pAdminSelection, fireAdmin->m_pAdminSelection, otherFire->m_pShotOwner),
              std::tuple(nullptr, static_cast<Server_Entity*>(fire), nullptr));
    EXPECT_EQ(s.m_AllEntities.Count(), 3u);
}

TEST_F(GameTick, SignalsFollowTheSwitches) {
    for (auto [princesses, lifts] : {std::pair{true, true}, {false, true}, {true, false}}) {
        Server& s = server();
        s.m_bPrincessesRunning = princesses;
        s.m_bLiftsRunning = lifts;
        Server_Entity* talvy = Box(kKindTalvyCube, {0.0f, 5000.0f, 0.0f}, {500.0f, 500.0f, 500.0f});
        Server_Entity* oriset = Box(kKindOrisetCube, {3000.0f, 5000.0f, 0.0f}, {500.0f, 500.0f, 500.0f});
        Server_Entity* lift = Block(6000.0f);
        lift->GetOrCreateLift();
        s.UpdateGroupsAndZonesEntityIsIn(lift);
        s.Game_Tick();
        for (auto [e, on] : {std::pair{talvy, princesses}, {oriset, princesses}, {lift, lifts}}) {
            EXPECT_EQ((e->m_ucPassFlags & kPassTickSignal) != 0, on) << int(e->GetKind());
            s.QueueEntityForRemoval(e);
        }
        s.ProcessUpdatesAndRemoves();
    }
}

// The mod's hook comes after the rules and before the lists are processed.
TEST_F(GameTick, ModHookRunsBeforeTheListsAreProcessed) {
    static Server* s_pServer;
    static uint32_t s_uiCountInHook, s_uiTickInHook;
    s_pServer = &server();
    KRV_ORIGINAL_CallAtEveryTick = [] {
        s_uiCountInHook = s_pServer->m_AllEntities.Count();
        s_uiTickInHook = s_pServer->m_uiTickCount;
    };
    server().QueueEntityForRemoval(Block());
    server().Game_Tick();
    KRV_ORIGINAL_CallAtEveryTick = nullptr;
    EXPECT_EQ(std::tuple(s_uiCountInHook, s_uiTickInHook, server().m_AllEntities.Count()), std::tuple(1u, 1u, 0u));
}
