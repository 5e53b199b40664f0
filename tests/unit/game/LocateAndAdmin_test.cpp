// The Smiley Warrior Spirits' answers and prices, and the admin editor.

#include "unit/game/GameFixture.h"

class Locate;

struct LocateCase {
    const char* name;
    void (Game::*query)(Server_Player*);
    int64_t coins;
    std::function<void(Locate&, Server_Player*)> world;
    const char* chat;  // the answer in the chat line, or null
    const char* modal; // the answer in the message window, or null
    int64_t coinsAfter;
};

class Locate : public GameTest, public ::testing::WithParamInterface<LocateCase> {
public:
    using GameTest::Block;
    using GameTest::Player;
};

namespace {

// The asker stands at (400, 200, -200): its reach from the origin is 244.95. A block at
// (1000, 50, 0) is 255.7 off by that measure, one at (3000, 50, 4000) 2255.2.
void Enemies(Locate& l, Server_Player*) {
    Server_Player* bob = l.Player("bob", 9000, 8, 0);
    bob->m_uiRank = 3;
    l.Block(bob, 3000, 50, 4000);
    l.Block(bob, 1000, 50, 0);
    l.Block(bob, 0, 50, 1000); // as near as the one before: the first found wins
    Server_Player* cy = l.Player("cy", 9000, 8, 0);
    cy->m_uiRank = 2;
    l.Block(cy, -5000, 50, 7000);
}
void Own(Locate& l, Server_Player* ann) {
    l.Block(ann, -2500, 1499.6f, 999);
    Server_Player* dan = l.Player("dan", 0, 8, 0, 20'000'000);
    dan->m_strTeamName = "red";
    l.Block(dan, 500, 50, 0); // a team-mate's block is no enemy's, nor is a team-mate rich
}
void Rich(Locate& l, Server_Player*) {
    l.Player("bob", 7000, 8, -7000, 11'000'000);
    l.Player("dan", 500, 8, 0, 20'000'000)->m_strTeamName = "red";
    l.Player("eve", 600, 8, 0, 10'999'999);
}

const LocateCase kLocateCases[] = {
    {"NearestEnemy", &Game::Tick_Player_LocateNearestEnemyBuildingBlock, 10'000, Enemies,
     "The nearest enemy BuildingBlock is located at location coordinate (1, 0, 0).", nullptr, 0},
    {"NearestEnemyTooPoor", &Game::Tick_Player_LocateNearestEnemyBuildingBlock, 9'999, Enemies, nullptr,
     "You do not have enough coins to ask the Smiley Warrior Spirits where the nearest enemy BuildingBlock can be "
     "found.\n\nPress ENTER to continue.",
     9'999},
    {"NoEnemy", &Game::Tick_Player_LocateNearestEnemyBuildingBlock, 10'000, Own, nullptr,
     "The Smiley Warrior Spirits have determined that no enemy BuildingBlocks exist in this world.  You do not "
     "have to pay 10,000 coins.\n\nPress ENTER to continue.",
     10'000},
    {"NumberOne", &Game::Tick_Player_LocateNumberOneEnemyBuildingBlock, 60'000, Enemies,
     "An enemy BuildingBlock from a player ranked number 2 is located at location coordinate (-5, 0, 7).", nullptr,
     10'000},
    {"NumberOneNothingAndTooPoor", &Game::Tick_Player_LocateNumberOneEnemyBuildingBlock, 49'999, Own, nullptr,
     "You do not have enough coins to ask the Smiley Warrior Spirits where an enemy BuildingBlock from the highest "
     "ranked enemy player can be found.\n\nPress ENTER to continue.",
     49'999},
    {"Own", &Game::Tick_Player_LocateNearestOwnBuildingBlock, 0, Own,
     "Your nearest BuildingBlock is located at location coordinate (-2, 1, 0).", nullptr, 0},
    {"OwnNone", &Game::Tick_Player_LocateNearestOwnBuildingBlock, 0, Enemies, nullptr,
     "The Smiley Warrior Spirits have determined that you own no BuildingBlocks in this world.", 0},
    {"Millionaire", &Game::Tick_Player_LocateNearestMillionairePlayer, 600'000, Rich,
     "The nearest enemy 11-Millionaire Player is located at location coordinate (7, 0, -7).", nullptr, 100'000},
    {"NoMillionaire", &Game::Tick_Player_LocateNearestMillionairePlayer, 600'000, Own, nullptr,
     "The Smiley Warrior Spirits have determined that no enemy 11-Millionaire Players exist in this world.  You "
     "do not have to pay 500,000 coins.\n\nPress ENTER to continue.",
     600'000},
};

} // namespace

TEST_P(Locate, AnswersAndCosts) {
    const LocateCase& c = GetParam();
    Peer peer = LogIn("ann");
    Server_Player* ann = peer.client->m_pPlayer;
    ann->m_strTeamName = "red";
    ann->m_i64PocketCoins = c.coins;
    c.world(*this, ann);
    (server().*c.query)(ann);
    Bytes said;
    for (const Bytes& m : peer.TakeAll()) said = said + m;
    if (c.chat)
        EXPECT_TRUE(Contains(said, records::Record(49, {"SMILEY WARRIORS", c.chat})));
    else
        EXPECT_FALSE(Contains(said, Text("SMILEY WARRIORS")));
    EXPECT_EQ(std::tuple(ann->m_strModalText, ann->GetFlag(kPlayerHalted), ann->m_i64PocketCoins),
              std::tuple(c.modal ? c.modal : "", c.modal != nullptr, c.coinsAfter));
}

INSTANTIATE_TEST_SUITE_P(Queries, Locate, ::testing::ValuesIn(kLocateCases),
                         [](const ::testing::TestParamInfo<LocateCase>& info) { return info.param.name; });

using AdminEditor = GameTest;

TEST_F(AdminEditor, SelectAddEditAndDelete) {
    Server_Player* admin = Player("boss", 0, 8, 0);
    admin->m_usAdminLevel = 100;
    admin->SetFlag(kPlayerAdminMode, true);
    Server_Entity* pad = Block(nullptr, 0, 50, 0, 75);
    auto press = [&](uint32_t keys, int mode = -1) {
        if (mode >= 0) admin->m_ucEditMode = uint8_t(mode);
        admin->m_uiKeyFlags = keys;
        server().Tick_Player_Admin(admin);
        admin->m_uiKeyFlags = 0;
    };

    press(kKeyFire);
    ASSERT_EQ(admin->m_pAdminSelection, pad);

    // Texture stepping in even modes: 75, 76, then round to 1; one above 76 starts again at 1.
    const std::pair<uint16_t, uint16_t> steps[] = {{75, 76}, {76, 1}, {0, 1}, {200, 2}};
    for (auto [from, to] : steps) {
        pad->m_usTexture = from;
        press(kKeyBuildBuildingBlock);
        EXPECT_EQ(pad->m_usTexture, to) << from;
    }
    // The StoneBlock key runs the edit modes round; in odd modes the step key flips the draw mode.
    press(kKeyBuildStoneBlock);
    EXPECT_EQ(admin->m_ucEditMode, 1);
    press(kKeyAdminStep);
    EXPECT_EQ(pad->GetTextureMode(), 1);
    press(kKeyAdminStep);
    EXPECT_EQ(pad->GetTextureMode(), 2);
    for (int i = 0; i < 5; ++i) press(kKeyBuildStoneBlock);
    EXPECT_EQ(admin->m_ucEditMode, 0);

    // The IRS key walks the step: 1, 2, ..., 64, then back to 0.1.
    admin->m_fAdminStep = 64.0f;
    press(kKeyBuildIRSCube);
    EXPECT_EQ(admin->m_fAdminStep, 0.1f);
    press(kKeyBuildIRSCube);
    EXPECT_EQ(admin->m_fAdminStep, 1.0f);

    // Mode 0 moves the admin, 1 the selection, 4 grows it, 5 shrinks it: the far face stays.
    admin->m_fAdminStep = 8.0f;
    press(kKeyUp);
    EXPECT_EQ(admin->m_vPosition.y, 16.0f);
    press(kKeyMove0, 1);
    EXPECT_EQ(pad->m_vPosition, VUKVector(0, 50, 8));
    press(kKeyMove2, 4);
    EXPECT_EQ(std::tuple(pad->m_vSize.x, pad->m_vPosition.x), std::tuple(108.0f, 4.0f)); // faces -50 and 58
    press(kKeyMove3, 5);
    EXPECT_EQ(std::tuple(pad->m_vSize.x, pad->m_vPosition.x), std::tuple(100.0f, 8.0f)); // faces -42 and 58
    // Mode 2 sizes it, but never below 4; the selection stays above the ground.
    admin->m_fAdminStep = 64.0f;
    press(kKeyDown, 2);
    press(kKeyDown);
    EXPECT_EQ(std::tuple(pad->m_vSize.y, pad->m_vPosition.y), std::tuple(4.0f, 50.0f));
    EXPECT_NE(pad->m_ucRuleFlags & kRuleQueuedForUpdate, 0);
    // A player-built block may not grow beyond what can still move.
    pad->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
    pad->m_vSize.Set(100, 100, 4990);
    admin->m_fAdminStep = 16.0f;
    press(kKeyMove0, 4);
    EXPECT_EQ(pad->m_vSize.z, 4990.0f);

    // With nothing selected the key adds a pad where the admin stands, and is used up.
    admin->m_pAdminSelection = nullptr;
    admin->m_vPosition.Set(3000, 8, 0);
    admin->m_ucEditMode = 0;
    admin->m_uiKeyFlags = kKeyBuildBuildingBlock;
    server().Tick_Player_Admin(admin);
    ASSERT_EQ(server().m_NormalPads.Count(), 2u);
    Server_Entity* added = server().m_NormalPads.GetEntity(1);
    EXPECT_EQ(std::tuple(added->m_vPosition, added->m_vSize, added->m_usTexture, added->GetTextureMode()),
              std::tuple(VUKVector(3000, 8, 0), VUKVector(32, 16, 32), 8, 2));
    EXPECT_EQ(admin->m_uiKeyFlags, 0u);
    // Deleting an owned BuildingBlock takes its worth off the owner and deselects it everywhere.
    Server_Player* bob = Player("bob", 9000, 8, 0);
    bob->m_i64PropertyValue = 600'000;
    Server_Entity* block = Block(bob, 3000, 40, 0);
    Server_Player* other = Player("sue", 9000, 8, 0);
    other->m_pAdminSelection = admin->m_pAdminSelection = block;
    press(kKeyAdminDeleteSelection);
    EXPECT_EQ(std::tuple(bob->m_i64PropertyValue, admin->m_pAdminSelection, other->m_pAdminSelection),
              std::tuple(0, nullptr, nullptr));
    EXPECT_TRUE(block->IsDestroyed() && (block->m_ucRuleFlags & kRuleQueuedForRemoval));
}
