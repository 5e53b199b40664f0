// The rest of a player's tick: keys, the AFK request, regeneration, the admin toggle and the Zorbin cubes' near lists.

#include "unit/game/GameFixture.h"

using PlayerTick = GameTest;

TEST_F(PlayerTick, AfkRegenerationAndAdminToggle) {
    Server_Player* ann = Player("ann", 5000, 8, 0);
    ann->SetFlag(kPlayerMenuToggleAFK, true);
    server().Tick_Players();
    ann->SetFlag(kPlayerMenuToggleAFK, true);
    server().Tick_Players();
    EXPECT_EQ(std::tuple(m_Folder.CountInLog("ann is AFK."), m_Folder.CountInLog("ann is back at the keyboard."),
                         ann->GetFlag(kPlayerAFK)),
              std::tuple(1, 1, false));

    // All keys up: no keys, no menu requests, no throttle; what the player waits for stays.
    Server_Player p;
    p.m_uiKeyFlags = kKeyFire | kKeyBuildStoneBlock | kKeyMove2;
    p.SetFlag(kPlayerMenuToggleAFK, true);
    p.SetFlag(kPlayerMenuLocateOwn, true);
    p.m_fThrottle = 0.5f;
    p.AllKeysFalse();
    EXPECT_EQ(std::tuple(p.m_uiKeyFlags, p.m_ucPlayerFlags[6], p.m_ucPlayerFlags[7], p.m_fThrottle),
              std::tuple(0u, 0, 0x0E, 0.0f));

    // Cookie: +1 up to 9,999 (ice cream then does nothing); ice cream alone: +5 up to 20,000.
    const std::tuple<bool, bool, uint32_t, uint32_t> energy[] = {{true, true, 9'998, 9'999},
                                                                 {true, false, 9'999, 9'999},
                                                                 {false, true, 9'999, 10'004},
                                                                 {false, true, 19'998, 20'000},
                                                                 {false, false, 100, 100}};
    for (auto [cookie, iceCream, before, after] : energy) {
        // The list sets the flags afresh each tick.
        ann->RemoveAllTempEffects();
        if (cookie) ann->TryAddPowerup(kPowerupSpiritOfCookie, "Spirit of Cookie", -100.0f);
        if (iceCream) ann->TryAddPowerup(kPowerupSpiritOfIceCream, "Spirit of Ice Cream", 30.0f);
        ann->m_uiEnergy = before;
        server().Tick_Players();
        EXPECT_EQ(ann->m_uiEnergy, after) << before;
    }

    // Only an administrator's toggle key counts; it stops the player.
    ann->m_vVelocity.Set(3, 0, 3);
    ann->SetKey(kKeyAdminToggle, true);
    server().Tick_Players();
    EXPECT_FALSE(ann->IsAdminMode());
    ann->m_usAdminLevel = 1;
    server().Tick_Players();
    EXPECT_TRUE(ann->IsAdminMode() && ann->m_vVelocity == VUKVector(0, 0, 0) && !ann->HasKey(kKeyAdminToggle));
}

TEST_F(PlayerTick, ZorbinCubesKnowTheEnemiesNearThem) {
    Server_Player* ann = Player("ann", 5000, 8, 0);
    ann->m_strTeamName = "red";
    Server_Player* mate = Player("mate", 9000, 8, 0);
    mate->m_strTeamName = "red";
    auto cube = [&](Server_Player* owner, float x) {
        auto* c = static_cast<Server_ZorbinCube*>(Box(kKindZorbinCube, {x, 150, 0}, {300, 300, 300}));
        c->m_pOwner = owner;
        return c;
    };
    Server_ZorbinCube* enemy = cube(nullptr, 5500); // in a zone of the box 600 around the player
    Server_ZorbinCube* far = cube(nullptr, 12000);  // in no zone of it
    Server_ZorbinCube* own = cube(ann, 5100);
    Server_ZorbinCube* friendly = cube(mate, 5200);
    server().SetZorbinNearList(ann);
    EXPECT_TRUE(ann->m_NearZorbins.Length() == 1 && enemy->m_NearPlayers.Contains(ann));
    EXPECT_FALSE(far->m_NearPlayers.Contains(ann) || own->m_NearPlayers.Contains(ann) ||
                 friendly->m_NearPlayers.Contains(ann));

    // Offline, the player leaves every list.
    ann->SetLoggedIn(false);
    server().SetZorbinNearList(ann);
    EXPECT_TRUE(ann->m_NearZorbins.Empty() && enemy->m_NearPlayers.Empty());

    // From the cube's side: online enemies only.
    ann->SetLoggedIn(true);
    Player("bob", 5600, 8, 0);
    server().SetPlayerNearList(enemy);
    EXPECT_TRUE(enemy->m_NearPlayers.Length() == 2 && ann->m_NearZorbins.Contains(enemy));
}

TEST_F(PlayerTick, TheMovementLoop) {
    // Below the ground plane: put on it, and moving.
    Server_Player* ann = Player("ann", 5000, 3, 0);
    ann->m_fVerticalVelocity = -2.0f;
    ann->SetPlayerMoving(false);
    server().Tick_Players();
    EXPECT_EQ(std::tuple(ann->m_vPosition.y, ann->m_fVerticalVelocity, ann->IsPlayerMoving()),
              std::tuple(8.01f, 0.0f, true));
    // Still for more than four ticks: no longer moving, and re-filed at the end of the tick.
    for (int tick = 2; tick <= 4; ++tick) server().Tick_Players();
    EXPECT_TRUE(ann->IsPlayerMoving());
    server().Tick_Players();
    EXPECT_TRUE(!ann->IsPlayerMoving() && (ann->m_ucRuleFlags & kRuleQueuedForUpdate));

    // In client-side movement the client's reports are taken, the position raised by 0.1; a
    // report still awaited is not.
    ann->SetFlag(kPlayerClientSideMovement, true);
    ann->m_vClientPosition.Set(100, 50, 100);
    ann->m_fClientYaw = 1.0f;
    ann->m_vClientVelocity.Set(1, 2, 3);
    ann->SetFlag(kPlayerAwaitClientPosition, false);
    ann->SetFlag(kPlayerAwaitClientVelocity, false);
    server().Tick_Players();
    EXPECT_EQ(std::tuple(ann->m_vPosition, ann->m_vVelocity, ann->m_fVerticalVelocity, ann->GetYaw()),
              std::tuple(VUKVector(100, 50.1f, 100), VUKVector(1, 0, 3), 2.0f, 0.0f));
}
