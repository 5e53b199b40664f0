// What a sweep's hit does to the mover and to what it met.

#include "unit/game/GameFixture.h"

using Reactions = GameTest;

// A logged-in player falling 10 with its feet 5 above the top meets it at t = 0.5: it keeps 0.49 of
// its vertical velocity, after the landing has added any bounce ((-10 + 150) x 0.49 = 68.6), moves by
// that much and is marked standing.
TEST_F(Reactions, LandingOnPadsAndPalaceCubes) {
    struct Case {
        const char* name;
        uint8_t kind;
        uint16_t texture;
        uint32_t bounce;
        bool noBuilding, windowOpen;
        float vertical;
        bool fast, mayBuild;
        uint32_t energy;
    };
    const Case cases[] = {
        {"plain block", kKindNormalPad, 42, 0, false, false, -4.9f, false, true, 5},
        {"bouncy pad", kKindNormalPad, 42, 150, false, false, 68.6f, false, true, 5},
        {"speed surface", kKindNormalPad, 15, 0, false, false, -4.9f, true, true, 5},
        {"no building on top", kKindNormalPad, 42, 0, true, false, -4.9f, false, false, 5},
        {"burning surface", kKindNormalPad, 3, 0, false, false, -4.9f, false, true, 4},
        {"palace bouncy pad", kKindPalaceCube, 64, 150, false, false, 68.6f, false, true, 5},
        {"window open", kKindNormalPad, 15, 150, false, true, -4.9f, false, true, 5},
    };
    for (const Case& c : cases) {
        const float x = 1000.0f * float(&c - cases);
        Server_Entity* e = Box(c.kind, {x, 50.0f, 0.0f}, {100.0f, 100.0f, 100.0f});
        e->m_usTexture = c.texture;
        e->SetEEA(kEEABounce, c.bounce);
        if (c.noBuilding) e->m_ucRuleFlags &= uint8_t(~kRuleZorbinBuildAllowed);
        Server_Player* p = Player({x, 113.0f, 0.0f});
        p->SetLoggedIn(true);
        p->SetFlag(kPlayerMessageWindow, c.windowOpen);
        p->m_uiEnergy = 5;
        p->m_fVerticalVelocity = -10.0f;
        MovePlayer(p);
        EXPECT_FLOAT_EQ(p->m_vPosition.y, 113.0f + c.vertical) << c.name;
        EXPECT_FLOAT_EQ(p->m_fVerticalVelocity, c.vertical) << c.name;
        const bool on = !c.windowOpen; // an open window leaves the player standing but on no platform
        EXPECT_EQ(std::tuple(p->GetFlag(kPlayerStandingOnEntity), p->m_pPlatform == e, e->m_ReferringPlayers.Length(),
                             p->GetMoveFlag(kMoveFast), p->GetFlag(kPlayerMayBuildHere), p->m_uiEnergy),
                  std::tuple(true, on, on ? 1u : 0u, c.fast, c.mayBuild, c.energy))
            << c.name;
    }
}

// Walking into things at 10 along x: what moves, by how much, and whose it must be.
TEST_F(Reactions, KicksByKindOwnerAndTeam) {
    enum Owner { kNobody, kSelf, kEnemy, kFriend };
    struct Case {
        const char* name;
        uint8_t kind;
        uint16_t texture;
        Owner owner;
        bool noKickOwn;
        VUKVector velocity;
    };
    const Case cases[] = {
        {"Talvy cube", kKindTalvyCube, 9, kNobody, false, {20.0f, 20.0f, 0.0f}},
        {"own Zorbin cube", kKindZorbinCube, 44, kSelf, false, {11.0f, 0.1f, 0.0f}},
        {"own Zorbin cube, kicking own off", kKindZorbinCube, 44, kSelf, true, {}},
        {"enemy BuildingBlock", kKindNormalPad, 42, kEnemy, false, {13.0f, 6.0f, 0.0f}},
        {"own BuildingBlock", kKindNormalPad, 42, kSelf, false, {13.0f, 6.0f, 0.0f}},
        {"own BuildingBlock, kicking own off", kKindNormalPad, 42, kSelf, true, {}},
        {"friend's BuildingBlock", kKindNormalPad, 42, kFriend, false, {}},
        {"own StoneBlock", kKindNormalPad, 39, kSelf, false, {11.0f, 0.1f, 0.0f}},
        {"enemy flat stone", kKindNormalPad, 40, kEnemy, false, {}},
    };
    Server_Player* enemy = Player({0.0f, 8.0f, 50'000.0f});
    Server_Player* buddy = Player({0.0f, 8.0f, 60'000.0f});
    buddy->m_strTeamName = "red";
    for (const Case& c : cases) {
        const float x = 1000.0f * float(&c - cases);
        Server_Entity* e = Box(c.kind, {x, 50.0f, 0.0f}, {100.0f, 100.0f, 100.0f});
        e->m_usTexture = c.texture;
        e->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
        e->m_vVelocity = VUKVector();
        Server_Player* p = Player({x - 63.0f, 50.0f, 0.0f});
        p->m_strTeamName = "red";
        p->SetFlag(kPlayerNoKickOwnProperty, c.noKickOwn);
        const Server_Player* owners[] = {nullptr, p, enemy, buddy};
        e->m_pOwner = const_cast<Server_Player*>(owners[c.owner]);
        p->m_vVelocity.x = 10.0f;
        MovePlayer(p);
        EXPECT_EQ(e->m_vVelocity, c.velocity) << c.name;
        const bool kicked = c.velocity != VUKVector() && c.kind != kKindTalvyCube;
        EXPECT_EQ((e->m_ucRuleFlags & kRuleQueuedForUpdate) != 0, kicked) << c.name;
        if (c.kind == kKindTalvyCube) {
            EXPECT_EQ(static_cast<Server_TalvyCube*>(e)->m_pLastPusher, p);
        }
    }
}

// A Talvy cube shrinks an Oriset cube, defeats it at 200, is sent home 50,000 up by a pyramid,
// and carries its rider. (A lift grinding and kicking property is the lift tests' business.)
TEST_F(Reactions, PrincessCubes) {
    Server& s = server();
    auto move = [&](Server_Entity* mover, VUKVector velocity, void (Game::*routine)()) {
        mover->m_vVelocity = velocity;
        s.m_pCurrentEntity = mover;
        (s.*routine)();
    };
    struct Ram {
        float orisetSize, hover;
        VUKVector size;
        float newHover;
    };
    for (Ram r : {Ram{1000.0f, 1100.0f, {900.0f, 900.0f, 900.0f}, 1000.0f},
                  Ram{300.0f, 100.0f, {1000.0f, 1000.0f, 1000.0f}, 1100.0f}}) {
        auto* oriset = static_cast<Server_OrisetCube*>(
            Box(kKindOrisetCube, {20'000.0f, 5000.0f, 0.0f}, {r.orisetSize, r.orisetSize, r.orisetSize}));
        oriset->m_fHoverHeight = r.hover;
        oriset->m_vHomePoint.Set(1.0f, 2.0f, 3.0f);
        Server_Entity* talvy =
            Box(kKindTalvyCube, {20'000.0f - r.orisetSize / 2 - 55.0f, 5000.0f, 0.0f}, {100, 100, 100});
        move(talvy, {10.0f, 0.0f, 0.0f}, &Game::VC_TC);
        EXPECT_EQ(std::tuple(oriset->m_vSize, oriset->m_fHoverHeight), std::tuple(r.size, r.newHover));
        EXPECT_FLOAT_EQ(talvy->m_vVelocity.x, -0.49f); // rebounds at 0.1 of its speed, cut by the fraction
        s.QueueEntityForRemoval(oriset);
        s.QueueEntityForRemoval(talvy);
        s.ProcessUpdatesAndRemoves();
    }

    Server_Entity* pyramid = Box(kKindNormalPad, {40'000.0f, 50.0f, 0.0f}, {100.0f, 100.0f, 100.0f});
    pyramid->m_ucRuleFlags |= kRulePyramid;
    auto* talvy = static_cast<Server_TalvyCube*>(Box(kKindTalvyCube, {40'000.0f, 155.0f, 0.0f}, {100, 100, 100}));
    talvy->m_vHomePoint.Set(7.0f, 8.0f, 9.0f);
    Server_Player* rider = Player({40'000.0f, 213.0f, 0.0f});
    rider->SetPlatform(talvy);
    move(talvy, {10.0f, 0.0f, 0.0f}, &Game::VC_TC);
    EXPECT_TRUE(rider->m_vPosition.x == 40'010.0f && rider->IsPlayerMoving() &&
                (rider->m_ucRuleFlags & kRuleQueuedForUpdate));
    talvy->m_vPosition.x = 40'000.0f;
    move(talvy, {0.0f, -10.0f, 0.0f}, &Game::VC_TC);
    EXPECT_EQ(talvy->m_vSize, VUKVector(500.0f, 500.0f, 500.0f));
    EXPECT_FLOAT_EQ(talvy->m_vPosition.y, 50'008.0f - 4.9f);
    EXPECT_NE(talvy->m_ucRuleFlags & kRuleStanding, 0);
}
