// Change and removal notices, removal messages, the attachment of a new client, the filing of
// its zones in time slices, and the teardown of a dropped client and at shutdown.
#include "platform/Clock.h"
#include "unit/replication/EncoderFixture.h"
#include "unit/replication/ReplicationFixture.h"

namespace {

using Notices = ReplicationTest;

TEST_F(Notices, LoginAttachesEveryEntityButFireBlocks) {
    Server_Entity* pad = Add(kKindNormalPad, 100.0f, 0.0f, 0.0f);
    Server_Entity* zorbin = Add(kKindZorbinCube, 200.0f, 0.0f, 0.0f);
    Server_Entity* fire = Add(kKindFireBlock, 300.0f, 0.0f, 0.0f);
    auto ann = LogIn("ann");
    uint32_t s = Slot(ann);
    for (Server_Entity* e : {pad, zorbin}) {
        EXPECT_NE(e->GetClientPendingLink(s), nullptr);
        EXPECT_NE(e->GetClientZoneWaitLink(s), nullptr);
        EXPECT_NE(e->GetClientAttachedLink(s), nullptr);
        EXPECT_EQ(e->GetClientZoneInfo(s), nullptr);
    }
    EXPECT_EQ(fire->GetClientAttachedLink(s), nullptr);
    EXPECT_EQ(fire->GetClientPendingLink(s), nullptr);
    // The own player was announced at login, so it is filed already and waits for nothing.
    Server_Player* me = ann.client->m_pPlayer;
    EXPECT_NE(me->GetClientPendingLink(s), nullptr);
    EXPECT_EQ(me->GetClientZoneWaitLink(s), nullptr);
    EXPECT_EQ(ann.client->m_PendingPlayers.Count(), 1u);
    EXPECT_EQ(ann.client->m_PendingEntities.Count(), 2u);
    EXPECT_EQ(ann.client->m_AttachedEntities.Count(), 3u);
}

TEST_F(Notices, FireBlockMadeAfterLoginReachesTheClientThroughItsNotice) {
    auto ann = LogIn("ann");
    Settle(ann);
    auto* fire = static_cast<Server_FireBlock*>(Add(kKindFireBlock, 500.0f, 200.0f, -200.0f));
    Bytes update = NormalUpdateMessage(ann);
    ASSERT_NE(ViewOf(ann, fire), nullptr);
    EXPECT_EQ(update, (Bind(1, ViewOf(ann, fire)) + Bytes{0x5A} + F32(kF10) + F32(0x43FA0000) + F32(kF200) +
                          F32(kFMinus200) + F32(kF0) + F32(kF0) + F32(kF0) + U32(0)));
}

TEST_F(Notices, EntityThatChangesWhileWaitingToBeFiledIsFiledAtOnce) {
    Server_Entity* pad = Add(kKindNormalPad, 100.0f, 0.0f, 0.0f);
    auto ann = LogIn("ann");
    uint32_t s = Slot(ann);
    ASSERT_NE(pad->GetClientZoneWaitLink(s), nullptr);
    MoveTo(pad, 150.0f, 0.0f, 0.0f);
    EXPECT_EQ(pad->GetClientZoneWaitLink(s), nullptr);
    ASSERT_NE(pad->GetClientZoneInfo(s), nullptr);
    EXPECT_GT(pad->GetClientZoneInfo(s)->Count(), 0u);
    EXPECT_EQ(ann.client->m_ZoneWaitEntities.Count(), 0u);
}

TEST_F(Notices, ChangesReachOnlyClientsWithAPlayer) {
    auto ann = LogIn("ann");
    auto idle = m_Harness->Connect();
    Server_Entity* pad = Add(kKindNormalPad, 100.0f, 0.0f, 0.0f);
    EXPECT_TRUE(Pending(ann, pad));
    EXPECT_FALSE(Pending(idle, pad));
    EXPECT_EQ(pad->GetClientAttachedLink(Slot(idle)), nullptr);
}

TEST_F(Notices, EntityQueuedForRemovalIsNotFiledAgain) {
    auto ann = LogIn("ann");
    Settle(ann);
    Server_Entity* pad = Add(kKindNormalPad, 100.0f, 0.0f, 0.0f);
    NormalUpdate(ann);
    ASSERT_FALSE(Pending(ann, pad));
    pad->m_ucRuleFlags |= kRuleQueuedForRemoval;
    MoveTo(pad, 200.0f, 0.0f, 0.0f);
    EXPECT_FALSE(Pending(ann, pad));
}

TEST_F(Notices, MovingEntityStaysFiledOnceSentAndASmallMoveMakesItPendingThere) {
    auto ann = LogIn("ann");
    Settle(ann);
    uint32_t s = Slot(ann);
    Server_Entity* cube = Add(kKindTalvyCube, 500.0f, 200.0f, -200.0f);
    Server_Entity* pad = Add(kKindNormalPad, 600.0f, 200.0f, -200.0f);
    NormalUpdate(ann);
    ASSERT_FALSE(Pending(ann, cube));
    ASSERT_FALSE(Pending(ann, pad));
    EXPECT_GT(cube->GetClientZoneInfo(s)->Count(), 0u);
    EXPECT_EQ(pad->GetClientZoneInfo(s)->Count(), 0u);

    uint32_t filed = cube->GetClientZoneInfo(s)->Count();
    MoveTo(cube, 501.0f, 200.0f, -200.0f);
    EXPECT_TRUE(Pending(ann, cube));
    EXPECT_EQ(cube->GetClientZoneInfo(s)->Count(), filed);
    // The zone pass finds it where it is filed and sends the move (the pad was selected last).
    EXPECT_EQ(NormalUpdateMessage(ann),
              (Bytes{0x2E, 1, 0x27} + U16(uint16_t(-4990)) + U16(uint16_t(-2000)) + U16(2000)));
    EXPECT_FALSE(Pending(ann, cube));
}

TEST_F(Notices, MoveAcrossZonesFilesTheEntityAgain) {
    auto ann = LogIn("ann");
    Settle(ann);
    Server_Entity* cube = Add(kKindTalvyCube, 500.0f, 200.0f, -200.0f);
    NormalUpdate(ann);
    MoveTo(cube, 40000.0f, 200.0f, -200.0f);
    ASSERT_TRUE(Pending(ann, cube));
    // Filed around x = 40000 now: a zone pass from there finds it.
    MoveTo(ann.client->m_pPlayer, 40000.0f, 200.0f, 0.0f);
    NormalUpdate(ann);
    EXPECT_FALSE(Pending(ann, cube));
}

using Removals = ReplicationTest;

TEST_F(Removals, RemovalSelectsTheObjectAndFreesItsSlotForTheNextAdd) {
    auto ann = LogIn("ann");
    Settle(ann);
    Server_Entity* a = Add(kKindTalvyCube, 500.0f, 200.0f, -200.0f);
    Server_Entity* b = Add(kKindTalvyCube, 600.0f, 200.0f, -200.0f);
    NormalUpdate(ann);
    ASSERT_NE(ViewOf(ann, b), nullptr);
    uint8_t slotA = ViewOf(ann, a)->m_pIndexLink->m_ucSlot;
    Destroy(a);
    EXPECT_EQ(NormalUpdateMessage(ann), (Bytes{0x2E, slotA, 0x0A}));
    Server_Entity* c = Add(kKindTalvyCube, 700.0f, 200.0f, -200.0f);
    Bytes update = NormalUpdateMessage(ann);
    Bytes bind = Bind(slotA, ViewOf(ann, c));
    ASSERT_GE(update.size(), bind.size());
    EXPECT_EQ(Bytes(update.begin(), update.begin() + long(bind.size())), bind);
}

TEST_F(Removals, RemovalOfTheSelectedObjectNeedsNoSelection) {
    auto ann = LogIn("ann");
    Settle(ann);
    Server_Entity* a = Add(kKindTalvyCube, 500.0f, 200.0f, -200.0f);
    NormalUpdate(ann);
    Destroy(a);
    EXPECT_EQ(NormalUpdateMessage(ann), (Bytes{0x0A}));
}

TEST_F(Removals, RemovalsWaitWhileTheMessageIsFullAndGoFirstThenTheOneMovedIntoItsPlace) {
    auto ann = LogIn("ann");
    Settle(ann);
    Server_Entity* a = Add(kKindTalvyCube, 500.0f, 200.0f, -200.0f);
    Server_Entity* b = Add(kKindTalvyCube, 600.0f, 200.0f, -200.0f);
    Server_Entity* c = Add(kKindTalvyCube, 700.0f, 200.0f, -200.0f);
    while (!ViewOf(ann, a) || !ViewOf(ann, b) || !ViewOf(ann, c)) NormalUpdate(ann);
    uint8_t slotA = ViewOf(ann, a)->m_pIndexLink->m_ucSlot;
    uint8_t slotB = ViewOf(ann, b)->m_pIndexLink->m_ucSlot;
    uint8_t slotC = ViewOf(ann, c)->m_pIndexLink->m_ucSlot;
    Destroy(a);
    Destroy(b);
    Destroy(c);
    ann.client->m_uiMaxUpdateSize = 1;
    EXPECT_EQ(NormalUpdateMessage(ann), (Bytes{0x2E, slotA, 0x0A}));
    EXPECT_EQ(NormalUpdateMessage(ann), (Bytes{0x2E, slotC, 0x0A}));
    EXPECT_EQ(NormalUpdateMessage(ann), (Bytes{0x2E, slotB, 0x0A}));
    EXPECT_TRUE(NormalUpdateMessage(ann).empty());
}

TEST_F(Removals, EntityRemovedBeforeTheClientGotItLeavesNoMessage) {
    auto ann = LogIn("ann");
    Settle(ann);
    Server_Entity* far = Add(kKindTalvyCube, 90000.0f, 200.0f, 90000.0f);
    NormalUpdate(ann);
    ASSERT_TRUE(Pending(ann, far));
    Destroy(far);
    EXPECT_TRUE(NormalUpdateMessage(ann).empty());
    EXPECT_EQ(ann.client->m_RemovedViews.Count(), 0u);
    EXPECT_EQ(ann.client->m_PendingEntities.Count(), 0u);
}

TEST_F(Removals, FireBlockRemovalsGoBeforeTheOthers) {
    auto bob = LogIn("bob");
    Settle(bob);
    Server_Entity* fire = Add(kKindFireBlock, 600.0f, 200.0f, -200.0f);
    Server_Entity* cube = Add(kKindTalvyCube, 500.0f, 200.0f, -200.0f);
    NormalUpdate(bob);
    uint8_t fireSlot = ViewOf(bob, fire)->m_pIndexLink->m_ucSlot;
    uint8_t cubeSlot = ViewOf(bob, cube)->m_pIndexLink->m_ucSlot;
    Destroy(cube);
    Destroy(fire);
    EXPECT_EQ(NormalUpdateMessage(bob), (Bytes{0x2E, fireSlot, 0x0A, 0x2E, cubeSlot, 0x0A}));
}

TEST_F(Removals, FireBlockRemovalIsSilentForClientsThatSimulateThemButFreesTheSlot) {
    auto ann = LogIn("ann", {"KRV_CSE1"});
    Settle(ann);
    Server_Entity* fire = Add(kKindFireBlock, 600.0f, 200.0f, -200.0f);
    NormalUpdate(ann);
    ASSERT_NE(ViewOf(ann, fire), nullptr);
    uint8_t fireSlot = ViewOf(ann, fire)->m_pIndexLink->m_ucSlot;
    Destroy(fire);
    EXPECT_TRUE(NormalUpdateMessage(ann).empty());
    EXPECT_EQ(ann.client->m_RemovedFireBlockViews.Count(), 0u);
    Server_Entity* next = Add(kKindTalvyCube, 700.0f, 200.0f, -200.0f);
    Bytes update = NormalUpdateMessage(ann);
    EXPECT_TRUE(Contains(update, Bind(fireSlot, ViewOf(ann, next))));
}

class Teardown : public ReplicationTest {
protected:
    // Every per-slot value the client could have left on the entity.
    static bool Clean(const Server_Entity* e, uint32_t s) {
        return !e->GetClientView(s) && !e->GetClientPendingLink(s) && !e->GetClientZoneWaitLink(s) &&
               !e->GetClientAttachedLink(s) && !e->GetClientZoneInfo(s);
    }
};

TEST_F(Teardown, DroppedClientIsDismantledTenEntitiesPerPass) {
    std::vector<Server_Entity*> pads;
    for (int i = 0; i < 24; ++i) pads.push_back(Add(kKindNormalPad, 100.0f * float(i), 0.0f, 0.0f));
    auto ann = LogIn("ann");
    uint32_t s = Slot(ann);
    Settle(ann);
    ASSERT_EQ(ann.client->m_AttachedEntities.Count(), 25u);
    Server_Client* client = ann.client;
    ann.Disconnect();
    m_Harness->Pass();
    ASSERT_EQ(server().m_ClientsBeingDeleted.Length(), 1u);
    EXPECT_EQ(client->m_AttachedEntities.Count(), 15u);

    // Still told of removals while it is being dismantled.
    Server_Entity* attachedPad = nullptr;
    for (uint32_t i = 0; i < client->m_AttachedEntities.Count() && !attachedPad; ++i)
        if (client->m_AttachedEntities[i]->GetKind() == kKindNormalPad) attachedPad = client->m_AttachedEntities[i];
    ASSERT_NE(attachedPad, nullptr);
    Destroy(attachedPad);
    EXPECT_EQ(client->m_AttachedEntities.Count(), 14u);

    m_Harness->Pass();
    EXPECT_EQ(client->m_AttachedEntities.Count(), 4u);
    m_Harness->Pass();
    EXPECT_TRUE(server().m_ClientsBeingDeleted.Empty());
    for (uint32_t i = 0; i < server().m_AllEntities.Count(); ++i)
        EXPECT_TRUE(Clean(server().m_AllEntities.GetEntity(i), s)) << "entity " << i;
    // Its number is the next one handed out.
    auto next = m_Harness->Connect();
    EXPECT_EQ(Slot(next), s);
}

TEST_F(Teardown, ShutdownRemovesEveryTraceAtOnceAndReturnsTheNumber) {
    for (int i = 0; i < 5; ++i) Add(kKindNormalPad, 100.0f * float(i), 0.0f, 0.0f);
    auto ann = LogIn("ann");
    auto bob = LogIn("bob");
    Settle(ann);
    Add(kKindFireBlock, 500.0f, 200.0f, -200.0f);
    Add(kKindTalvyCube, 90000.0f, 0.0f, 0.0f);
    NormalUpdate(ann);
    uint32_t s = Slot(ann);
    server().ProperlyDeleteClient(ann.client);
    EXPECT_EQ(ann.client->m_pSlotRecord, nullptr);
    EXPECT_EQ(ann.client->m_AttachedEntities.Count(), 0u);
    EXPECT_EQ(ann.client->m_PendingEntities.Count(), 0u);
    EXPECT_EQ(ann.client->m_PendingPlayers.Count(), 0u);
    EXPECT_TRUE(ann.client->m_PendingGrid.IsEmpty());
    for (uint32_t i = 0; i < server().m_AllEntities.Count(); ++i)
        EXPECT_TRUE(Clean(server().m_AllEntities.GetEntity(i), s)) << "entity " << i;
    ASSERT_NE(server().m_pFreeClientNumbers, nullptr);
    EXPECT_EQ(server().m_pFreeClientNumbers->m_uiNumber, s);
    // Bob's record is untouched.
    EXPECT_TRUE(Pending(bob, bob.client->m_pPlayer));
    EXPECT_EQ(bob.client->m_AttachedEntities.Count(), 9u);  // pads, players, fire block, cube
}

// Zone filing in slices: a counter that moves by a set step at every reading.
int64_t g_SteppingNow = 0;
int64_t g_SteppingStep = 0;
int64_t SteppingCounter() { return g_SteppingNow += g_SteppingStep; }

class ZoneFiling : public EncoderTest {
protected:
    ZoneFiling() { platform::SetCounterSource(&SteppingCounter); }
    ~ZoneFiling() override {
        platform::SetCounterSource(nullptr);
        for (Server_Entity* e : m_Entities) {
            m_Client->ForgetEntity(e);
            m_Client->Detach(e);
        }
    }
    void Waiting(int count) {
        for (int i = 0; i < count; ++i) {
            Server_Entity* e = Make(kKindNormalPad);
            e->m_vSize.Set(10.0f, 10.0f, 10.0f);
            m_Client->PutInZoneWait(e);
        }
    }
};

TEST_F(ZoneFiling, EachCallFilesForOneSixtiethOfASecond) {
    g_SteppingStep = 5'000'000;  // 5 ms per reading: the fourth entity ends the slice
    Waiting(10);
    m_Client->HandleZonesBeUpdatedThingy();
    EXPECT_EQ(m_Client->m_ZoneWaitEntities.Count(), 6u);
    m_Client->HandleZonesBeUpdatedThingy();
    EXPECT_EQ(m_Client->m_ZoneWaitEntities.Count(), 2u);
    EXPECT_FALSE(m_Client->m_bZonesFilled);
    // The call that empties the list within its slice finds it empty and marks the zones filled.
    m_Client->HandleZonesBeUpdatedThingy();
    EXPECT_TRUE(m_Client->m_bZonesFilled);
    for (Server_Entity* e : m_Entities) {
        EXPECT_EQ(e->GetClientZoneWaitLink(0), nullptr);
        ASSERT_NE(e->GetClientZoneInfo(0), nullptr);
        EXPECT_GT(e->GetClientZoneInfo(0)->Count(), 0u);
    }
}

TEST_F(ZoneFiling, EveryCallFilesAtLeastOneEntity) {
    g_SteppingStep = 50'000'000;
    Waiting(2);
    m_Client->HandleZonesBeUpdatedThingy();
    EXPECT_EQ(m_Client->m_ZoneWaitEntities.Count(), 1u);
    m_Client->HandleZonesBeUpdatedThingy();
    EXPECT_EQ(m_Client->m_ZoneWaitEntities.Count(), 0u);
    EXPECT_FALSE(m_Client->m_bZonesFilled);
    m_Client->HandleZonesBeUpdatedThingy();
    EXPECT_TRUE(m_Client->m_bZonesFilled);
}

} // namespace
