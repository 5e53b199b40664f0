// Zorbin cubes: the choice of target, the shot, moving cubes in their groups and the spawn area.
// The fake clock stands at 10^12: modulo 4 it is 0, modulo 3 it is 1.

#include "game/GameConstants.h"
#include "unit/game/GameFixture.h"

namespace {

class ZorbinCubes : public GameTest {
protected:
    Server_ZorbinCube* Cube(VUKVector at, Server_Player* owner = nullptr) {
        auto* cube = static_cast<Server_ZorbinCube*>(Box(kKindZorbinCube, at, {50, 50, 50}));
        cube->m_pOwner = owner;
        return cube;
    }
    // Links the players to the cube in list order, as the near-list rules would.
    void Near(Server_ZorbinCube* cube, const std::vector<Server_Player*>& players) {
        for (auto it = players.rbegin(); it != players.rend(); ++it) {
            cube->m_NearPlayers.Add(*it);
            (*it)->m_NearZorbins.Add(cube);
        }
        server().UpdateGroupsAndZonesEntityIsIn(cube);
    }
};

// Owner "ann"; bob and cid stand 500 away, dan 601 away; the list is ann, bob, cid, dan.
TEST_F(ZorbinCubes, TargetIsTheLastEnemyInRange) {
    struct Case {
        const char* name;
        const char* annTeam;
        const char* cidTeam;
        bool owned;
        const char* target; // empty: none
    };
    const Case cases[] = {
        {"owner without team", "", "red", true, "cid"},
        {"owner's team spared", "red", "red", true, "bob"},
        {"nobody's cube spares nobody", "red", "red", false, "cid"},
    };
    for (const Case& c : cases) {
        const float x = 10'000.0f * float(&c - cases);
        Server_Player* ann = Player("ann", x, 8, 0);
        Server_Player* bob = Player("bob", x + 300, 8, 400);
        Server_Player* cid = Player("cid", x - 400, 8, 300);
        Server_Player* dan = Player("dan", x + 601, 8, 0);
        ann->m_strTeamName = c.annTeam;
        cid->m_strTeamName = c.cidTeam;
        bob->m_strTeamName = "";
        Server_ZorbinCube* cube = Cube({x, 8, 0}, c.owned ? ann : nullptr);
        Near(cube, {ann, bob, cid, dan});
        cube->DecideIfEnemyIsAround();
        const std::string target = c.target;
        const VUKVector aim = target == "bob" ? VUKVector(300, 0, 400) : VUKVector(-400, 0, 300);
        EXPECT_EQ(std::tuple(cube->m_ucZorbinFlags & kZorbinTarget, cube->m_vAim,
                             (target == "bob" ? bob : cid)->m_uiScanCounter),
                  std::tuple(1, aim, 1u))
            << c.name;
    }
}

// An attacking cube that comes round to its scan fires 15.9 x 0.8 along its aim, off by -2 on x
// and z; an IRSCube also drifts by 0.02 of its aim.
TEST_F(ZorbinCubes, AttackingCubesFireAtTheirTarget) {
    Server_Player* ann = Player("ann", 0, 8, 0);
    for (uint16_t texture : {kTextureZorbinCube, kTextureIRSCube}) {
        const float x = texture == kTextureIRSCube ? 10'000.0f : 0.0f;
        Server_ZorbinCube* cube = Cube({x, 8, 0}, ann);
        cube->m_usTexture = texture;
        cube->m_uiTurnSlot = 0;
        Server_Player* enemy = Player("bob", x + 300, 8, 400);
        Near(cube, {enemy});
    }
    server().Tick_Zorbins();
    ASSERT_EQ(server().m_FireBlocks.Count(), 2u);
    for (uint32_t i = 0; i < 2; ++i) {
        Server_FireBlock* fb = FireBlock(i);
        EXPECT_EQ(std::tuple(fb->m_pShotOwner, fb->m_sPower, fb->m_sLife, fb->m_ucFireFlags, fb->m_vSize.x),
                  std::tuple(static_cast<Server_Entity*>(ann), int16_t(1'000), int16_t(50), uint8_t(0x03), 64.0f));
    }
    // The IRSCube's shot leads by its new drift (6, 0, 8): the aim (306, 0, 408) keeps the direction.
    for (uint32_t i = 0; i < 2; ++i) {
        EXPECT_NEAR(FireBlock(i)->m_vVelocity.x, 0.6f * 12.72f - 2.0f, 1e-4f);
        EXPECT_NEAR(FireBlock(i)->m_vVelocity.z, 0.8f * 12.72f - 2.0f, 1e-4f);
    }
    auto* irs = static_cast<Server_ZorbinCube*>(server().m_LinkedZorbinCubes.GetEntity(1));
    EXPECT_EQ(std::tuple(irs->m_vVelocity, irs->IsMoving(), irs->m_usShort),
              std::tuple(VUKVector(6, 0, 8), true, uint16_t(55)));
}

// 20 cubes falling in the air: each tick moves the cubes of one group, numbered from 1 in the
// moving array, and never more than the cap.
TEST_F(ZorbinCubes, MovingCubesByGroupAndCap) {
    struct Case {
        int32_t groups, cap;
        std::vector<int> perTick;
    };
    const Case cases[] = {
        {8, 5, {3, 3, 3, 3, 2, 2, 2, 2, 3}},
        {8, 2, {2, 2, 2, 2, 2, 2, 2, 2, 2}},
        {1, 5, {5, 5, 5, 5, 5, 5, 5, 5, 5}},
        {0, 5, {5, 5, 5, 5, 5, 5, 5, 5, 5}}, // no groups counts as one
    };
    for (const Case& c : cases) {
        g_iPropertyMovingGroups = c.groups;
        g_iMaxPropertyMovePerTick = c.cap;
        server().m_MovingGroups.m_uiMovingZorbinGroup = 0;
        std::vector<Server_ZorbinCube*> cubes;
        for (int i = 0; i < 20; ++i) cubes.push_back(Cube({5'000.0f + 200.0f * float(i), 9'000, 5'000}));
        std::vector<int> perTick;
        for (size_t tick = 0; tick < c.perTick.size(); ++tick) {
            std::vector<float> before;
            for (auto* cube : cubes) before.push_back(cube->m_vVelocity.y);
            server().Tick_Moving_Zorbins();
            server().ProcessUpdatesAndRemoves();
            int moved = 0;
            for (size_t i = 0; i < cubes.size(); ++i) moved += cubes[i]->m_vVelocity.y != before[i];
            perTick.push_back(moved);
        }
        EXPECT_EQ(perTick, c.perTick) << c.groups << " groups, cap " << c.cap;
        for (auto* cube : cubes) server().ProperDestroy(cube);
    }
    g_iPropertyMovingGroups = 8;
    g_iMaxPropertyMovePerTick = 5;
}

// A cube falling in the spawn area below 4000 is thrown out of it; one outside only falls.
TEST_F(ZorbinCubes, SpawnAreaLift) {
    g_iPropertyMovingGroups = 1;
    struct Case {
        VUKVector at, position, velocity;
    };
    const Case cases[] = {
        {{100, 1'000, 100}, {105, 4'999.6f, 105}, {2, 1.6f, 2}},
        {{3'000, 1'000, 100}, {3'000, 999.6f, 100}, {0, -0.4f, 0}},
        {{100, 4'500, 100}, {100, 4'499.6f, 100}, {0, -0.4f, 0}},
    };
    for (const Case& c : cases) {
        Server_ZorbinCube* cube = Cube(c.at);
        server().Tick_Moving_Zorbins();
        EXPECT_EQ(std::tuple(cube->m_vPosition, cube->m_vVelocity), std::tuple(c.position, c.velocity)) << c.at.x;
        server().ProperDestroy(cube);
    }
    g_iPropertyMovingGroups = 8;
}

} // namespace
