// The update cycle in a real server: what a client is told first, the nearest-first passes, the
// byte limit, the please-wait window, tick marks and their channels, change and removal notices,
// the filing of a new client's zones, and the teardown of a client.
#include <map>

#include "unit/replication/Fixtures.h"
#include "world/VUK_Zone.h"
#include "world/ZoneGridHolder.h"

namespace {

const Bytes kPleaseWaitOpen = Bytes{0x65, 0x22} + U16(256) + U16(0) + U16(128) + U16(64) + U32(0x00FFFFFF) + U32(0) +
                              U32(0x00FFFFFF) + U32(0xB0FFFFFF) + Bytes{4} + U32(97) +
                              Text("Please wait for nearby objects to load...\n"
                                   "(Controlling your player may be slow during this wait.)");
// Client-side movement switched on with sequence 1, the player at rest.
const Bytes kMovementOn = Bytes{0x6B, 1, 1, 0x6F} + F32(kF0) + F32(kF0) + F32(kF0);

std::vector<Bytes> NonEmpty(std::vector<Bytes> messages) {
    std::erase_if(messages, [](const Bytes& m) { return m.empty(); });
    return messages;
}

using UpdateCycle = ReplicationTest;

TEST_F(UpdateCycle, FirstUpdateThenATickMarkOncePerGameTickAlsoWithoutAPlayer) {
    auto ann = LogIn("ann");
    ann.client->m_bStartupSent = false;
    auto idle = m_Harness.Connect();
    idle.Send(0, {9, 84});
    ann.Send(0, {6});
    m_Harness.Pass();
    // The please-wait window opens; the update starts with the menu and news buttons, then the
    // own player, bound to slot 0. Past the size limit, the first-pass mark waits for the next.
    std::vector<Bytes> got = NonEmpty(ann.Take(0));
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0], kPleaseWaitOpen);
    const Bytes menuButton = Bytes{0x65, 0} + U16(470) + U16(444) + U16(56) + U16(28) + U32(0xFFFFFF) + U32(0) +
                             U32(0xFFFFFF) + U32(0xFFFFFFFF) + Bytes{4} + U32(12) + Text("Special Menu");
    const Bytes newsButton = Bytes{0x65, 11} + U16(358) + U16(432) + U16(108) + U16(40) + U32(0xFFFFFF) +
                             U32(0x004040) + U32(0xFFFFFF) + U32(0xFFFFFFFF) + Bytes{4} + U32(47) +
                             Text("Click Here for Game Update and Rule Change Info");
    EXPECT_EQ(got[1], (menuButton + newsButton + Bind(0, ViewOf(ann, ann.client->m_pPlayer)) + Bytes{0x0B, 1, 0x09} +
                       U32(3) + Text("ann") + Bytes{0x22, 1, 0x27} + U16(4000) + U16(2000) + U16(uint16_t(-2000)) +
                       Bytes{0x16} + U32(1000) + Bytes{0x0E} + U32(5000)));
    EXPECT_FALSE(Pending(ann, ann.client->m_pPlayer));
    // The next game tick (its normal update runs in the pass after) files the empty zones, so
    // the window closes, and marks the first pass and the tick. Meanwhile ann has begun to fall
    // (1.8 in the first tick, with the hyper play every player has): y 198.2 against the 200 + 200
    // the first step predicted; the hyper play also sends its speed factor 1.5.
    m_Harness.GameTick();
    m_Harness.Pass();
    const Bytes fall = Bytes{0x27} + U16(uint16_t(-4000)) + U16(uint16_t(-2018)) + U16(2000);
    const Bytes hyper = Bytes{0x6E} + F32(0x3FC00000);
    EXPECT_EQ(NonEmpty(ann.Take(0)), (std::vector<Bytes>{{0x66, 0x22}, fall + hyper + Bytes{0x3C, 0x3B}}));
    // A second normal update within the same game tick carries no mark.
    ann.client->m_bNeedsNormalUpdate = true;
    m_Harness.Pass();
    EXPECT_TRUE(NonEmpty(ann.Take(0)).empty());
    // Client-side movement starts out allowed, which a client without a player is told at once.
    idle.TakeAll();
    EXPECT_EQ(NonEmpty(NormalUpdate(idle)), (std::vector<Bytes>{{0x6B, 1, 1, 0x3B}}));
}

// An administrator's update starts with the admin state that changed since its own player's
// view last carried it: the mode flag, the tool byte and value, the selection's handle.
TEST_F(UpdateCycle, AdminSignalsOnlyWhenTheyDifferFromTheOwnView) {
    auto admin = Settled("ADMIN");
    Server_Player* player = admin.client->m_pPlayer;
    EXPECT_EQ(NormalUpdateMessage(admin), (Bytes{0x44} + F32(kF1))); // the step starts at 1.0, the view at 0
    EXPECT_EQ(NormalUpdateMessage(admin), Bytes{});
    player->SetFlag(kPlayerAdminMode, true);
    player->m_ucEditMode = 3;
    player->m_fAdminStep = 2.0f;
    Server_Entity* pad = Add(kKindNormalPad, 100.0f);
    player->m_pAdminSelection = pad;
    // The pad has no view yet when the signals are written: its handle follows an update later.
    Bytes update = NormalUpdateMessage(admin);
    const Bytes signals = Bytes{0x43, 1, 0x46, 3, 0x44} + F32(kF2);
    ASSERT_GT(update.size(), signals.size());
    EXPECT_EQ(Bytes(update.begin(), update.begin() + std::ptrdiff_t(signals.size())), signals);
    ASSERT_NE(ViewOf(admin, pad), nullptr);
    EXPECT_EQ(NormalUpdateMessage(admin), Bytes{0x45} + U32(g_VukHeap_ServerClientEntity.HandleOf(ViewOf(admin, pad))));
    player->m_pAdminSelection = nullptr;
    player->SetFlag(kPlayerAdminMode, false);
    EXPECT_EQ(NormalUpdateMessage(admin), (Bytes{0x43, 0, 0x45} + U32(0)));
}

TEST_F(UpdateCycle, WindowAndClientSideMovementWaitUntilTheNearbyZonesFitTheLimit) {
    auto ann = LogIn("ann");
    NormalUpdate(ann);
    FileAll(ann);
    ann.client->m_pPlayer->m_ucCSMHoldOff = 1; // runs out in the next update
    for (int i = 0; i < 6; ++i) Add(kKindTalvyCube, 500.0f + 20.0f * float(i));
    // A cube's add is 20 bytes: two fit under 30 before the pass stops, and each update ends full.
    ann.client->m_uiMaxUpdateSize = 30;
    for (int update = 1; update <= 3; ++update) {
        ann.client->UpdateClient_NormalPacket(server().m_uiTickCount);
        std::vector<Bytes> got = ann.Take(0); // the window's (empty: not opened again), then the update
        ASSERT_EQ(got.size(), 2u);
        EXPECT_TRUE(got[0].empty()) << update;
        EXPECT_EQ(got[1].size(), 40u) << update;
    }
    EXPECT_EQ(NormalUpdate(ann), (std::vector<Bytes>{{0x66, 0x22}, kMovementOn}));
}

TEST_F(UpdateCycle, ZonePassBoxStartsAtTheGroundAndAFarEntityWhoseViewIsNearGoesOnceMore) {
    auto ann = Settled("ann");
    // Below the grid's floor except for its top: filed in the lowest layer only, and too far
    // below for the list pass.
    Server_Entity* deep = Add(kKindTalvyCube, 400.0f, -11995.0f, -200.0f);
    Server_Entity* cube = Add(kKindTalvyCube, 1400.0f);
    NormalUpdate(ann);
    EXPECT_TRUE(Pending(ann, deep));
    // The client steps (1400, 200, -200) per message since the add: the correction is
    // (48600, 0, 0) minus that step.
    MoveTo(cube, 50000.0f, 200.0f, -200.0f);
    EXPECT_EQ(NormalUpdateMessage(ann), (Bytes{0x28} + F32(0x47386000) + F32(kFMinus200) + F32(kF200)));
    EXPECT_FALSE(Pending(ann, cube));
    MoveTo(cube, 50100.0f, 200.0f, -200.0f);
    EXPECT_TRUE(NormalUpdateMessage(ann).empty());
    EXPECT_TRUE(Pending(ann, cube));
    // A straight update skips the zone pass: the list pass sends what is near, and the window
    // opens as the world nearby does not count as loaded.
    ann.client->m_bStraightUpdate = true;
    Server_Entity* near = Add(kKindTalvyCube, 500.0f);
    EXPECT_EQ(NormalUpdate(ann)[0], kPleaseWaitOpen);
    EXPECT_NE(ViewOf(ann, near), nullptr);
}

TEST_F(UpdateCycle, ExtraUpdateSendsNoOwnPlayerScoresWindowOrTickMark) {
    auto ann = LogIn("ann");
    auto bob = LogIn("bob");
    MoveTo(bob.client->m_pPlayer, -60000.0f, 200.0f, -60000.0f);
    MoveTo(ann.client->m_pPlayer, 60000.0f, 200.0f, 60000.0f);
    server().m_uiTickCount = 5;
    Server_Entity* cube = Add(kKindTalvyCube, 60500.0f, 200.0f, 60000.0f);
    ann.client->UpdateClient_ExtraPacket();
    std::vector<Bytes> got = NonEmpty(ann.TakeAll());
    ASSERT_EQ(got.size(), 1u);
    EXPECT_NE(ViewOf(ann, cube), nullptr);
    EXPECT_EQ(ViewOf(ann, bob.client->m_pPlayer), nullptr);
    // Neither a tick mark (the tick number is new) nor the first-pass mark.
    EXPECT_TRUE(got[0].back() != 0x3B && !ann.client->m_bFirstPassMarkSent);
}

// Every pending player's score entry goes whatever the distance, later only a value that
// changed; a client taking a dropped client's watcher number starts afresh.
TEST_F(UpdateCycle, ScoreEntriesGoOnceThenOnlyWhatChangedAlsoAfterAWatcherNumberIsReused) {
    auto ann = Settled("ann");
    auto bob = Settled("bob");
    Server_Player* b = bob.client->m_pPlayer;
    MoveTo(b, 90000.0f, 200.0f, 0.0f);
    EXPECT_TRUE(Contains(NormalUpdateMessage(ann), Bytes{0x5C, 3} + Text("bob") + Bytes{1} + U32(1000) + U32(0)));
    b->m_i64PocketCoins = 7;
    MoveTo(b, 90000.0f, 210.0f, 0.0f); // pending again, far from ann's view of it
    EXPECT_TRUE(Contains(NormalUpdateMessage(ann), Bytes{0x16} + U32(7)));
    EXPECT_FALSE(Contains(NormalUpdateMessage(ann), Bytes{0x16} + U32(7)));
    const uint32_t watcher = ann.client->m_uiWatcher;
    ann.Disconnect();
    m_Harness.Pass();
    auto carol = LogIn("carol");
    FileAll(carol);
    ASSERT_EQ(carol.client->m_uiWatcher, watcher);
    EXPECT_TRUE(Contains(NormalUpdateMessage(carol), Bytes{0x5C, 3} + Text("bob") + Bytes{1} + U32(7) + U32(0)));
}

TEST_F(UpdateCycle, OwnPlayerComesFirstWithThePlatformItStandsOn) {
    auto ann = Settled("ann");
    Server_Entity* pad = Add(kKindNormalPad, 400.0f, 100.0f, -200.0f);
    Server_Player* me = ann.client->m_pPlayer;
    me->SetPlatform(pad);
    MoveTo(me, 400.0f, 210.0f, -200.0f);
    ann.client->m_uiMaxUpdateSize = 1;
    // Own player (still selected, so its correction comes first), then the pad added into slot
    // 1, both before the limit applies.
    Bytes update = NormalUpdateMessage(ann);
    EXPECT_EQ(update.at(0), 0x27);
    EXPECT_TRUE(Contains(update, Bind(1, ViewOf(ann, pad)) + Bytes{0x0B, 4}));
    me->SetPlatform(nullptr);
}

TEST_F(UpdateCycle, ClientSideMovementOnInTheSixtiethUpdateAfterLoginAndOffAfterAPlacement) {
    auto ann = LogIn("ann");
    FileAll(ann);
    for (int update = 1; update < 60; ++update) ASSERT_FALSE(Contains(NormalUpdateMessage(ann), {0x6B})) << update;
    EXPECT_EQ(NormalUpdateMessage(ann), kMovementOn);
    ann.client->m_pPlayer->m_ucCSMHoldOff = 4;
    MoveTo(ann.client->m_pPlayer, 1000.0f, 200.0f, 0.0f);
    // Switched off before the fill, so the own player already goes as a full resync.
    EXPECT_EQ(NormalUpdateMessage(ann),
              (Bytes{0x6B, 0, 2, 0x52} + F32(0x447A0000) + F32(kF200) + F32(kF0) + F32(kF0) + F32(kF0) + F32(kF0)));
}

using Notices = ReplicationTest;

TEST_F(Notices, FireBlocksReachAClientOnlyThroughTheirNotices) {
    Server_Entity* before = Add(kKindFireBlock, 400.0f);
    auto ann = Settled("ann");
    EXPECT_FALSE(ViewOf(ann, before) || Pending(ann, before)); // not attached at login
    Server_Entity* fire = Add(kKindFireBlock, 500.0f);
    Bytes update = NormalUpdateMessage(ann);
    ASSERT_NE(ViewOf(ann, fire), nullptr);
    EXPECT_EQ(update, (Bind(1, ViewOf(ann, fire)) + Bytes{0x5A} + F32(kF10) + F32(0x43FA0000) + F32(kF200) +
                       F32(kFMinus200) + F32(kF0) + F32(kF0) + F32(kF0) + U32(0)));
}

TEST_F(Notices, ChangeWhileWaitingToBeFiledFilesAtOnceForClientsWithAPlayer) {
    Server_Entity* pad = Add(kKindNormalPad, 100.0f, 0.0f, 0.0f);
    auto ann = LogIn("ann");
    auto idle = m_Harness.Connect();
    ASSERT_EQ(ann.client->m_ZoneWaitEntities.Count(), 1u);
    MoveTo(pad, 150.0f, 0.0f, 0.0f);
    EXPECT_EQ(ann.client->m_ZoneWaitEntities.Count(), 0u);
    EXPECT_TRUE(ann.client->m_PendingGrid.IsFiledInZones(pad->m_uiIndex));
    EXPECT_FALSE(Pending(idle, pad) || idle.client->IsWatching());
}

// Filing against a counter that moves by a set step at every reading.
int64_t g_SteppingNow = 0;
int64_t g_SteppingStep = 0;
int64_t SteppingCounter() { return g_SteppingNow += g_SteppingStep; }

TEST_F(Notices, ZoneFilingRunsInSlicesOfASixtiethOfASecondAndFilesOneEntityAtLeast) {
    for (int i = 0; i < 9; ++i) Add(kKindNormalPad, 100.0f * float(i), 0.0f, 0.0f);
    auto ann = LogIn("ann");
    platform::SetCounterSource(&SteppingCounter);
    g_SteppingStep = 5'000'000; // 5 ms a reading: the fourth entity ends the slice
    ann.client->HandleZonesBeUpdatedThingy();
    EXPECT_EQ(ann.client->m_ZoneWaitEntities.Count(), 5u);
    ann.client->HandleZonesBeUpdatedThingy();
    EXPECT_EQ(ann.client->m_ZoneWaitEntities.Count(), 1u);
    g_SteppingStep = 50'000'000; // a whole slice a reading: still one entity a call
    ann.client->HandleZonesBeUpdatedThingy();
    EXPECT_EQ(ann.client->m_ZoneWaitEntities.Count(), 0u);
    EXPECT_FALSE(ann.client->m_bZonesFilled);
    // The call that finds the list empty marks the zones filled.
    ann.client->HandleZonesBeUpdatedThingy();
    EXPECT_TRUE(ann.client->m_bZonesFilled);
}

TEST_F(Notices, MovingEntityStaysFiledOnceSentAndASmallMoveMakesItPendingThere) {
    auto ann = Settled("ann");
    const ClientPendingGrid& grid = ann.client->m_PendingGrid;
    Server_Entity* cube = Add(kKindTalvyCube, 500.0f);
    Server_Entity* pad = Add(kKindNormalPad, 600.0f);
    NormalUpdate(ann);
    ASSERT_FALSE(Pending(ann, cube) || Pending(ann, pad));
    uint32_t filed = grid.FiledKey(cube->m_uiIndex);
    EXPECT_TRUE(grid.IsFiledInZones(cube->m_uiIndex));
    EXPECT_EQ(grid.FiledKey(pad->m_uiIndex), 0u);
    MoveTo(cube, 501.0f, 200.0f, -200.0f);
    EXPECT_TRUE(Pending(ann, cube));
    EXPECT_EQ(grid.FiledKey(cube->m_uiIndex), filed);
    // The zone pass finds it where it is filed and sends the move (the pad was selected last).
    EXPECT_EQ(NormalUpdateMessage(ann),
              (Bytes{0x2E, 1, 0x27} + U16(uint16_t(-4990)) + U16(uint16_t(-2000)) + U16(2000)));
    EXPECT_FALSE(Pending(ann, cube));
    // What is queued for removal is not filed again.
    pad->m_ucRuleFlags |= kRuleQueuedForRemoval;
    MoveTo(pad, 700.0f, 200.0f, -200.0f);
    EXPECT_FALSE(Pending(ann, pad));
}

// A client's pending grid files an entity in exactly the zones a VUK_Grid of the same geometry
// would, near zone edges (where float steps decide), for rotated and huge boxes and outside it.
TEST(PendingGrid, FilesInTheZonesOfTheGridClassWithTheSameGeometry) {
    VUK_Grid grid(VUKVector(-150000.0f, -6000.0f, -150000.0f), VUKVector(150000.0f, 30000.0f, 150000.0f),
                  VUKVector(6000.0f, 6000.0f, 6000.0f), 6, 50, 50);
    std::unique_ptr<Server_Entity> e(World::CreateByType(kKindNormalPad));
    uint64_t state = 777;
    auto next = [&](float low, float high) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return low + (high - low) * float(double(state >> 11) / double(1ull << 53));
    };
    for (int i = 0; i < 1500; ++i) {
        auto edgy = [&](float min, float span) {
            return min + 6000.0f * float(int(next(0, span / 6000.0f))) + next(-9, 9);
        };
        e->m_vPosition.Set(edgy(-150000.0f, 300000.0f), edgy(-6000.0f, 36000.0f),
                           i % 4 ? edgy(-150000.0f, 300000.0f) : next(-2e5f, 2e5f));
        float size = i % 13 ? next(1, 6000) : next(6000, 1e5f);
        e->m_vSize.Set(size, next(1, 9000), size);
        e->SetYaw(i % 3 ? 0.0f : next(0, 6.28f));
        PFAE_InfoList links(1);
        grid.AddEntity(e.get(), &links, true);
        ClientPendingGrid pending;
        pending.File(0, ClientPendingGrid::KeyOf(e.get()));
        ASSERT_EQ(pending.CountZones(), links.Count()) << i;
        for (uint32_t k = 0; k < links.Count(); ++k) {
            const VUK_Zone* z = links[k]->GetArray()->GetOwner();
            ASSERT_TRUE(pending.IsFiledIn(0, (z->m_pZoneLine->m_pMap->m_uiIndex * 50 + z->m_pZoneLine->m_uiIndex) * 50 +
                                                 z->m_uiIndex))
                << i;
        }
        ZL_RemoveEntityFromZonesOnly(e.get(), &links);
    }
}

// However an entity is stored (a wide box in all its zones, others in their first zone only),
// a walk meets it first in the first zone of the walk it is filed in.
TEST(PendingGrid, AWalkMeetsEachEntityFirstInTheFirstOfItsZonesItReaches) {
    std::unique_ptr<Server_Entity> e(World::CreateByType(kKindNormalPad));
    ClientPendingGrid grid;
    uint64_t state = 99;
    auto next = [&](float low, float high) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return low + (high - low) * float(double(state >> 11) / double(1ull << 53));
    };
    constexpr uint32_t kCount = 600;
    for (uint32_t i = 0; i < kCount; ++i) {
        e->m_vPosition.Set(next(-30000, 30000), next(0, 20000), next(-30000, 30000));
        const float size = i % 5 ? next(50, 400) : next(6000, 20000);
        e->m_vSize.Set(size, next(10, 7000), size);
        grid.File(i, ClientPendingGrid::KeyOf(e.get()));
    }
    for (int w = 0; w < 60; ++w) {
        const VUKVector low(next(-30000, 20000), next(0, 15000), next(-30000, 20000));
        const VUKVector high = low + VUKVector(next(4000, 20000), next(4000, 20000), next(4000, 20000));
        std::vector<uint32_t> zones;
        std::map<uint32_t, uint32_t> metAt;
        grid.Walk(low, high, [&](const uint32_t* entries, uint32_t count, uint32_t source, uint32_t zone, uint32_t&) {
            if (zones.empty() || zones.back() != zone) zones.push_back(zone);
            for (uint32_t k = 0; k < count; ++k)
                if (grid.Placement(entries[k], source, zone) == ClientPendingGrid::Entry::kHere)
                    metAt.emplace(entries[k], zone);
            return true;
        });
        for (uint32_t i = 0; i < kCount; ++i) {
            auto first = std::find_if(zones.begin(), zones.end(), [&](uint32_t z) { return grid.IsFiledIn(i, z); });
            if (first == zones.end())
                EXPECT_EQ(metAt.count(i), 0u) << w << " " << i;
            else
                EXPECT_EQ(metAt.count(i) ? metAt[i] : ~0u, *first) << w << " " << i;
        }
    }
}

using Removals = ReplicationTest;

TEST_F(Removals, RemovalsSelectTheirObjectFireBlocksFirstAndWaitWhileTheMessageIsFull) {
    auto ann = Settled("ann");
    std::vector<Server_Entity*> cubes;
    for (float x : {500.0f, 600.0f, 700.0f, 800.0f}) cubes.push_back(Add(kKindTalvyCube, x));
    Server_Entity* fire = Add(kKindFireBlock, 900.0f);
    Server_Entity* far = Add(kKindTalvyCube, 90000.0f, 200.0f, 90000.0f); // never sent
    NormalUpdate(ann);
    ASSERT_TRUE(Pending(ann, far));
    uint8_t slot[5];
    for (int i = 0; i < 4; ++i) slot[i] = SlotOf(ann, cubes[size_t(i)]);
    slot[4] = SlotOf(ann, fire);
    // The selected object needs no selection.
    MoveTo(cubes[3], 801.0f, 200.0f, -200.0f);
    NormalUpdate(ann);
    Destroy(cubes[3]);
    EXPECT_EQ(NormalUpdateMessage(ann), (Bytes{0x0A}));
    // One a message: fire blocks first, then the first waiting and the one moved into its place;
    // the entity the client never got leaves no message.
    for (Server_Entity* e : {cubes[0], cubes[1], far, cubes[2], fire}) Destroy(e);
    ann.client->m_uiMaxUpdateSize = 1;
    for (int i : {4, 0, 2, 1}) EXPECT_EQ(NormalUpdateMessage(ann), (Bytes{0x2E, slot[i], 0x0A})) << i;
    EXPECT_TRUE(NormalUpdateMessage(ann).empty());
    EXPECT_EQ(ann.client->m_PendingEntities.Count(), 0u);
}

// Pending for two clients, seen by one: it leaves both pending lists and both rows of bits, only
// the client that saw it gets a removal, and its index comes back clean for the next entity.
TEST_F(Removals, EntityDestroyedWhilePendingForSeveralClientsLeavesNothingBehind) {
    auto ann = Settled("ann");
    auto bob = Settled("bob");
    Server_Entity* cube = Add(kKindTalvyCube, 600.0f);
    NormalUpdate(ann);
    MoveTo(cube, 601.0f, 200.0f, -200.0f);
    ASSERT_TRUE(Pending(ann, cube) && Pending(bob, cube) && !ViewOf(bob, cube));
    const uint32_t index = cube->m_uiIndex, annPending = ann.client->m_PendingEntities.Count();
    Destroy(cube);
    EXPECT_EQ(std::tuple(ann.client->m_PendingEntities.Count(), bob.client->m_PendingEntities.Count()),
              std::tuple(annPending - 1, 0u));
    EXPECT_EQ(ann.client->m_PendingGrid.FiledKey(index), 0u);
    EXPECT_EQ(NormalUpdateMessage(ann), (Bytes{0x0A})); // still the selected object
    EXPECT_TRUE(NormalUpdateMessage(bob).empty());
    Server_Entity* next = Add(kKindNormalPad, 90000.0f, 0.0f, 90000.0f);
    ASSERT_EQ(next->m_uiIndex, index);
    EXPECT_FALSE(ViewOf(ann, next) || ViewOf(bob, next));
}

TEST_F(Removals, FireBlockRemovalIsSilentForClientsThatSimulateThemButFreesTheSlot) {
    auto ann = Settled("ann", {"KRV_CSE1"});
    Server_Entity* fire = Add(kKindFireBlock, 600.0f);
    NormalUpdate(ann);
    uint8_t fireSlot = SlotOf(ann, fire);
    Destroy(fire);
    EXPECT_TRUE(NormalUpdateMessage(ann).empty());
    Server_Entity* next = Add(kKindTalvyCube, 700.0f);
    Bytes update = NormalUpdateMessage(ann);
    EXPECT_TRUE(Contains(update, Bind(fireSlot, ViewOf(ann, next))));
}

using Teardown = ReplicationTest;

TEST_F(Teardown, DroppedClientLeavesNoTraceAndItsNumbersAreHandedOutAgain) {
    // Entities whose row still has a bit of the watcher.
    auto traces = [&](uint32_t watcher, uint32_t only = kEntityClientBitKinds) {
        int n = 0;
        for (uint32_t i = 0; i < g_EntityClientBits.IndexLimit(); ++i) {
            bool any = false;
            for (uint32_t k = 0; k < kEntityClientBitKinds; ++k)
                any = any || ((only == k || only == kEntityClientBitKinds) &&
                              g_EntityClientBits.Test(i, EntityClientBit(k), watcher));
            n += any && g_EntityClientBits.EntityAt(i);
        }
        return n;
    };
    for (int i = 0; i < 24; ++i) Add(kKindNormalPad, 100.0f * float(i), 0.0f, 0.0f);
    auto ann = Settled("ann");
    auto bob = Settled("bob");
    Add(kKindFireBlock, 500.0f);
    Add(kKindTalvyCube, 90000.0f, 0.0f, 0.0f);
    NormalUpdate(bob);
    const uint32_t annSlot = ann.client->Slot(), bobSlot = bob.client->Slot();
    const uint32_t annWatcher = ann.client->m_uiWatcher, bobWatcher = bob.client->m_uiWatcher;
    ASSERT_EQ(traces(annWatcher), 28); // pads, two players, fire block, cube
    const uint64_t views = g_VukHeap_ServerClientEntity.ChainLiveCount();
    const int annViews = traces(annWatcher, kBitViewed);
    ASSERT_GT(annViews, 0);
    ann.Disconnect();
    m_Harness.Pass();
    EXPECT_TRUE(server().m_ClientsBeingDeleted.Empty());
    EXPECT_EQ(traces(annWatcher), 0);
    EXPECT_EQ(g_VukHeap_ServerClientEntity.ChainLiveCount(), views - uint64_t(annViews));
    auto carol = LogIn("carol");
    EXPECT_EQ(std::pair(carol.client->Slot(), carol.client->m_uiWatcher), std::pair(annSlot, annWatcher));

    // At shutdown every trace goes at once and the number returns; carol's record is untouched.
    server().ProperlyDeleteClient(bob.client);
    EXPECT_EQ(bob.client->m_pSlotRecord, nullptr);
    EXPECT_EQ(traces(bobWatcher), 0);
    ASSERT_NE(server().m_pFreeClientNumbers, nullptr);
    EXPECT_EQ(server().m_pFreeClientNumbers->m_uiNumber, bobSlot);
    EXPECT_TRUE(Pending(carol, carol.client->m_pPlayer));
    EXPECT_EQ(traces(carol.client->m_uiWatcher), 28); // pads, three players, the far cube
}

} // namespace
