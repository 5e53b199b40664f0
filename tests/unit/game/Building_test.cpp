// Building: every refusal at its boundary, the costs, the places and the repeat counter.

#include "unit/game/GameFixture.h"

namespace {

struct BuildCase {
    const char* name;
    std::function<void(Server&, Server_Player*)> setup;
    std::function<void(Server&, Server_Player*)> build;
    const char* message;
    int64_t coins; // after the attempt
    bool built = false;
};

void BuildBlock(Server& s, Server_Player* p) { s.Tick_Player_BuildBlock(p); }
void BuildZorbin(Server& s, Server_Player* p) { s.Tick_Player_BuildZorbin(p); }
void BuildIRS(Server& s, Server_Player* p) { s.Tick_Player_BuildIRS(p); }
void BuildStone(Server& s, Server_Player* p) { s.Tick_Player_BuildStoneBlock(p, 300, 300, 300, 5000, false); }
void BuildFlat(Server& s, Server_Player* p) { s.Tick_Player_BuildStoneBlock(p, 300, 30, 300, 5000, true); }
auto At(float x, float y, float z) {
    return [=](Server&, Server_Player* p) { p->m_vPosition.Set(x, y, z); };
}
auto Coins(int64_t coins) {
    return [=](Server&, Server_Player* p) { p->m_i64PocketCoins = coins; };
}

constexpr const char* kBlockBuilt =
    "You've built a BuildingBlock with 300,000 coins.  This is worth 600,000 in property value!  The MEAN TAX "
    "WARRIOR can't tax property value!  Shoot your own BuildingBlock for a refund.  If an enemy destroys it, you'll "
    "lose 600,000 net worth.  Be sure to defend it with ZorbinCubes and StoneBlocks.";

} // namespace

using Building = GameTest;

TEST_F(Building, RefusalsAndCostsAtTheirBoundaries) {
    const BuildCase cases[] = {
        {"block at |x| = 1000", At(1000, 8, 0), BuildBlock, kBlockBuilt, 700'000, true},
        {"block near spawn", At(999, 8, -999), BuildBlock,
         "You cannot build a BuildingBlock here because you are too close to the spot where players spawn after "
         "creating their character or dieing.  Please find another place to build a BuildingBlock.",
         1'000'000},
        {"block at y = 7000", At(5000, 7000, 0), BuildBlock,
         "You cannot build a BuildingBlock because you are too high in the sky.", 1'000'000},
        {"block, 299,999 coins", Coins(299'999), BuildBlock,
         "You do not have enough coins to build a BuildingBlock.  A BuildingBlock costs 300,000 coins.", 299'999},
        {"net worth exactly 100,000,000",
         [](Server&, Server_Player* p) { p->m_i64PocketCoins = 100'000'000 - (p->m_i64PropertyValue = 600'000); },
         BuildBlock, "You cannot build anything because your net worth is at least 100000000 coins.", 99'400'000},
        {"block on a forbidden surface", [](Server&, Server_Player* p) { p->SetFlag(kPlayerMayBuildHere, false); },
         BuildBlock, "You are on a surface where the building of BuildingBlocks is disallowed.\n\nSorry.", 1'000'000},
        {"block in the way", [](Server&, Server_Player*) {}, nullptr,
         "You cannot build a BuildingBlock here because something is in the way.\n\nPlease move to another place and "
         "try again.",
         1'000'000},
        {"Zorbin near spawn", At(2999, 8, 2999), BuildZorbin,
         "You cannot build an ZorbinCube here because you are too close to the spot where players spawn after creating "
         "their character or dieing.  Please find another place to build an ZorbinCube.",
         1'000'000},
        {"Zorbin at |z| = 3000", At(0, 8, -3000), BuildZorbin,
         "You have just built an ZorbinCube for 25,000 coins.  ZorbinCubes defend your BuildingBlocks against "
         "opponents.  Shoot your own ZorbinCube to destroy it for a refund.",
         975'000, true},
        {"IRS, 299,999 coins", Coins(299'999), BuildIRS,
         "You do not have enough coins to build a IRSCube.  An IRSCube costs 300,000 coins.", 299'999},
        {"IRS too high", At(5000, 7000.5f, 0), BuildIRS,
         "You cannot build an IRSCube because you are too high in the sky.", 1'000'000},
        {"stone too high", At(5000, 7000, 0), BuildStone,
         "You cannot build what you've requested because you are too high in the sky.\n\nPlease find a lower place "
         "and try again.",
         1'000'000},
        {"stone near spawn", At(1999, 8, 0), BuildStone,
         "You cannot build here because you are too close to the spot where players spawn after creating their "
         "character or dieing.  Please find another place to build this object.",
         1'000'000},
        {"stone, 4,999 coins", Coins(4'999), BuildFlat, "You do not have enough coins to build this.", 4'999},
    };
    for (const BuildCase& c : cases) {
        SCOPED_TRACE(c.name);
        Server_Player* p = Player("ann", 5000, 8, 0);
        c.setup(server(), p);
        uint32_t built = server().m_PlayerBuiltPads.Count() + server().m_ZorbinCubes.Count();
        if (c.build) {
            c.build(server(), p);
        } else {
            Block(nullptr, 5000, 60, 0, 1); // a plain block right where the new one would go
            ++built;
            BuildBlock(server(), p);
        }
        EXPECT_EQ(std::tuple(p->m_strMessageText, p->m_i64PocketCoins, p->m_fMessageTime,
                             server().m_PlayerBuiltPads.Count() + server().m_ZorbinCubes.Count()),
                  std::tuple(c.message, c.coins, c.built ? 1.0f : 0.25f, built + (c.built ? 1 : 0)));
        server().ProperDestroy(p);
    }
}

TEST_F(Building, WhatIsBuiltAndWhereThePlayerGoes) {
    Server_Player* ann = Player("ann", 1000, 8, 0);
    server().Tick_Player_BuildBlock(ann);
    Server_Entity* block = server().m_PlayerBuiltPads.GetEntity(0);
    EXPECT_EQ(std::tuple(block->m_vPosition, block->m_vSize, block->m_vTextureScale),
              std::tuple(VUKVector(1000, 51, 0), VUKVector(100, 100, 100), VUKVector(128, 128, 128)));
    EXPECT_EQ(std::tuple(block->m_usTexture, block->m_uiStoredCoins, block->GetLabel(), block->m_pOwner),
              std::tuple(uint16_t(42), 300'000u, std::string("ann"), ann));
    EXPECT_EQ(std::tuple(ann->m_vPosition.y, ann->m_i64PropertyValue, ann->m_sShotCooldown),
              std::tuple(208.0f, int64_t(600'000), int16_t(10)));

    // A flat stone lies on the player's feet and clears a refusal still on show.
    Server_Player* bob = Player("bob", 2000, 8, 0);
    bob->m_strMessageText = "You cannot build here";
    bob->m_fMessageTime = 0.25f;
    server().Tick_Player_BuildStoneBlock(bob, 300, 30, 300, 5000, true);
    Server_Entity* flat = server().m_PlayerBuiltPads.GetEntity(1);
    EXPECT_EQ(std::tuple(flat->m_vPosition, flat->m_vSize, flat->m_usTexture, flat->GetEEA(kEEABounce),
                         flat->m_uiStoredCoins),
              std::tuple(VUKVector(2000, 16, 0), VUKVector(300, 30, 300), 40, 50u, 5000u));
    EXPECT_EQ(std::tuple(bob->m_vPosition.y, bob->m_fMessageTime, bob->m_i64PocketCoins),
              std::tuple(188.0f, 0.0f, int64_t(995'000)));

    // An IRS cube is a Zorbin cube with its own texture.
    Server_Player* cy = Player("cy", -9000, 8, 0);
    server().Tick_Player_BuildIRS(cy);
    Server_Entity* irs = server().m_ZorbinCubes.GetEntity(0);
    EXPECT_EQ(irs->m_vPosition, VUKVector(-9000, 151, 0));
    EXPECT_EQ(std::tuple(irs->m_usTexture, irs->m_uiStoredCoins, irs->m_vTextureScale.x, cy->m_vPosition.y),
              std::tuple(73, 300'000u, 64.0f, 458.0f));
}

TEST_F(Building, SilentChecksAndTheRepeatCounter) {
    Server_Player* ann = Player("ann", 5000, 8, 0);
    // Not standing anywhere, halted (a key press; only a menu request passes), or cooling down:
    // nothing said, nothing built.
    for (auto setup : std::initializer_list<std::function<void()>>{[&] { ann->SetFlag(kPlayerOnGroundPlane, false); },
                                                                   [&] { ann->SetFlag(kPlayerHalted, true); },
                                                                   [&] { ann->m_sShotCooldown = 1; }}) {
        setup();
        server().Tick_Player_BuildBlock(ann);
        EXPECT_EQ(ann->m_strMessageText, "");
        ann->SetFlag(kPlayerOnGroundPlane, true);
        ann->SetFlag(kPlayerHalted, false);
        ann->m_sShotCooldown = 0;
    }
    EXPECT_EQ(server().m_PlayerBuiltPads.Count(), 0u);

    // One key press is tried on six ticks: a cooldown of 5 runs out in time, one of 6 does not.
    for (int cooldown : {6, 5}) {
        ann->m_sShotCooldown = int16_t(cooldown);
        ann->SetKey(kKeyBuildBuildingBlock, true);
        for (int tick = 0; tick < 8; ++tick) server().Tick_Players();
        EXPECT_EQ(server().m_PlayerBuiltPads.Count(), cooldown == 6 ? 0u : 1u) << cooldown;
        EXPECT_EQ(ann->m_ucBuildRepeat[kRepeatBuildingBlock], 0);
    }
}

TEST_F(Building, Palace) {
    Server_Player* ann = Player("ann", 40'000, 8, 0, 30'000'000);
    const std::pair<std::function<void()>, const char*> refusals[] = {
        {[&] { ann->m_i64PocketCoins = 29'999'999; },
         "CANNOT BUILD PALACE: You need 30,000,000 coins to build a Palace."},
        {[&] { ann->m_uiPalaceCubeCount = 1; }, "CANNOT BUILD PALACE: You already have a Palace."},
        {[&] { ann->m_vPosition.y = 16.5f; },
         "CANNOT BUILD PALACE: You need to be on the LOWEST ground in order to build a Palace."},
        {[&] { ann->m_vPosition.Set(29'999, 8, -29'999); },
         "CANNOT BUILD PALACE: You are less than 30 kilounits away from the start point.  Move farther out and then "
         "try to build the Palace again."},
        {[&] { ann->m_vPosition.Set(40'000, 8, 80'001); },
         "CANNOT BUILD PALACE: You are more than 80 kilounits away from the start point.  Move such that your first "
         "and third location numbers are less than 80 and more than -80, and then try to build the Palace again."},
        {[&] { Block(nullptr, 44'000, 5'000, 4'000, 1); },
         "CANNOT BUILD PALACE: There is an object getting in the way of Palace construction.  Move to a place where "
         "there are no nearby objects and then try to build the Palace again."},
    };
    for (const auto& [setup, text] : refusals) {
        setup();
        server().Tick_Player_BuildPalace(ann);
        EXPECT_EQ(ann->m_strMessageText, text);
        ann->m_i64PocketCoins = 30'000'000;
        ann->m_uiPalaceCubeCount = 0;
        ann->m_vPosition.Set(40'000, 8, 0);
    }
    EXPECT_EQ(server().m_PalaceCubes.Count(), 0u);

    ann->m_vPosition.Set(-50'000, 16, 50'000);
    server().Tick_Player_BuildPalace(ann);
    // Floor 100, roof 100, two sides 2 x 16 x 7, back 10 x 2 x 7, front 8 x 2 x 7, above the door
    // 2 x 2 x 4, the sill 2 x 2; and the bouncy pad.
    EXPECT_EQ(std::tuple(ann->m_uiPalaceCubeCount, server().m_PalaceCubes.Count()), std::tuple(920u, 921u));
    EXPECT_EQ(std::tuple(ann->m_i64PocketCoins, ann->m_vPosition.y, ann->m_strMessageText),
              std::tuple(int64_t(0), 3008.0f, std::string("You have successfully built your Palace!  Have fun!")));
    Server_Entity* pad = server().m_PalaceCubes.GetEntity(920);
    EXPECT_EQ(pad->m_vPosition, VUKVector(-50'300, 5, 45'200));
    EXPECT_EQ(std::tuple(pad->m_usTexture, pad->GetEEA(kEEABounce), pad->m_vSize.x), std::tuple(64, 150u, 1200.0f));
    std::vector<float> sill; // the heights of the cubes with the sill's texture
    for (uint32_t i = 0; i < 920; ++i)
        if (const Server_Entity* c = server().m_PalaceCubes.GetEntity(i); c->m_usTexture == 63)
            sill.push_back(c->m_vPosition.y);
    EXPECT_EQ(sill, std::vector<float>(4, 300.0f));
}

TEST_F(Building, AHaltedPlayerBuildsFromTheMenuOnlyAndNeverStones) {
    Server_Player* ann = Player("ann", 5000, 8, 0);
    ann->SetFlag(kPlayerHalted, true);
    ann->SetKey(kKeyBuildBuildingBlock, true);
    ann->SetFlag(kPlayerMenuBuildStone, true);
    server().Tick_Players();
    EXPECT_EQ(server().m_PlayerBuiltPads.Count(), 0u);
    ann->m_ucBuildRepeat[kRepeatBuildingBlock] = ann->m_ucBuildRepeat[kRepeatStoneBlock] = 0;
    ann->SetFlag(kPlayerMenuBuildBlock, true);
    server().Tick_Players();
    ASSERT_EQ(server().m_PlayerBuiltPads.Count(), 1u);
    EXPECT_EQ(server().m_PlayerBuiltPads.GetEntity(0)->m_usTexture, 42);
    EXPECT_EQ(ann->m_ucMenuRequestMemory & 1, 0); // used up by the build
}
