// Fire blocks in flight: travel, life, and what each kind of target does when hit. Shots are made
// here as the shooting rule makes them; a tick is the fire-block rule and the deferred lists.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "base/Settings.h"
#include "game/GameConstants.h"
#include "mod/VukServer_Mod_Interface.h"
#include "unit/replication/Fixtures.h"

namespace {

class FireBlocks : public ReplicationTest {
protected:
    FireBlocks() {
        g_fStoneBlockShrinkPerHit = 0.25f;
        g_fBuildingBlockShrinkPerHit = 0.5f;
        g_fZorbinShrinkPerHit = 0.5f;
        g_iZorbinCoinsStolenPerHit = 3;
        g_uiRewardHittingQuillhob = 1000;
        m_Harness.clock().AdvanceNanoseconds(7); // each draw of the counter modulo 10 is 7
    }

    Server_Player* Player(const std::string& name, float x, float z, bool online = true) {
        auto* p = static_cast<Server_Player*>(server().ProperAddByType(kKindPlayer));
        p->m_strName = name;
        p->SetLoggedIn(online);
        p->m_uiEnergy = 5000;
        p->m_vPosition.Set(x, 8.0f, z);
        server().UpdateGroupsAndZonesEntityIsIn(p);
        return p;
    }
    // Property as the building rules leave it, standing on the ground.
    Server_Entity* Property(uint8_t kind, uint16_t texture, Server_Player* owner, uint32_t coins, float side,
                            float x = 1000.0f) {
        Server_Entity* e = server().ProperAddByType(kind);
        e->m_usTexture = texture;
        e->m_vSize.Set(side, side, side);
        e->m_vPosition.Set(x, side / 2, 1000.0f);
        if (kind == kKindNormalPad) e->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
        e->SetLabel(owner ? owner->m_strName : "");
        e->m_pOwner = owner;
        e->m_uiStoredCoins = coins;
        server().UpdateGroupsAndZonesEntityIsIn(e);
        return e;
    }
    // A new shot that the next tick carries to the point (a target's centre).
    Server_FireBlock* Shot(Server_Entity* owner, const VUKVector& at, uint8_t flags = kFireKnockBack,
                           int16_t power = 20) {
        auto* fb = static_cast<Server_FireBlock*>(server().ProperAddByType(kKindFireBlock));
        fb->m_vSize.Set(8.0f, 8.0f, 8.0f);
        fb->m_vVelocity.Set(0.0f, 0.0f, 1.0f);
        fb->m_vPosition = at - fb->m_vVelocity;
        fb->m_sLife = 15;
        fb->m_sPower = power;
        fb->m_pShotOwner = owner;
        fb->m_ucFireFlags = flags;
        server().UpdateGroupsAndZonesEntityIsIn(fb);
        return fb;
    }
    void Tick() {
        server().Tick_FBs();
        server().ProcessUpdatesAndRemoves();
    }
    bool Alive(const Server_Entity* e) {
        for (uint32_t i = 0; i < server().m_AllEntities.Count(); ++i)
            if (server().m_AllEntities.GetEntity(i) == e) return true;
        return false;
    }
};

Server_Player* g_pHookPlayer = nullptr;
Server_TalvyCube* g_pHookCube = nullptr;

TEST_F(FireBlocks, TalvyCubeTakesTheHitBeforeAPlayerInTheSameZoneAndFallsBelowFifty) {
    Server_Player* ann = Player("ann", 0.0f, 0.0f);
    Server_Player* bob = Player("bob", 1000.0f, 1000.0f);
    auto* cube = static_cast<Server_TalvyCube*>(server().ProperAddByType(kKindTalvyCube));
    cube->m_vSize.Set(500.0f, 500.0f, 500.0f);
    cube->m_vPosition.Set(1000.0f, 250.0f, 1000.0f);
    cube->m_vHomePoint.Set(100.0f, 0.0f, 200.0f);
    server().UpdateGroupsAndZonesEntityIsIn(cube);
    ann->m_uiRank = 3;
    ann->SetFlag(kPlayerSpiritOfIceCream, true);
    Server_FireBlock* fb = Shot(ann, bob->m_vPosition, kFireKnockBack | kFireColaLoaded);
    Tick();
    EXPECT_FALSE(Alive(fb));
    EXPECT_EQ(std::tuple(cube->m_vSize, cube->m_vPosition.y, cube->m_ucTalvyFlags),
              std::tuple(VUKVector(495, 495, 495), 248.0f, kTalvyDrunk));
    EXPECT_EQ(std::tuple(bob->m_uiEnergy, bob->m_vVelocity), std::tuple(5000u, VUKVector()));
    EXPECT_EQ(std::tuple(ann->m_i64PocketCoins, ann->m_uiEnergy), std::tuple(int64_t(23), 5050u)); // 20 + rank
    // Below 50 on any side it is defeated: home, high up, full size, sober and protected; the mod
    // hook replaces the player's own handling.
    KRV_ORIGINAL_CallWhenPlayerDefeatsTalvyCube = [](Server_Player* p, Server_TalvyCube* c) {
        g_pHookPlayer = p;
        g_pHookCube = c;
    };
    cube->m_vSize.Set(54.0f, 500.0f, 500.0f);
    Shot(ann, bob->m_vPosition);
    Tick();
    KRV_ORIGINAL_CallWhenPlayerDefeatsTalvyCube = nullptr;
    EXPECT_EQ(
        std::tuple(cube->m_vPosition, cube->m_vSize, cube->m_ucTalvyFlags, cube->m_sCounter, ann->m_i64PocketCoins),
        std::tuple(VUKVector(100, 8000, 200), VUKVector(500, 500, 500), uint8_t(0), int16_t(150), int64_t(23)));
    EXPECT_EQ(std::tuple(g_pHookPlayer, g_pHookCube), std::tuple(ann, cube));
}

TEST_F(FireBlocks, PlayerDamageCoinLossAndKnockBackByShieldColaAndWhoIsOnline) {
    const uint8_t kb = kFireKnockBack, zorbin = kFireKnockBack | kFireCoinLoss,
                  offline = kFireKnockBack | kFireOfflineShot;
    struct Case {
        uint8_t flags;
        int16_t power;
        bool online, shield, cola;
        int64_t coins;
        uint32_t energy;
        int64_t coinsAfter;
        bool knocked;
    } cases[] = {
        {kb, 20, true, false, false, 1000, 4980, 1000, true},
        {kb, 20, true, true, false, 1000, 4990, 1000, true},
        {kb, 20, true, true, true, 1000, 4995, 1000, true},
        {zorbin, 1000, true, false, false, 1000, 4000, 800, true},
        {zorbin, 1000, true, false, true, 1000, 4500, 900, true},
        {zorbin, 1000, false, true, true, 1000, 5000, 950, true},
        {zorbin, 1000, true, false, false, 150, 4000, 0, true},
        {offline, 20, true, false, false, 1000, 5000, 1000, false},
        {offline, 20, false, false, false, 1000, 5000, 1000, true},
    };
    Server_Player* ann = Player("ann", 0.0f, 0.0f);
    for (const Case& c : cases) {
        Server_Player* bob = Player("bob", 1000.0f, 1000.0f, c.online);
        bob->m_i64PocketCoins = c.coins;
        bob->SetFlag(kPlayerShieldOfTalvy, c.shield);
        bob->SetFlag(kPlayerColaDrunk, c.cola);
        Server_FireBlock* fb = Shot(ann, bob->m_vPosition, c.flags, c.power);
        Tick();
        if (Alive(fb)) Destroy(fb); // offline shots fly on
        EXPECT_EQ(std::tuple(bob->m_uiEnergy, bob->m_i64PocketCoins), std::tuple(c.energy, c.coinsAfter))
            << int(&c - cases);
        // Up 20, pushed by 20 times the block's velocity, and jolted by (7 - 10, 7, 7 - 10).
        const auto knocked = std::tuple(VUKVector(-3, 0, 17), 27.0f, true, true, uint8_t(c.online ? 5 : 0));
        EXPECT_EQ(std::tuple(bob->m_vVelocity, bob->m_fVerticalVelocity, bob->IsPlayerMoving(),
                             bob->GetFlag(kPlayerNoFriction), bob->m_ucCSMHoldOff),
                  c.knocked ? knocked : std::tuple(VUKVector(), 0.0f, false, false, uint8_t(0)))
            << int(&c - cases);
        Destroy(bob);
    }
}

TEST_F(FireBlocks, PenetratingShotsFlyOnAndHitAgainWhileTeamMatesAreSpared) {
    Server_Player* ann = Player("ann", 0.0f, 0.0f);
    Server_Player* bob = Player("bob", 1000.0f, 1000.0f);
    ann->SetFlag(kPlayerPenetratingFire, true);
    Server_FireBlock* fb = Shot(ann, bob->m_vPosition);
    Tick();
    Tick();
    EXPECT_TRUE(Alive(fb));
    EXPECT_EQ(bob->m_uiEnergy, 4960u);
    // Nobody's shot is always spent; a team-mate's does nothing at all, though it flies on.
    Destroy(fb);
    fb = Shot(nullptr, bob->m_vPosition);
    Tick();
    EXPECT_FALSE(Alive(fb));
    ann->m_strTeamName = bob->m_strTeamName = "red";
    bob->m_vVelocity = VUKVector();
    fb = Shot(ann, bob->m_vPosition);
    Tick();
    EXPECT_EQ(std::tuple(Alive(fb), bob->m_uiEnergy, bob->m_vVelocity), std::tuple(true, 4940u, VUKVector()));
}

TEST_F(FireBlocks, StoneBlockPaysOnlyWhenItsRoundedHeightChangesAndTheRestWhenItGoes) {
    Server_Player* ann = Player("ann", 0.0f, 0.0f);
    Server_Player* bob = Player("bob", 0.0f, 500.0f);
    Server_Entity* stone = Property(kKindNormalPad, kTextureStoneBlock, bob, 25, 300.0f);
    // Heights 299.75, 299.5 (still 300), 299.25 pays 10, then 299, 298.75, 298.5, 298.25 pays 10.
    const int64_t coinsAfterHit[] = {0, 0, 10, 10, 10, 10, 20};
    for (int64_t coins : coinsAfterHit) {
        Shot(ann, stone->m_vPosition);
        Tick();
        EXPECT_EQ(ann->m_i64PocketCoins, coins);
    }
    EXPECT_EQ(std::tuple(stone->m_vSize.y, stone->m_uiStoredCoins, stone->IsMoving()), std::tuple(298.25f, 5u, true));
    Shot(ann, stone->m_vPosition, kFireKnockBack | kFireStoneDestroyer);
    Tick();
    EXPECT_EQ(std::tuple(ann->m_i64PocketCoins, Alive(stone)), std::tuple(int64_t(25), false));
}

TEST_F(FireBlocks, OwnBuildingBlockIsRefundedAnEnemyTakesFortyAHitAndFriendsChangeNothing) {
    Server_Player* ann = Player("ann", 0.0f, 0.0f);
    Server_Player* bob = Player("bob", 0.0f, 500.0f);
    Server_Player* cat = Player("cat", 0.0f, -500.0f);
    ann->m_strTeamName = cat->m_strTeamName = "red";
    ann->m_i64PropertyValue = 1'200'000;
    Server_Entity* bb = Property(kKindNormalPad, kTextureBuildingBlock, ann, 300'000, 100.0f);
    ann->SetFlag(kPlayerNoKickOwnProperty, true);
    for (Server_Player* friendly : {ann, cat}) {
        Shot(friendly, bb->m_vPosition);
        Tick();
    }
    EXPECT_EQ(std::tuple(bb->m_vSize, bb->m_vPosition.y, ann->m_i64PocketCoins, cat->m_i64PocketCoins),
              std::tuple(VUKVector(100, 100, 100), 50.0f, int64_t(0), int64_t(0)));
    Shot(bob, bb->m_vPosition);
    Tick();
    EXPECT_EQ(std::tuple(bb->m_vSize, bb->m_vPosition.y, bob->m_i64PocketCoins, bb->m_uiStoredCoins),
              std::tuple(VUKVector(99.5f, 99.5f, 99.5f), 49.8f, int64_t(40), 299'960u));
    ann->SetFlag(kPlayerNoKickOwnProperty, false);
    Shot(ann, bb->m_vPosition);
    Tick();
    EXPECT_EQ(std::tuple(Alive(bb), ann->m_i64PocketCoins, ann->m_i64PropertyValue),
              std::tuple(false, int64_t(299'960), int64_t(600'000)));
    // An enemy who brings width or depth below 25 takes all that is left.
    bb = Property(kKindNormalPad, kTextureBuildingBlock, ann, 1000, 25.4f);
    Shot(bob, bb->m_vPosition);
    Tick();
    EXPECT_EQ(std::tuple(Alive(bb), bob->m_i64PocketCoins, ann->m_i64PropertyValue),
              std::tuple(false, int64_t(1040), int64_t(0)));
}

TEST_F(FireBlocks, ZorbinCubesLoseCoinsToEnemiesAndTurretShotsPassThroughProperty) {
    Server_Player* ann = Player("ann", 0.0f, 0.0f);
    Server_Player* bob = Player("bob", 0.0f, 500.0f);
    auto* cube = static_cast<Server_ZorbinCube*>(Property(kKindZorbinCube, kTextureZorbinCube, ann, 25'000, 300.0f));
    Shot(bob, cube->m_vPosition);
    Tick();
    EXPECT_EQ(std::tuple(cube->m_vSize.y, cube->m_uiStoredCoins, cube->m_usShort, bob->m_i64PocketCoins),
              std::tuple(299.5f, 24'997u, uint16_t(0), int64_t(3)));
    Server_FireBlock* turret = Shot(ann, cube->m_vPosition, kFireKnockBack | kFireCoinLoss);
    Tick();
    EXPECT_EQ(std::tuple(Alive(turret), cube->m_vSize.y), std::tuple(true, 299.5f));
}

TEST_F(FireBlocks, PalaceCubesLoseHitPointsEveryTouchingOneAndTellTheShooter) {
    auto cat = Settled("cat");
    Server_Player* ann = Player("ann", 0.0f, 0.0f);
    Server_Player* bob = Player("bob", 0.0f, 500.0f);
    auto* left = static_cast<Server_PalaceCube*>(Property(kKindPalaceCube, 60, bob, 0, 600.0f, 700.0f));
    auto* right = static_cast<Server_PalaceCube*>(Property(kKindPalaceCube, 60, bob, 0, 600.0f, 1300.0f));
    // Both touch the shot in the same zone; the second hit leaves the fresh message alone.
    Shot(ann, VUKVector(1000.0f, 300.0f, 1000.0f));
    Tick();
    EXPECT_EQ(std::tuple(left->m_uiHitPoints, right->m_uiHitPoints, ann->m_i64PocketCoins, ann->m_fMessageTime),
              std::tuple(999'999u, 999'999u, int64_t(2), 0.25f));
    EXPECT_EQ(
        ann->m_strMessageText,
        "100.0% HP left in this PalaceCube owned by bob.  Don't plan on destroying this PalaceCube anytime soon.");
    left->m_uiHitPoints = 1;
    right->m_vPosition.x = 5000.0f;
    Shot(ann, left->m_vPosition);
    Tick();
    EXPECT_EQ(std::tuple(Alive(left), ann->m_strMessageText, ann->m_fMessageTime, ann->m_i64PocketCoins),
              std::tuple(false, std::string("Whoa!  You destroyed a PalaceCube!  Whoa!"), 1.0f, int64_t(3)));
    const std::string news = "ann has destroyed one of bob's PalaceCubes!";
    const Bytes chat = Bytes{'1'} + U32(4) + Text("Info") + U32(uint32_t(news.size())) + Text(news);
    int told = 0;
    for (const Bytes& message : cat.TakeAll()) told += Contains(message, chat);
    EXPECT_EQ(told, 1);
}

TEST_F(FireBlocks, QuillhobCubesRewardPlayersOutsideAdminModeAndAlwaysSpendTheShot) {
    Server_Player* ann = Player("ann", 0.0f, 0.0f);
    ann->SetFlag(kPlayerPenetratingFire, true);
    auto* q = static_cast<Server_QuillhobCube*>(Property(kKindQuillhobCube, 100, nullptr, 0, 100.0f));
    for (bool admin : {true, false}) {
        ann->SetFlag(kPlayerAdminMode, admin);
        Server_FireBlock* fb = Shot(ann, q->m_vPosition);
        Tick();
        EXPECT_FALSE(Alive(fb));
    }
    EXPECT_EQ(std::tuple(q->m_pLastHitter, ann->m_i64PocketCoins), std::tuple(ann, int64_t(1000)));
}

TEST_F(FireBlocks, LifeRunsOutWhereverTheBlockFliesEvenOutsideTheWorld) {
    for (float x : {0.0f, 149'950.0f}) {
        auto* fb = static_cast<Server_FireBlock*>(server().ProperAddByType(kKindFireBlock));
        fb->m_vSize.Set(8.0f, 8.0f, 8.0f);
        fb->m_vPosition.Set(x, 500.0f, 0.0f);
        fb->m_vVelocity.Set(100.0f, 2.0f, 3.0f);
        fb->m_sLife = 3;
        Tick();
        Tick();
        EXPECT_EQ(std::tuple(fb->m_vPosition, fb->m_sLife), std::tuple(VUKVector(x + 200, 504, 6), int16_t(1)));
        EXPECT_EQ(fb->m_ZoneLinks.Count() == 0, x > 0.0f); // past the grid's edge it is in no zone
        Tick();
        EXPECT_FALSE(Alive(fb));
    }
}

TEST_F(FireBlocks, ClientSeesTheShotAddedAndThenRemoved) {
    auto ann = Settled("ann");
    auto* fb = static_cast<Server_FireBlock*>(server().ProperAddByType(kKindFireBlock));
    fb->m_vSize.Set(8.0f, 8.0f, 8.0f);
    fb->m_vPosition.Set(500.0f, 200.0f, -200.0f);
    fb->m_vVelocity.Set(0.0f, 0.0f, 16.0f);
    fb->m_sLife = 2;
    server().InformClients_EntityUpdated(fb);
    const Bytes add = NormalUpdateMessage(ann);
    EXPECT_EQ(add, Bind(1, ViewOf(ann, fb)) + Bytes{0x5A} + F32(0x41000000) + F32(0x43FA0000) + F32(kF200) +
                       F32(kFMinus200) + F32(kF0) + F32(kF0) + F32(0x41800000) + U32(2));
    Tick();
    Tick();
    EXPECT_EQ(NormalUpdateMessage(ann), Bytes{0x0A});
}

} // namespace
