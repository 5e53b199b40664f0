// Shots and the offline players' return fire: the fire blocks they make.

#include "unit/game/GameFixture.h"

using Shooting = GameTest;

TEST_F(Shooting, SingleGiantAndLoadedShots) {
    Server_Player* ann = Player("ann", 5000, 8, 0);
    ann->m_vVelocity.Set(1, 0, 0);
    server().Tick_Player_ShootFireBlock(ann);
    Server_FireBlock* fb = FireBlock(0);
    EXPECT_EQ(std::tuple(fb->m_vPosition, fb->m_vSize, fb->m_vVelocity, fb->m_pShotOwner, fb->m_pShooter),
              std::tuple(VUKVector(5000, 8, 0), VUKVector(8, 8, 8), VUKVector(1, 0, 15.9f), ann, ann));
    EXPECT_EQ(std::tuple(fb->m_usTexture, fb->m_vTextureScale.x, fb->m_sLife, fb->m_sPower, fb->m_ucFireFlags,
                         ann->m_sShotCooldown),
              std::tuple(3, 32.0f, 15, 20, 0x01, 2));

    ann->SetFlag(kPlayerGiantFireBlocks, true);
    ann->SetFlag(kPlayerColaDrunk, true);
    ann->SetFlag(kPlayerStoneDestroyer, true);
    server().Tick_Player_ShootFireBlock(ann);
    fb = FireBlock(1);
    EXPECT_EQ(std::tuple(fb->m_vSize, fb->m_vVelocity, fb->m_sLife, fb->m_ucFireFlags, ann->m_sShotCooldown),
              std::tuple(VUKVector(80, 80, 80), VUKVector(0.5f, 0, 15.9f), 25, 0x61, 4));
}

TEST_F(Shooting, TriFireShootsThreeWaysAndKeepsTheHeading) {
    Server_Player* ann = Player("ann", 5000, 8, 0);
    ann->TryAddPowerup(kPowerupTriFire, "Tri-Fire", -100.0f);
    ann->SetKey(kKeyFire, true);
    server().Tick_Players();
    ASSERT_EQ(server().m_FireBlocks.Count(), 3u);
    // Straight on, then 22.5 degrees to the left and to the right: 15.9 x sin and cos of pi/8.
    const float expected[3][2] = {{0, 15.9f}, {-6.084666f, 14.689684f}, {6.084666f, 14.689684f}};
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(FireBlock(i)->m_vVelocity.x, expected[i][0], 1e-4) << i;
        EXPECT_NEAR(FireBlock(i)->m_vVelocity.z, expected[i][1], 1e-4) << i;
    }
    // The heading stays; cooldown 2, one tick of it already run off; the key is still held but waits.
    EXPECT_EQ(std::tuple(ann->GetYaw(), ann->m_sShotCooldown), std::tuple(0.0f, 1));
    server().Tick_Players();
    EXPECT_EQ(server().m_FireBlocks.Count(), 3u);
}

TEST_F(Shooting, OfflinePlayersFireBackAtOfflineEnemies) {
    Server_Player* ann = Offline("ann", 5000, 8, 0);
    Server_Player* bob = Offline("bob", 5200, 12, 100); // dx 200, dz 100: 50,000 within 78,400
    server().Tick_Player_OfflineShootFireBlock(ann);
    EXPECT_TRUE(ann->GetFlag(kPlayerEnemyAround) && bob->GetFlag(kPlayerEnemyAround));
    ASSERT_EQ(server().m_FireBlocks.Count(), 1u);
    Server_FireBlock* fb = FireBlock(0);
    // The clock reads a multiple of 64: sector 0, offset 0, so the shot goes a quarter turn back.
    EXPECT_NEAR(fb->m_vVelocity.x, -15.9f, 1e-4);
    EXPECT_NEAR(fb->m_vVelocity.z, 0.0f, 1e-4);
    EXPECT_EQ(std::tuple(fb->m_sLife, fb->m_ucFireFlags, ann->m_sShotCooldown, fb->m_pShooter, fb->m_pShotOwner),
              std::tuple(20, 0x09, 2, nullptr, ann));

    // The scan runs every fifth call: the enemy gone, the flag still stands on the next three.
    bob->m_vPosition.Set(9000, 8, 0);
    for (int call = 2; call <= 5; ++call) {
        ann->m_sShotCooldown = 0;
        server().Tick_Player_OfflineShootFireBlock(ann);
        EXPECT_EQ(ann->GetFlag(kPlayerEnemyAround), call < 5) << call;
    }

    // Team-mates, online players and players more than 4 apart in height are no enemies.
    for (auto setup :
         {+[](Server_Player* b) { b->m_strTeamName = "red"; }, +[](Server_Player* b) { b->SetLoggedIn(true); },
          +[](Server_Player* b) { b->m_vPosition.y = 12.5f; }}) {
        Server_Player* cy = Offline("cy", -5000, 8, 0);
        cy->m_strTeamName = "red";
        Server_Player* dan = Offline("dan", -5100, 8, 0);
        dan->m_strTeamName = "blue";
        dan->m_vPosition.y = 12.0f;
        setup(dan);
        server().UpdateGroupsAndZonesEntityIsIn(dan);
        cy->DecideIfEnemyIsAround(&server().m_Grid);
        EXPECT_FALSE(cy->GetFlag(kPlayerEnemyAround));
        server().ProperDestroy(cy);
        server().ProperDestroy(dan);
    }
}
