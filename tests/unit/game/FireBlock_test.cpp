// Fire blocks in flight: travel, life, and what each kind of target does when hit. Shots are made
// here as the shooting rule makes them; a tick is the fire-block rule and the deferred lists.

#include <limits>

#include "game/GameConstants.h"
#include "mod/VukServer_Mod_Interface.h"
#include "unit/game/GameFixture.h"

namespace {

class FireBlocks : public GameTest {
protected:
    FireBlocks() {
        g_fStoneBlockShrinkPerHit = 0.25f;
        g_fBuildingBlockShrinkPerHit = g_fZorbinShrinkPerHit = 0.5f;
        g_iZorbinCoinsStolenPerHit = 3;
        g_uiRewardHittingQuillhob = 1000;
        m_Harness.clock().AdvanceNanoseconds(7); // each draw of the counter modulo 10 is 7
    }
    // Players stand on the ground at x 0.
    Server_Player* Player(const std::string& name, float z, bool online = true) {
        Server_Player* p = GameTest::Player(VUKVector(0, 8, z));
        p->m_strName = name;
        p->SetLoggedIn(online);
        p->m_uiEnergy = 5000;
        return p;
    }
    Server_Entity* Place(uint8_t kind, VUKVector at, float side, Server_Player* owner = nullptr, uint32_t coins = 0,
                         uint16_t texture = 0) {
        Server_Entity* e = Box(kind, at, {side, side, side});
        if (texture) e->m_usTexture = texture;
        if (kind == kKindNormalPad) e->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
        if (owner) e->SetLabel(owner->m_strName);
        e->m_pOwner = owner;
        e->m_uiStoredCoins = coins;
        server().UpdateGroupsAndZonesEntityIsIn(e);
        return e;
    }
    // A new shot that the next tick carries to the point.
    Server_FireBlock* Shot(Server_Entity* owner, VUKVector at, uint8_t flags = kFireKnockBack, int16_t power = 20) {
        auto* fb = static_cast<Server_FireBlock*>(Place(kKindFireBlock, at - VUKVector(0, 0, 1), 8.0f));
        fb->m_vVelocity.Set(0.0f, 0.0f, 1.0f);
        fb->m_sLife = 15;
        fb->m_sPower = power;
        fb->m_pShotOwner = owner;
        fb->m_ucFireFlags = flags;
        return fb;
    }
    bool Tick(Server_FireBlock* watched = nullptr) {
        server().Tick_FBs();
        server().ProcessUpdatesAndRemoves();
        for (uint32_t i = 0; i < server().m_FireBlocks.Count(); ++i)
            if (server().m_FireBlocks.GetEntity(i) == watched) return true;
        return false; // true while the watched shot flies on
    }
    int Count(const VUKFastArray_Entity& group) const { return int(group.Count()); }
};

Server_Player* g_pDefeater = nullptr;

TEST_F(FireBlocks, PrincessCubesComeFirstInTheirZoneAndRewardTheShooter) {
    Server_Player* ann = Player("ann", 0.0f);
    Server_Player* bob = Player("bob", 1000.0f);
    auto* cube = static_cast<Server_TalvyCube*>(Place(kKindTalvyCube, VUKVector(0, 250, 1000), 500.0f));
    cube->m_vHomePoint.Set(100.0f, 0.0f, 200.0f);
    ann->m_uiRank = 3;
    ann->SetFlag(kPlayerSpiritOfIceCream, true);
    EXPECT_FALSE(Tick(Shot(ann, bob->m_vPosition, kFireKnockBack | kFireColaLoaded)));
    EXPECT_EQ(std::tuple(cube->m_vSize, cube->m_vPosition.y, cube->m_ucTalvyFlags, bob->m_uiEnergy),
              std::tuple(VUKVector(495, 495, 495), 248.0f, kTalvyDrunk, 5000u));
    EXPECT_EQ(std::tuple(ann->m_i64PocketCoins, ann->m_uiEnergy), std::tuple(int64_t(23), 5050u)); // 20 + rank 3
    // Below 50 on any side it is defeated; the mod's hook replaces the player's own handling.
    KRV_ORIGINAL_CallWhenPlayerDefeatsTalvyCube = [](Server_Player* p, Server_TalvyCube*) { g_pDefeater = p; };
    cube->m_vSize.x = 54.0f;
    Tick(Shot(ann, bob->m_vPosition));
    KRV_ORIGINAL_CallWhenPlayerDefeatsTalvyCube = nullptr;
    EXPECT_EQ(std::tuple(cube->m_vPosition, cube->m_vSize, cube->m_ucTalvyFlags, cube->m_sCounter, g_pDefeater),
              std::tuple(VUKVector(100, 8000, 200), VUKVector(500, 500, 500), uint8_t(0), int16_t(150), ann));
    // A Quillhob cube pays outside admin mode and spends even a penetrating shot.
    auto* q = static_cast<Server_QuillhobCube*>(Place(kKindQuillhobCube, VUKVector(0, 8, -1000), 100.0f));
    ann->SetFlag(kPlayerPenetratingFire, true);
    for (bool admin : {true, false}) {
        ann->SetFlag(kPlayerAdminMode, admin);
        EXPECT_FALSE(Tick(Shot(ann, q->m_vPosition)));
    }
    EXPECT_EQ(std::tuple(q->m_pLastHitter, ann->m_i64PocketCoins), std::tuple(ann, int64_t(1023)));
}

TEST_F(FireBlocks, PlayersTakeDamageLoseCoinsAndAreKnockedByWhoIsOnlineAndWhatTheyCarry) {
    const uint8_t kb = kFireKnockBack, zorbin = kb | kFireCoinLoss, offline = kb | kFireOfflineShot;
    struct Case {
        uint8_t flags;
        int16_t power;
        bool online, shield, cola;
        int64_t coins;
        std::tuple<uint32_t, int64_t, bool, bool> after; // energy, coins, knocked, flies on
    } cases[] = {
        {kb, 20, true, true, false, 1000, {4990, 1000, true, false}},
        {kb, 20, true, true, true, 1000, {4995, 1000, true, false}},
        {zorbin, 1000, true, false, true, 1000, {4500, 900, true, false}},
        {zorbin, 1000, false, true, true, 1000, {5000, 950, true, false}},
        {zorbin, 1000, true, false, false, 150, {4000, 0, true, false}},
        {offline, 20, true, false, false, 1000, {5000, 1000, false, true}},
        {offline, 20, false, false, false, 1000, {5000, 1000, true, true}},
    };
    Server_Player* ann = Player("ann", 0.0f);
    for (const Case& c : cases) {
        Server_Player* bob = Player("bob", 1000.0f, c.online);
        bob->m_i64PocketCoins = c.coins;
        bob->SetFlag(kPlayerShieldOfTalvy, c.shield);
        bob->SetFlag(kPlayerColaDrunk, c.cola);
        Server_FireBlock* fb = Shot(ann, bob->m_vPosition, c.flags, c.power);
        const bool fliesOn = Tick(fb);
        const bool knocked = bob->GetFlag(kPlayerNoFriction) && bob->IsPlayerMoving();
        EXPECT_EQ(std::tuple(bob->m_uiEnergy, bob->m_i64PocketCoins, knocked, fliesOn), c.after) << int(&c - cases);
        if (knocked) { // up 20, pushed by 20 times the block's velocity, jolted by (7 - 10, 7, 7 - 10)
            EXPECT_EQ(std::tuple(bob->m_vVelocity, bob->m_fVerticalVelocity, bob->m_ucCSMHoldOff),
                      std::tuple(VUKVector(-3, 0, 17), 27.0f, uint8_t(c.online ? 5 : 0)));
        }
        if (fliesOn) Destroy(fb);
        Destroy(bob);
    }
}

TEST_F(FireBlocks, PenetratingShotsHitAgainNextTickOwnerlessOnesAreSpentTeamMatesFeelNothing) {
    Server_Player* ann = Player("ann", 0.0f);
    Server_Player* bob = Player("bob", 1000.0f);
    ann->SetFlag(kPlayerPenetratingFire, true);
    Server_FireBlock* fb = Shot(ann, bob->m_vPosition);
    EXPECT_TRUE(Tick(fb) && Tick(fb));
    Destroy(fb);
    EXPECT_FALSE(Tick(Shot(nullptr, bob->m_vPosition)));
    EXPECT_EQ(bob->m_uiEnergy, 4940u);
    ann->m_strTeamName = bob->m_strTeamName = "red";
    bob->m_vVelocity = VUKVector();
    Tick(Shot(ann, bob->m_vPosition));
    EXPECT_EQ(std::tuple(bob->m_uiEnergy, bob->m_vVelocity), std::tuple(4940u, VUKVector()));
}

TEST_F(FireBlocks, PropertyShrinksAndPaysItsAttackerItsOwnerOrNobody) {
    Server_Player* ann = Player("ann", 0.0f);
    Server_Player* bob = Player("bob", 500.0f);
    Server_Player* cat = Player("cat", -500.0f);
    ann->m_strTeamName = cat->m_strTeamName = "red";
    // A StoneBlock pays 10 only when its rounded height changes: 299.75, 299.5, then 299.25 pays;
    // 299, 298.75, 298.5, then 298.25 pays; the stone destroyer takes the rest.
    Server_Entity* stone = Place(kKindNormalPad, {1000, 150, 1000}, 300, bob, 25, kTextureStoneBlock);
    for (int64_t coins : {0, 0, 10, 10, 10, 10, 20}) {
        Tick(Shot(ann, stone->m_vPosition));
        EXPECT_EQ(ann->m_i64PocketCoins, coins);
    }
    EXPECT_EQ(std::tuple(stone->m_vSize.y, stone->m_uiStoredCoins, Count(server().m_MovingPads)),
              std::tuple(298.25f, 5u, 1));
    Tick(Shot(ann, stone->m_vPosition, kFireKnockBack | kFireStoneDestroyer));
    EXPECT_EQ(std::tuple(ann->m_i64PocketCoins, Count(server().m_PlayerBuiltPads)), std::tuple(int64_t(25), 0));
    // The owner with kicking of own property off and a team-mate change nothing; an enemy takes
    // 40 a hit; the owner's own shot refunds the rest and takes the property value away.
    ann->m_i64PocketCoins = 0;
    ann->m_i64PropertyValue = 600'000;
    Server_Entity* bb = Place(kKindNormalPad, {1000, 50, 1000}, 100, ann, 300'000, kTextureBuildingBlock);
    ann->SetFlag(kPlayerNoKickOwnProperty, true);
    Tick(Shot(ann, bb->m_vPosition));
    Tick(Shot(cat, bb->m_vPosition));
    EXPECT_EQ(std::tuple(bb->m_vSize, bb->m_vPosition.y), std::tuple(VUKVector(100, 100, 100), 50.0f));
    Tick(Shot(bob, bb->m_vPosition));
    EXPECT_EQ(std::tuple(bb->m_vSize, bb->m_vPosition.y, bob->m_i64PocketCoins, bb->m_uiStoredCoins),
              std::tuple(VUKVector(99.5f, 99.5f, 99.5f), 49.8f, int64_t(40), 299'960u));
    ann->SetFlag(kPlayerNoKickOwnProperty, false);
    Tick(Shot(ann, bb->m_vPosition));
    EXPECT_EQ(std::tuple(ann->m_i64PocketCoins, ann->m_i64PropertyValue, Count(server().m_PlayerBuiltPads)),
              std::tuple(int64_t(299'960), int64_t(0), 0));
    // An enemy's Zorbin cube loses 3 coins a hit and fires sooner; turret shots pass it by.
    auto* cube = static_cast<Server_ZorbinCube*>(
        Place(kKindZorbinCube, {1000, 150, 1000}, 300, ann, 25'000, kTextureZorbinCube));
    Tick(Shot(bob, cube->m_vPosition));
    EXPECT_TRUE(Tick(Shot(ann, cube->m_vPosition, kFireKnockBack | kFireCoinLoss)));
    EXPECT_EQ(std::tuple(cube->m_vSize.y, cube->m_uiStoredCoins, cube->m_usShort, bob->m_i64PocketCoins),
              std::tuple(299.5f, 24'997u, uint16_t(0), int64_t(43)));
}

TEST_F(FireBlocks, EveryTouchingPalaceCubeLosesAHitPointAndTheLastOneIsNews) {
    auto cat = Settled("cat");
    Server_Player* ann = Player("ann", 0.0f);
    Server_Player* bob = Player("bob", 500.0f);
    auto* left = static_cast<Server_PalaceCube*>(Place(kKindPalaceCube, VUKVector(700, 300, 1000), 600.0f, bob));
    auto* right = static_cast<Server_PalaceCube*>(Place(kKindPalaceCube, VUKVector(1300, 300, 1000), 600.0f, bob));
    Tick(Shot(ann, VUKVector(1000, 300, 1000)));
    EXPECT_EQ(std::tuple(left->m_uiHitPoints, right->m_uiHitPoints, ann->m_i64PocketCoins, ann->m_strMessageText),
              std::tuple(999'999u, 999'999u, int64_t(2),
                         std::string("100.0% HP left in this PalaceCube owned by bob.  Don't plan on destroying this "
                                     "PalaceCube anytime soon.")));
    left->m_uiHitPoints = 1;
    Tick(Shot(ann, left->m_vPosition));
    EXPECT_EQ(std::tuple(Count(server().m_PalaceCubes), ann->m_strMessageText, ann->m_fMessageTime),
              std::tuple(1, std::string("Whoa!  You destroyed a PalaceCube!  Whoa!"), 1.0f));
    const std::string news = "ann has destroyed one of bob's PalaceCubes!";
    const Bytes chat = Bytes{'1'} + U32(4) + Text("Info") + U32(uint32_t(news.size())) + Text(news);
    int told = 0;
    for (const Bytes& message : cat.TakeAll()) told += Contains(message, chat);
    EXPECT_EQ(told, 1);
}

TEST_F(FireBlocks, LifeRunsOutWhereverTheBlockFliesEvenOutsideTheWorld) {
    for (float x : {0.0f, 149'950.0f, std::numeric_limits<float>::infinity()}) {
        Server_FireBlock* fb = Shot(nullptr, VUKVector(x, 500, 1));
        fb->m_vVelocity.Set(100.0f, 2.0f, 3.0f);
        fb->m_sLife = 3;
        EXPECT_TRUE(Tick(fb) && Tick(fb));
        EXPECT_EQ(fb->m_vPosition, VUKVector(x + 200, 504, 6));
        EXPECT_EQ(fb->m_ZoneLinks.Count() == 0, x > 0.0f); // past the grid's edge it is in no zone
        EXPECT_FALSE(Tick(fb));
    }
}

} // namespace
