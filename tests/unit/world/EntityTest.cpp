#include <gtest/gtest.h>

#include "base/Settings.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"
#include "world/VUKFastArray_WithLinkBacks.h"
#include "world/World.h"
#include "world/WorldFatalError.h"

namespace {

class Plain : public Entity {};

// Restores the number of client slots a test changed.
class SlotCount {
public:
    SlotCount() : m_uiSaved(g_uiAllocatedClientUINs) {}
    ~SlotCount() { g_uiAllocatedClientUINs = m_uiSaved; }

private:
    uint32_t m_uiSaved;
};

} // namespace

// ---- rotation record ---------------------------------------------------------------------------

TEST(RotationRecord, IsMadeOnTheFirstNonZeroAngle) {
    Plain e;
    EXPECT_EQ(e.m_pRotation, nullptr);
    e.SetPitch(0.5f);
    ASSERT_NE(e.m_pRotation, nullptr);
    EXPECT_TRUE(e.m_pRotation->m_bNonZero);
    EXPECT_EQ(e.GetPitch(), 0.5f);
    EXPECT_EQ(e.GetYaw(), 0.0f);
}

TEST(RotationRecord, GoesWhenTheLastAngleReturnsToZero) {
    Plain e;
    e.SetYaw(0.25f);
    e.SetRoll(-1.0f);
    e.SetYaw(0.0f);
    ASSERT_NE(e.m_pRotation, nullptr);
    e.SetRoll(0.0f);
    EXPECT_EQ(e.m_pRotation, nullptr);
    EXPECT_FALSE(e.HasRotation());
}

TEST(RotationRecord, SettingZeroWithoutARecordLeavesNone) {
    Plain e;
    e.SetYaw(0.0f);
    EXPECT_EQ(e.m_pRotation, nullptr);
}

// ---- labels ----------------------------------------------------------------------------------

TEST(Labels, AnEmptyTextGivesNoLabel) {
    Plain e;
    e.SetLabel("Zed");
    e.SetLabel("");
    EXPECT_EQ(e.m_pLabel, nullptr);
    EXPECT_EQ(e.GetLabel(), "");
}

TEST(Labels, EqualTextsShareOneString) {
    Plain a, b, c;
    a.SetLabel("BuilderBob");
    b.SetLabel(std::string("Builder") + "Bob");
    c.SetLabel("BuilderBo");
    ASSERT_NE(a.m_pLabel, nullptr);
    EXPECT_EQ(a.m_pLabel, b.m_pLabel);
    EXPECT_NE(a.m_pLabel, c.m_pLabel);
    EXPECT_EQ(*a.m_pLabel, "BuilderBob");
    EXPECT_EQ(*c.m_pLabel, "BuilderBo");
}

TEST(Labels, EveryByteValueIsItsOwnCharacter) {
    Plain a, b, c;
    a.SetLabel(std::string("x\0y", 3));
    b.SetLabel(std::string("x\xFFy", 3));
    c.SetLabel(std::string("x\0y", 3));
    EXPECT_NE(a.m_pLabel, b.m_pLabel);
    EXPECT_EQ(a.m_pLabel, c.m_pLabel);
    EXPECT_EQ(a.m_pLabel->size(), 3u);
    EXPECT_EQ((*b.m_pLabel)[1], '\xFF');
}

// ---- extended attributes ---------------------------------------------------------------------

TEST(ExtendedAttributes, ZeroOnAnEntityWithoutAttributesMakesNoList) {
    Plain e;
    e.SetEEA(kEEAInverseAlpha, 0);
    EXPECT_EQ(e.m_pEEAList, nullptr);
    EXPECT_EQ(e.GetEEA(kEEAInverseAlpha), 0u);
}

TEST(ExtendedAttributes, SettingAnIdAgainOverwrites) {
    Plain e;
    e.SetEEA(kEEABounce, 7);
    e.SetEEA(kEEABounce, 9);
    ASSERT_NE(e.m_pEEAList, nullptr);
    EXPECT_EQ(e.m_pEEAList->Length(), 1u);
    EXPECT_EQ(e.GetEEA(kEEABounce), 9u);
}

TEST(ExtendedAttributes, KeepInsertionOrder) {
    Plain e;
    e.SetEEA(kEEATagPayout, 10);
    e.SetEEA(kEEATagLockTime, 10'800);
    ASSERT_EQ(e.m_pEEAList->Length(), 2u);
    EXPECT_EQ((*e.m_pEEAList)[0]->m_ucId, kEEATagPayout);
    EXPECT_EQ((*e.m_pEEAList)[1]->m_uiValue, 10'800u);
}

TEST(ExtendedAttributes, ClearingTheOnlyAttributeRemovesTheList) {
    Plain e;
    e.SetEEA(kEEAPrincessReward, 500);
    e.SetEEA(kEEABounce, 0);  // another id: nothing happens
    EXPECT_NE(e.m_pEEAList, nullptr);
    e.SetEEA(kEEAPrincessReward, 0);
    EXPECT_EQ(e.m_pEEAList, nullptr);
    for (uint8_t id = 1; id <= 6; ++id) EXPECT_EQ(e.GetEEA(id), 0u);
}

TEST(ExtendedAttributes, ClearingOneOfTwoKeepsTheOther) {
    Plain e;
    e.SetEEA(kEEABounce, 50);
    e.SetEEA(kEEAInverseAlpha, 128);
    e.SetEEA(kEEABounce, 0);
    ASSERT_NE(e.m_pEEAList, nullptr);
    EXPECT_EQ(e.m_pEEAList->Length(), 1u);
    EXPECT_EQ(e.GetEEA(kEEAInverseAlpha), 128u);
}

// ---- size and position limits ----------------------------------------------------------------

TEST(SizeLimits, ExcessiveSizeForMovementUsesStrictThresholds) {
    EXPECT_FALSE(Server_Entity::IsExcessiveSizeForMovement(2000, 2000, 2000));
    EXPECT_TRUE(Server_Entity::IsExcessiveSizeForMovement(2001, 2001, 2001));
    EXPECT_TRUE(Server_Entity::IsExcessiveSizeForMovement(3001, 3001, 10));
    EXPECT_FALSE(Server_Entity::IsExcessiveSizeForMovement(3000, 3001, 10));
    EXPECT_TRUE(Server_Entity::IsExcessiveSizeForMovement(5001, 1, 1));
    EXPECT_FALSE(Server_Entity::IsExcessiveSizeForMovement(5000, 1, 1));
    EXPECT_FALSE(Server_Entity::IsExcessiveSizeForMovement(2001, 2001, 2000));
}

TEST(SizeLimits, APlainNormalPadIsNeverRejected) {
    Server_Entity pad;
    EXPECT_FALSE(pad.ShouldSizeBeRejected(99'999, 99'999, 99'999));
}

TEST(SizeLimits, MovablePropertyIsRejectedWhenTooLarge) {
    Server_Entity built;
    built.m_ucSurfaceFlags |= kSurfacePlayerBuilt;
    EXPECT_TRUE(built.ShouldSizeBeRejected(6000, 1, 1));
    EXPECT_FALSE(built.ShouldSizeBeRejected(300, 300, 300));
    Server_Entity lift;
    lift.GetOrCreateLift();
    EXPECT_TRUE(lift.ShouldSizeBeRejected(2500, 2500, 2500));
    for (uint8_t kind : {kKindTalvyCube, kKindOrisetCube, kKindZorbinCube, kKindPalaceCube}) {
        Server_Entity* e = World::CreateByType(kind);
        EXPECT_TRUE(e->ShouldSizeBeRejected(5001, 1, 1)) << int(kind);
        delete e;
    }
    Server_Entity* fire = World::CreateByType(kKindFireBlock);
    EXPECT_FALSE(fire->ShouldSizeBeRejected(5001, 1, 1));
    delete fire;
}

TEST(OuterWalls, ClampHeightAndMarkDirty) {
    Server_Player p;
    p.m_vPosition.Set(0, 12'000, 0);
    p.ClipToOuterInvisibleBoundaries();
    EXPECT_EQ(p.m_vPosition.y, 10'000.0f);
    EXPECT_TRUE(p.IsDirty());
}

TEST(OuterWalls, ClampXAndZButNotTheFloor) {
    Server_Player p;
    p.m_vPosition.Set(-150'000, -5'000, 120'000);
    p.ClipToOuterInvisibleBoundaries();
    EXPECT_EQ(p.m_vPosition.x, -100'000.0f);
    EXPECT_EQ(p.m_vPosition.y, -5'000.0f);
    EXPECT_EQ(p.m_vPosition.z, 100'000.0f);
    EXPECT_TRUE(p.IsDirty());
}

TEST(OuterWalls, InsideLeavesTheEntityClean) {
    Server_Player p;
    p.m_vPosition.Set(100'000, 10'000, -100'000);
    p.ClipToOuterInvisibleBoundaries();
    EXPECT_FALSE(p.IsDirty());
}

// ---- kind defaults ---------------------------------------------------------------------------

namespace {
struct KindRow {
    uint8_t kind;
    uint16_t texture;
    float scale;
    uint8_t mode;
    bool unrotated;
};
constexpr KindRow kKindTable[] = {
    {1, 1, 32, 3, true},  {4, 42, 128, 2, false}, {6, 3, 32, 1, true},   {8, 9, 128, 1, true},
    {9, 19, 128, 1, true}, {10, 44, 64, 1, true},  {11, 60, 128, 1, true}, {12, 100, 128, 1, true},
};
} // namespace

TEST(KindDefaults, FollowTheKindTable) {
    for (const KindRow& row : kKindTable) {
        Server_Entity* e = World::CreateByType(row.kind);
        ASSERT_NE(e, nullptr) << int(row.kind);
        EXPECT_EQ(e->GetKind(), row.kind);
        EXPECT_EQ(e->m_usTexture, row.texture) << int(row.kind);
        EXPECT_EQ(e->m_vTextureScale, VUKVector(row.scale, row.scale, row.scale)) << int(row.kind);
        EXPECT_EQ(e->GetTextureMode(), row.mode) << int(row.kind);
        EXPECT_EQ(e->HasUnrotatedBounds(), row.unrotated) << int(row.kind);
        EXPECT_EQ(e->m_ucRuleFlags & (kRuleQueuedForUpdate | kRuleQueuedForRemoval), 0);
        EXPECT_EQ(e->m_ucSurfaceFlags, 0);
        EXPECT_EQ(e->m_ucPassFlags, 0);
        delete e;
    }
}

TEST(KindDefaults, UnknownKindsMakeNothing) {
    for (int kind : {0, 2, 3, 5, 7, 13, 14, 15, 16, 255}) EXPECT_EQ(World::CreateByType(uint8_t(kind)), nullptr);
}

TEST(KindDefaults, NormalPadAndZorbinFlagsAndCoins) {
    Server_Entity pad;
    EXPECT_EQ(pad.m_ucRuleFlags, kRuleZorbinBuildAllowed);
    EXPECT_EQ(pad.m_uiStoredCoins, 0u);
    EXPECT_EQ(pad.m_pOwner, nullptr);
    EXPECT_EQ(pad.m_vSize, VUKVector(0, 0, 0));
    Server_ZorbinCube* z = static_cast<Server_ZorbinCube*>(World::CreateByType(kKindZorbinCube));
    EXPECT_TRUE(z->IsMoving());
    EXPECT_EQ(z->m_uiStoredCoins, 25'000u);
    EXPECT_EQ(z->m_usShort, 1u);
    EXPECT_EQ(z->m_uiTurnSlot, 1u);
    delete z;
}

TEST(KindDefaults, PrincessAndOtherCubes) {
    Server_TalvyCube talvy;
    EXPECT_EQ(talvy.m_sCountdown, 30);
    EXPECT_EQ(talvy.m_sTurnSlot, 2);
    EXPECT_EQ(talvy.m_ucRuleFlags & kRuleBit4, 0);
    Server_OrisetCube oriset;
    EXPECT_EQ(oriset.m_sCountdown, 10);
    EXPECT_EQ(oriset.m_ucHeadingCountdown, 10);
    Server_PalaceCube* palace = static_cast<Server_PalaceCube*>(World::CreateByType(kKindPalaceCube));
    EXPECT_EQ(palace->m_uiHitPoints, 1'000'000u);
    delete palace;
    Server_FireBlock fire;
    EXPECT_EQ(fire.m_sPower, 1);
    EXPECT_EQ(fire.m_ucFireFlags, 0);
    Server_QuillhobCube quill;
    EXPECT_EQ(quill.m_sFiringCountdown, 1);
}

TEST(KindDefaults, QuillhobTakesTheCurrentTexture) {
    uint32_t saved = g_uiQuillhobTexture;
    g_uiQuillhobTexture = 77;
    Server_QuillhobCube quill;
    EXPECT_EQ(quill.m_usTexture, 77);
    g_uiQuillhobTexture = saved;
}

TEST(KindDefaults, PlayerFields) {
    Server_Player p;
    EXPECT_EQ(p.m_vSize, VUKVector(16, 16, 16));
    EXPECT_EQ(p.m_uiEnergy, 98'765u);
    EXPECT_EQ(p.m_ucChatChannel, 1);
    EXPECT_EQ(p.m_fAdminStep, 1.0f);
    EXPECT_EQ(p.m_i64PocketCoins, 0);
    const uint8_t flags[10] = {0, 0, 0, 0, 0, 0x20, 0, 0x0E, 64, 0};
    for (int i = 0; i < 10; ++i) EXPECT_EQ(p.m_ucPlayerFlags[i], flags[i]) << "byte " << i + 1;
    EXPECT_FALSE(p.IsLoggedIn());
    EXPECT_EQ(p.m_uiKeyFlags, 0u);
    for (int i = 0; i < kPlayerEffectSlots; ++i) EXPECT_EQ(p.m_fEffectTimes[i], 0.0f);
}

TEST(PlayerFlags, NamedBitsSitWhereTheSaveFileAndWireExpectThem) {
    Server_Player p;
    p.SetLoggedIn(true);
    p.SetHidden(true);
    p.SetPlayerMoving(true);
    EXPECT_EQ(p.m_ucPlayerFlags[0], 0x05);
    EXPECT_EQ(p.m_ucPlayerFlags[3], 0x10);
    p.SetFlag(kPlayerMessageWindow, true);
    p.SetFlag(kPlayerClientSideWarp, true);
    EXPECT_EQ(p.m_ucPlayerFlags[3], 0x14);
    EXPECT_EQ(p.m_ucPlayerFlags[8], 64 | 0x08);
    p.SetLoggedIn(false);
    EXPECT_EQ(p.m_ucPlayerFlags[0], 0x04);
}

// ---- storage ---------------------------------------------------------------------------------

TEST(EntityStorage, PooledKindsComeFromTheirPools) {
    Server_Entity* pad = World::CreateByType(kKindNormalPad);
    Server_Entity* zorbin = World::CreateByType(kKindZorbinCube);
    Server_Entity* palace = World::CreateByType(kKindPalaceCube);
    Server_Entity* player = World::CreateByType(kKindPlayer);
    EXPECT_TRUE(g_VukHeap_ServerEntity.IsIn(pad));
    EXPECT_TRUE(g_VukHeap_ServerZorbinCube.IsIn(zorbin));
    EXPECT_TRUE(g_VukHeap_ServerPalaceCube.IsIn(palace));
    EXPECT_FALSE(g_VukHeap_ServerEntity.IsIn(player));
    uint64_t pads = g_VukHeap_ServerEntity.ChainLiveCount();
    Server_Entity* base = pad;
    delete base;
    EXPECT_EQ(g_VukHeap_ServerEntity.ChainLiveCount(), pads - 1);
    uint64_t zorbins = g_VukHeap_ServerZorbinCube.ChainLiveCount();
    base = zorbin;
    delete base;
    EXPECT_EQ(g_VukHeap_ServerZorbinCube.ChainLiveCount(), zorbins - 1);
    delete palace;
    delete player;
}

TEST(EntityStorage, GoalPadAndLiftDataAreMadeZeroed) {
    Server_Entity pad;
    GoalPadStuff* goal = pad.GetOrCreateGoalPad();
    EXPECT_EQ(goal, pad.GetOrCreateGoalPad());
    EXPECT_EQ(goal->m_sType, 0);
    EXPECT_EQ(goal->m_iCoinReward, 0);
    LiftStuff* lift = pad.GetOrCreateLift();
    EXPECT_FALSE(lift->m_bRunning);
    lift->m_ControlPoints.Append(new VUKVector(1, 2, 3));
    pad.DeleteGoalPad();
    EXPECT_EQ(pad.m_pGoalPad, nullptr);
}

TEST(EntityStorage, DestroyingAPlatformClearsItsRidersReference) {
    auto* pad = new Server_Entity();
    Server_Player a, b;
    a.SetPlatform(pad);
    b.SetPlatform(pad);
    EXPECT_EQ(pad->m_ReferringPlayers.Length(), 2u);
    b.SetPlatform(nullptr);
    EXPECT_EQ(pad->m_ReferringPlayers.Length(), 1u);
    delete pad;
    EXPECT_EQ(a.m_pPlatform, nullptr);
}

TEST(EntityStorage, AZorbinLeavesItsPlayersNearListsWhenDestroyed) {
    Server_Player p;
    auto* z = static_cast<Server_ZorbinCube*>(World::CreateByType(kKindZorbinCube));
    z->m_NearPlayers.Add(&p);
    p.m_NearZorbins.Add(z);
    uint64_t links = g_VukHeap_Links.ChainLiveCount();
    delete z;
    EXPECT_TRUE(p.m_NearZorbins.Empty());
    EXPECT_EQ(g_VukHeap_Links.ChainLiveCount(), links - 2);
}

// ---- per-client-slot storage -----------------------------------------------------------------

TEST(ClientSlots, UnsetSlotsReadAsNull) {
    Server_Entity pad;
    for (uint32_t slot = 0; slot < g_uiAllocatedClientUINs; ++slot) {
        EXPECT_EQ(pad.GetClientView(slot), nullptr);
        EXPECT_EQ(pad.GetClientPendingLink(slot), nullptr);
        EXPECT_EQ(pad.GetClientZoneWaitLink(slot), nullptr);
        EXPECT_EQ(pad.GetClientAttachedLink(slot), nullptr);
        EXPECT_EQ(pad.GetClientZoneInfo(slot), nullptr);
    }
    EXPECT_EQ(pad.GetClientSlotBytes(), 0u);
}

TEST(ClientSlots, ValuesComeBackPerSlot) {
    Server_Entity pad;
    auto* view = new Server_Client_Entity();
    VUKFastArray_WithLinkBacks<Server_Entity*> pending(4), waiting(4), attached(4);
    uint32_t* p = pending.Append(&pad);
    uint32_t* w = waiting.Append(&pad);
    uint32_t* a = attached.Append(&pad);
    VUKFastArray<PFAE_Info*> zoneInfo(1);
    pad.SetClientView(3, view);
    pad.SetClientPendingLink(3, p);
    pad.SetClientZoneWaitLink(5, w);
    pad.SetClientAttachedLink(0, a);
    pad.SetClientZoneInfo(3, &zoneInfo);
    EXPECT_EQ(pad.GetClientView(3), view);
    EXPECT_EQ(pad.GetClientPendingLink(3), p);
    EXPECT_EQ(pad.GetClientZoneWaitLink(5), w);
    EXPECT_EQ(pad.GetClientAttachedLink(0), a);
    EXPECT_EQ(pad.GetClientZoneInfo(3), &zoneInfo);
    EXPECT_EQ(pad.GetClientView(5), nullptr);
    EXPECT_EQ(pad.GetClientPendingLink(0), nullptr);
    EXPECT_EQ(pad.GetClientSlotCapacity(), 8u);
    // Clearing every value frees the block.
    pad.SetClientView(3, nullptr);
    pad.SetClientPendingLink(3, nullptr);
    pad.SetClientZoneWaitLink(5, nullptr);
    pad.SetClientAttachedLink(0, nullptr);
    EXPECT_NE(pad.GetClientSlotBytes(), 0u);
    pad.SetClientZoneInfo(3, nullptr);
    EXPECT_EQ(pad.GetClientSlotBytes(), 0u);
    delete view;
    pending.Remove(p);
    waiting.Remove(w);
    attached.Remove(a);
}

TEST(ClientSlots, TheBlockReachesOnlyTheHighestSlotSet) {
    Server_Entity pad;
    auto* view = new Server_Client_Entity();
    pad.SetClientView(0, view);
    EXPECT_EQ(pad.GetClientSlotCapacity(), 1u);
    EXPECT_EQ(pad.GetClientSlotBytes(), 24u);  // one header word and one slot of five
    pad.SetClientView(31, view);
    EXPECT_EQ(pad.GetClientSlotCapacity(), 32u);
    EXPECT_EQ(pad.GetClientView(0), view);
    pad.SetClientView(0, nullptr);
    pad.SetClientView(31, nullptr);
    delete view;
}

TEST(ClientSlots, ForeignPointersAndSlotsBeyondTheAllocationAreFatal) {
    Server_Entity pad;
    Server_Client_Entity* view = new Server_Client_Entity();
    uint32_t notACell = 0;
    EXPECT_THROW(pad.SetClientPendingLink(0, &notACell), WorldFatalError);
    EXPECT_THROW(pad.SetClientView(g_uiAllocatedClientUINs, view), WorldFatalError);
    delete view;
}

TEST(ClientSlots, DoublingTheSlotsKeepsValuesAndOpensTheNewSlots) {
    SlotCount restore;
    g_uiAllocatedClientUINs = 32;
    World world;
    Server_Entity* pad = world.ProperAddByType(kKindNormalPad);
    auto* view = new Server_Client_Entity();
    pad->SetClientView(31, view);
    EXPECT_THROW(pad->SetClientView(32, view), WorldFatalError);
    world.DoubleAllocatedClientUINs();
    EXPECT_EQ(g_uiAllocatedClientUINs, 64u);
    EXPECT_EQ(pad->GetClientView(31), view);
    for (uint32_t slot = 32; slot < 64; ++slot) EXPECT_EQ(pad->GetClientView(slot), nullptr);
    pad->SetClientView(63, view);
    EXPECT_EQ(pad->GetClientView(63), view);
    EXPECT_EQ(pad->GetClientSlotCapacity(), 64u);
    pad->SetClientView(31, nullptr);
    pad->SetClientView(63, nullptr);
    delete view;
}

// ---- view records ----------------------------------------------------------------------------

TEST(ViewRecords, ComeFromTheirPoolAndFreeTheirParts) {
    uint64_t views = g_VukHeap_ServerClientEntity.ChainLiveCount();
    uint64_t players = g_VukHeap_SCEPlayer.ChainLiveCount();
    auto* view = new Server_Client_Entity();
    EXPECT_TRUE(g_VukHeap_ServerClientEntity.IsIn(view));
    SCE_Player* part = view->GetOrCreatePlayerView();
    EXPECT_TRUE(g_VukHeap_SCEPlayer.IsIn(part));
    view->GetOrCreateGoalPadInfo()->m_str = "warp";
    view->SetYaw(1.0f);
    view->SetEEA(kEEABounce, 3);
    EXPECT_EQ(g_VukHeap_ServerClientEntity.ChainLiveCount(), views + 1);
    delete view;
    EXPECT_EQ(g_VukHeap_ServerClientEntity.ChainLiveCount(), views);
    EXPECT_EQ(g_VukHeap_SCEPlayer.ChainLiveCount(), players);
}

TEST(ViewRecords, PlayerPartStartsWithTheInitialSentValues) {
    SCE_Player part;
    EXPECT_EQ(part.m_uiEnergy, 67'890u);
    EXPECT_EQ(part.m_fSpeedFactor, 1.0f);
    EXPECT_EQ(part.m_ucChatChannel, 1);
    EXPECT_EQ(part.m_uiPocketCoins, 0u);
    EXPECT_EQ(part.m_ucSentBits, 0);
    EXPECT_EQ(part.m_strStrings[kSCETeamName], "");
}
