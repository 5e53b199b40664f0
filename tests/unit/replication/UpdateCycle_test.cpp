// The update cycle in a real server: what a client is told first, the nearest-first passes,
// the byte limit, the please-wait window, tick marks and the channels they travel on.
#include "unit/replication/ReplicationFixture.h"

namespace {

const std::string kPleaseWaitText =
    "Please wait for nearby objects to load...\n(Controlling your player may be slow during this wait.)";

Bytes PleaseWaitOpen() {
    return Bytes{0x65, 0x22} + U16(256) + U16(0) + U16(128) + U16(64) + U32(0x00FFFFFF) + U32(0x00000000) +
           U32(0x00FFFFFF) + U32(0xB0FFFFFF) + Bytes{4} + U32(97) + Text(kPleaseWaitText);
}
const Bytes kPleaseWaitClose{0x66, 0x22};

std::vector<Bytes> NonEmpty(const std::vector<Bytes>& messages) {
    std::vector<Bytes> out;
    for (const Bytes& m : messages)
        if (!m.empty()) out.push_back(m);
    return out;
}

using UpdateCycle = ReplicationTest;

TEST_F(UpdateCycle, FirstUpdateAfterLoginBringsTheOwnPlayerFirstBoundToSlotZero) {
    auto ann = LogIn("ann");
    ann.Send(0, {6});
    m_Harness->Pass();
    std::vector<Bytes> got = NonEmpty(ann.Take(0));
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0], PleaseWaitOpen());
    Server_Client_Entity* own = ViewOf(ann, ann.client->m_pPlayer);
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(got[1], (Bind(0, own) + Bytes{0x0B, 1} + Bytes{0x09} + U32(3) + Text("ann") + Bytes{0x22, 1} +
                          Bytes{0x27} + U16(4000) + U16(2000) + U16(uint16_t(-2000)) + Bytes{0x16} + U32(1000) +
                          Bytes{0x0E} + U32(5000) + Bytes{0x3C}));
    EXPECT_FALSE(Pending(ann, ann.client->m_pPlayer));
}

TEST_F(UpdateCycle, PleaseWaitWindowClosesOnceTheWorldNearbyHasLoaded) {
    auto ann = LogIn("ann");
    EXPECT_EQ(NormalUpdate(ann)[0], PleaseWaitOpen());
    // Open windows are not opened again.
    EXPECT_TRUE(NonEmpty(ann.Take(0)).empty());
    std::vector<Bytes> again = NormalUpdate(ann);
    ASSERT_FALSE(again.empty());
    EXPECT_TRUE(again[0].empty());
    FileAll(ann);
    EXPECT_EQ(NormalUpdate(ann)[0], kPleaseWaitClose);
    EXPECT_FALSE(ann.client->m_bPleaseWaitShown);
}

TEST_F(UpdateCycle, PleaseWaitWindowStaysOpenWhileTheNearbyZonesDoNotFitTheLimit) {
    auto ann = LogIn("ann");
    NormalUpdate(ann);
    FileAll(ann);
    for (int i = 0; i < 6; ++i) Add(kKindTalvyCube, 500.0f + 20.0f * float(i), 200.0f, -200.0f);
    // A cube's add is 20 bytes: two fit under 30 before the pass stops.
    ann.client->m_uiMaxUpdateSize = 30;
    int updates = 0;
    while (ann.client->m_bPleaseWaitShown && updates < 20) {
        NormalUpdate(ann);
        ++updates;
    }
    // Three updates of two cubes, then one that finds the zones drained and closes the window.
    EXPECT_EQ(updates, 4);
    EXPECT_TRUE(ann.client->m_bNearbyLoaded);
}

TEST_F(UpdateCycle, TickMarkOncePerGameTickNumber) {
    auto ann = LogIn("ann");
    ann.Send(0, {6});
    m_Harness->Pass();
    ann.TakeAll();
    m_Harness->GameTick();  // the normal update it makes due runs in the next pass
    ann.TakeAll();
    m_Harness->Pass();
    std::vector<Bytes> got = NonEmpty(ann.Take(0));
    ASSERT_FALSE(got.empty());
    EXPECT_EQ(got.back().back(), 0x3B);
    EXPECT_EQ(ann.client->m_uiLastMarkedTick, server().m_uiTickCount);
    // A second normal update within the same game tick carries no mark.
    ann.client->m_bNeedsNormalUpdate = true;
    m_Harness->Pass();
    for (const Bytes& m : ann.Take(0)) EXPECT_FALSE(!m.empty() && m.back() == 0x3B);
}

TEST_F(UpdateCycle, ClientWithoutAPlayerStillGetsTickMarks) {
    auto peer = m_Harness->Connect();
    peer.Send(0, {9, 84});
    m_Harness->Pass();
    peer.TakeAll();
    server().m_uiTickCount = 7;
    std::vector<Bytes> got = NonEmpty(NormalUpdate(peer));
    // Client-side movement starts out allowed, which a client without a player is told at once.
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0], (Bytes{0x6B, 1, 1, 0x3B}));
}

TEST_F(UpdateCycle, MultiChannelClientGetsTheTickMarkAloneAndWindowsOnTheirChannel) {
    auto ann = LogIn("ann", {"KRV_MULTI_UDP_CHANNEL"});
    server().m_uiTickCount = 1;
    ann.client->UpdateClient_NormalPacket(server().m_uiTickCount);
    EXPECT_EQ(NonEmpty(ann.Take(4)), (std::vector<Bytes>{Bytes{0x3B}}));
    EXPECT_EQ(NonEmpty(ann.Take(2)), (std::vector<Bytes>{PleaseWaitOpen()}));
    std::vector<Bytes> world = NonEmpty(ann.Take(0));
    ASSERT_EQ(world.size(), 1u);
    EXPECT_NE(world[0].back(), 0x3B);
}

TEST_F(UpdateCycle, SecondPlayerIsAScoreEntryWhileFarAndAMovingObjectWhenNear) {
    auto ann = LogIn("ann");
    auto bob = LogIn("bob");
    MoveTo(ann.client->m_pPlayer, 60000.0f, 200.0f, 60000.0f);
    MoveTo(bob.client->m_pPlayer, -60000.0f, 200.0f, -60000.0f);
    FileAll(ann);
    Bytes first = NormalUpdateMessage(ann);
    Server_Client_Entity* bobView = ViewOf(ann, bob.client->m_pPlayer);
    ASSERT_NE(bobView, nullptr);
    EXPECT_TRUE(Contains(first, Bind(1, bobView) + Bytes{0x5C, 3} + Text("bob") + Bytes{1} + U32(1000) + U32(0)));
    EXPECT_TRUE(Pending(ann, bob.client->m_pPlayer));

    // Unchanged and far: nothing about bob.
    EXPECT_TRUE(NormalUpdateMessage(ann).empty());

    // Near: the body goes into the slot the score entry bound (still selected), without an add.
    MoveTo(bob.client->m_pPlayer, 60100.0f, 200.0f, 60000.0f);
    EXPECT_EQ(NormalUpdateMessage(ann), (Bytes{0x28} + F32(0x476AC400) + F32(kF200) + F32(0x476A6000)));
    EXPECT_FALSE(Pending(ann, bob.client->m_pPlayer));

    // A coin change of a player goes as a score update.
    bob.client->m_pPlayer->m_i64PocketCoins = 2000;
    server().InformClients_EntityUpdated(bob.client->m_pPlayer);
    EXPECT_EQ(NormalUpdateMessage(ann), (Bytes{0x16} + U32(2000)));
    // Another object selected in between: the score update selects bob's slot again.
    Add(kKindTalvyCube, 60200.0f, 200.0f, 60000.0f);
    NormalUpdate(ann);
    bob.client->m_pPlayer->m_i64PocketCoins = 3000;
    server().InformClients_EntityUpdated(bob.client->m_pPlayer);
    EXPECT_EQ(NormalUpdateMessage(ann), (Bytes{0x2E, 1, 0x16} + U32(3000)));
}

TEST_F(UpdateCycle, FarEntityStaysPendingUntilThePlayerComesNear) {
    auto ann = LogIn("ann");
    Settle(ann);
    Server_Entity* cube = Add(kKindTalvyCube, 50000.0f, 200.0f, 50000.0f);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(NormalUpdateMessage(ann).empty());
    EXPECT_TRUE(Pending(ann, cube));
    EXPECT_EQ(ViewOf(ann, cube), nullptr);

    MoveTo(ann.client->m_pPlayer, 50000.0f, 200.0f, 49000.0f);
    Bytes update = NormalUpdateMessage(ann);
    ASSERT_NE(ViewOf(ann, cube), nullptr);
    EXPECT_TRUE(Contains(update, Bind(1, ViewOf(ann, cube)) + Bytes{0x0B, 8, 0x28} + F32(0x47435000) + F32(kF200) +
                                     F32(0x47435000)));
    EXPECT_FALSE(Pending(ann, cube));
}

TEST_F(UpdateCycle, FarEntityWhoseViewIsStillNearIsUpdatedOnceMore) {
    auto ann = LogIn("ann");
    Settle(ann);
    Server_Entity* cube = Add(kKindTalvyCube, 1400.0f, 200.0f, -200.0f);
    NormalUpdate(ann);
    ASSERT_NE(ViewOf(ann, cube), nullptr);

    // The client steps (1400, 200, -200) per message since the add: the correction is
    // (48600, 0, 0) minus that step.
    MoveTo(cube, 50000.0f, 200.0f, -200.0f);
    EXPECT_EQ(NormalUpdateMessage(ann), (Bytes{0x28} + F32(0x47386000) + F32(kFMinus200) + F32(kF200)));
    EXPECT_FALSE(Pending(ann, cube));

    MoveTo(cube, 50100.0f, 200.0f, -200.0f);
    EXPECT_TRUE(NormalUpdateMessage(ann).empty());
    EXPECT_TRUE(Pending(ann, cube));
}

TEST_F(UpdateCycle, StaticBoxesGoWhateverTheDistance) {
    auto ann = LogIn("ann");
    Settle(ann);
    Server_Entity* pad = Add(kKindNormalPad, 90000.0f, 0.0f, 90000.0f);
    Bytes update = NormalUpdateMessage(ann);
    ASSERT_NE(ViewOf(ann, pad), nullptr);
    EXPECT_TRUE(Contains(update, Bind(1, ViewOf(ann, pad)) + Bytes{0x0B, 4, 0x70}));
}

TEST_F(UpdateCycle, FirstEntityOfAPassIsWrittenEvenBeyondTheLimit) {
    auto ann = LogIn("ann");
    Settle(ann);
    Server_Entity* a = Add(kKindTalvyCube, 500.0f, 200.0f, -200.0f);
    Server_Entity* b = Add(kKindTalvyCube, 600.0f, 200.0f, -200.0f);
    ann.client->m_uiMaxUpdateSize = 1;
    NormalUpdate(ann);
    EXPECT_NE(ViewOf(ann, a) != nullptr, ViewOf(ann, b) != nullptr);
    EXPECT_FALSE(ann.client->m_bNearbyLoaded);
    NormalUpdate(ann);
    EXPECT_NE(ViewOf(ann, a), nullptr);
    EXPECT_NE(ViewOf(ann, b), nullptr);
}

TEST_F(UpdateCycle, ZoneBoxStartsAtTheGroundForAPlayerNearIt) {
    auto ann = LogIn("ann");
    Settle(ann);
    // Below the grid's floor except for its top: filed in the lowest layer only.
    Server_Entity* deep = Add(kKindTalvyCube, 400.0f, -11995.0f, -200.0f);
    ann.client->m_pPacket = new Packet;
    EXPECT_TRUE(ann.client->UC_ProcessZones(4000.0f));
    EXPECT_TRUE(ann.client->m_pPacket->Empty());
    EXPECT_TRUE(Pending(ann, deep));
    delete ann.client->m_pPacket;
    ann.client->m_pPacket = nullptr;
}

TEST_F(UpdateCycle, StraightUpdateSkipsTheZonePassAndKeepsTheWindowOpen) {
    auto ann = LogIn("ann");
    FileAll(ann);
    ann.client->m_bStraightUpdate = true;
    Server_Entity* cube = Add(kKindTalvyCube, 500.0f, 200.0f, -200.0f);
    std::vector<Bytes> got = NormalUpdate(ann);
    EXPECT_EQ(got[0], PleaseWaitOpen());
    EXPECT_NE(ViewOf(ann, cube), nullptr);
    EXPECT_FALSE(ann.client->m_bNearbyLoaded);
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
    EXPECT_NE(got[0].back(), 0x3B);
    EXPECT_FALSE(ann.client->m_bFirstPassMarkSent);
}

TEST_F(UpdateCycle, OwnPlayerComesFirstWithThePlatformItStandsOn) {
    auto ann = LogIn("ann");
    Settle(ann);
    Server_Entity* pad = Add(kKindNormalPad, 400.0f, 100.0f, -200.0f);
    Server_Player* me = ann.client->m_pPlayer;
    me->SetPlatform(pad);
    MoveTo(me, 400.0f, 210.0f, -200.0f);
    ann.client->m_uiMaxUpdateSize = 1;
    Bytes update = NormalUpdateMessage(ann);
    // Own player (still selected, so its correction comes first), then the pad added into
    // slot 1, both before the limit applies.
    ASSERT_GE(update.size(), 2u);
    EXPECT_EQ(update[0], 0x27);
    EXPECT_TRUE(Contains(update, Bind(1, ViewOf(ann, pad)) + Bytes{0x0B, 4}));
    me->SetPlatform(nullptr);
}

class ClientSideMovementCycle : public ReplicationTest {};

TEST_F(ClientSideMovementCycle, SwitchesOnInTheSixtiethNormalUpdateAfterLogin) {
    auto ann = LogIn("ann");
    FileAll(ann);
    for (int update = 1; update < 60; ++update) {
        Bytes message = NormalUpdateMessage(ann);
        ASSERT_FALSE(Contains(message, Bytes{0x6B})) << "update " << update;
    }
    Bytes sixtieth = NormalUpdateMessage(ann);
    EXPECT_EQ(sixtieth, (Bytes{0x6B, 1, 1, 0x6F} + F32(kF0) + F32(kF0) + F32(kF0)));
    EXPECT_TRUE(ann.client->m_bClientSideMovement);
}

TEST_F(ClientSideMovementCycle, WaitsForTheWorldNearbyToLoad) {
    auto ann = LogIn("ann");
    FileAll(ann);
    ann.client->m_pPlayer->m_ucCSMHoldOff = 0;
    for (int i = 0; i < 8; ++i) Add(kKindTalvyCube, 500.0f + 20.0f * float(i), 200.0f, -200.0f);
    ann.client->m_uiMaxUpdateSize = 40;
    int updates = 0;
    bool on = false;
    while (!on && updates < 30) {
        Bytes message = NormalUpdateMessage(ann);
        on = Contains(message, Bytes{0x6B, 1, 1});
        if (!on) {
            EXPECT_FALSE(ann.client->m_bNearbyLoaded);
        }
        ++updates;
    }
    EXPECT_TRUE(on);
    EXPECT_GE(updates, 4);
}

TEST_F(ClientSideMovementCycle, PlacementSwitchesItOffAndResyncsTheOwnPlayer) {
    auto ann = LogIn("ann");
    FileAll(ann);
    ann.client->m_pPlayer->m_ucCSMHoldOff = 0;
    NormalUpdate(ann);
    ASSERT_TRUE(ann.client->m_bClientSideMovement);
    ann.client->m_pPlayer->m_ucCSMHoldOff = 4;
    MoveTo(ann.client->m_pPlayer, 1000.0f, 200.0f, 0.0f);
    Bytes message = NormalUpdateMessage(ann);
    // Switched off before the fill, so the own player already goes as a full resync.
    ASSERT_GE(message.size(), 3u);
    EXPECT_EQ(Bytes(message.begin(), message.begin() + 3), (Bytes{0x6B, 0, 2}));
    EXPECT_TRUE(Contains(message, Bytes{0x52} + F32(0x447A0000) + F32(kF200) + F32(kF0)));
}

} // namespace
