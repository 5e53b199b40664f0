// The powerup list: what cubes, surfaces and the menu put in it, how it runs down, and dying,
// ENTER and the reset key.

#include "unit/game/GameFixture.h"

namespace {

class Powerups : public GameTest {
protected:
    Server_Entity* Cube(int16_t type) {
        Server_Entity* pad = Block();
        pad->GetOrCreateGoalPad()->m_sType = type;
        return pad;
    }
    static void Fill(Server_Player* p) {
        for (int i = 0; i < kPlayerEffectSlots; ++i) p->TryAddPowerup(kPowerupJumpHigh, "Jump High Effect", 10.0f);
    }
    static int Held(const Server_Player* p) {
        int n = 0;
        for (float t : p->m_fEffectTimes) n += t > 0.0f || t == -100.0f;
        return n;
    }
    static void Ticks(Server_Player* p, int n) {
        for (int i = 0; i < n; ++i) p->ApplyTempEffects();
    }
};

const char* const kTriFireText = "You get the Tri-Fire Powerup!  If you want to remove this powerup, replace it with "
                                 "the Giant FireBlocks powerup or use a Remove Powerups powerdown.  You CANNOT have "
                                 "this and Giant FireBlocks at the same time.";

} // namespace

TEST_F(Powerups, TriFireSwapsGiantFireBlocksThenRefreshesSilentlyAndAFullListTakesNoCube) {
    Server_Player* p = Player("P", 0, 8, 0);
    p->HandleGoalPadLand(Cube(15));
    p->HandleGoalPadLand(Cube(7));
    EXPECT_EQ(std::tuple(p->AlreadyHavePowerup(15), p->AlreadyHavePowerup(7), Held(p), p->m_strMessageText),
              std::tuple(false, true, 1, std::string(kTriFireText)));
    EXPECT_FLOAT_EQ(p->m_fMessageTime, 1.0f);
    p->m_strMessageText.clear();
    p->HandleGoalPadLand(Cube(7));
    EXPECT_EQ(std::tuple(p->GetPowerupTime(7), Held(p), p->m_strMessageText), std::tuple(-100.0f, 1, std::string()));
    Ticks(p, 1);
    EXPECT_EQ(std::tuple(p->GetFlag(kPlayerTriFire), p->GetFlag(kPlayerGiantFireBlocks)), std::tuple(true, false));
    // With ten active slots a cube gives nothing and says nothing.
    Server_Player* full = Player("Q", 0, 8, 0);
    Fill(full);
    full->HandleGoalPadLand(Cube(3));
    EXPECT_EQ(std::tuple(full->AlreadyHavePowerup(3), full->m_strMessageText), std::tuple(false, std::string()));
}

// The menu's purchases: too poor, new, more, and a full list, which is charged nothing (the Shield
// is refused without a word).
TEST_F(Powerups, Purchases) {
    enum Held { kNothing, kSome, kFull };
    struct Case {
        void (Server_Player::*buy)();
        unsigned id;
        int64_t coins;
        Held held;
        int64_t after;
        float time;
        const char* text;
    };
    auto shield = &Server_Player::TryBuyPowerup_ShieldOfTalvy;
    auto iceCream = &Server_Player::TryBuyPowerup_SpiritOfIceCream;
    auto solexis = &Server_Player::TryBuySolexis;
    const Case cases[] = {
        {shield, 17, 99'999, kNothing, 99'999, 0.0f,
         "Shield of Talvy costs 100,000 pocket coins, which you don't have.  Sorry."},
        {shield, 17, 100'000, kNothing, 0, 30.0f,
         "For 100,000 of your pocket coins, you have bought 30 time units of Shield of Talvy.  If you get hit by a "
         "FireBlock, you will take only half the damage."},
        {shield, 17, 150'000, kSome, 50'000, 35.0f,
         "You have bought more Shield of Talvy with 100,000 of your pocket coins."},
        {shield, 17, 500'000, kFull, 500'000, 0.0f, ""},
        {iceCream, 16, 249'999, kNothing, 249'999, 0.0f,
         "Spirit of Ice Cream costs 250,000 pocket coins, which you don't have.  Sorry."},
        {iceCream, 16, 250'000, kNothing, 0, 30.0f,
         "For 250,000 of your pocket coins, you have bought 30 time units of Spirit of Ice Cream.  This powerup "
         "gives you 90 HP per second up to a maximum of 20,000 HP!"},
        {iceCream, 16, 2'000'000'000, kSome, 1'999'750'000, 35.0f,
         "You have bought more Spirit of Ice Cream with 250,000 of your pocket coins."},
        {iceCream, 16, 500'000, kFull, 500'000, 0.0f,
         "There's no room in your powerup list for Spirit of Ice Cream.  Your powerup list can only hold 10 "
         "powerups.  Sorry."},
        {solexis, 64, 9'999, kNothing, 9'999, 0.0f, "You need 10,000 pocket coins to buy 10 units of  Solexis."},
        {solexis, 64, 10'000, kNothing, 0, 10.0f,
         "For 10,000 of your pocket coins, you have bought 10 units of Solexis."},
        {solexis, 64, 25'000, kSome, 15'000, 15.0f,
         "You have bought 10 more units of Solexis with 10,000 of your pocket coins."},
        {solexis, 64, 25'000, kFull, 25'000, 0.0f,
         "There's no room in your powerup list for Solexis. Your powerup list can only hold 10 powerups.  Sorry."},
    };
    for (const Case& c : cases) {
        Server_Player p;
        p.m_i64PocketCoins = c.coins;
        if (c.held == kSome) p.TryAddPowerup(c.id, "held", 5.0f);
        if (c.held == kFull) Fill(&p);
        (p.*c.buy)();
        EXPECT_EQ(std::tuple(p.m_i64PocketCoins, p.GetPowerupTime(c.id), p.m_strMessageText),
                  std::tuple(c.after, c.time, std::string(c.text)))
            << c.id << " " << c.coins;
        EXPECT_FLOAT_EQ(p.m_fMessageTime, c.text[0] ? 0.25f : 0.0f);
    }
    // The Ice Cream and the Cookie push each other out.
    Server_Player p;
    p.m_i64PocketCoins = 250'000;
    p.TryAddPowerup_SpiritOfCookie();
    p.TryBuyPowerup_SpiritOfIceCream();
    EXPECT_EQ(std::tuple(p.AlreadyHavePowerup(13), p.AlreadyHavePowerup(16)), std::tuple(false, true));
    p.TryAddPowerup_SpiritOfCookie();
    EXPECT_EQ(std::tuple(p.AlreadyHavePowerup(13), p.AlreadyHavePowerup(16)), std::tuple(true, false));
}

// Ten time units last 18,181 ticks; the surfaces' powerups last for ever.
TEST_F(Powerups, TimedAndPermanentSlots) {
    Server_Player p;
    p.TryAddPowerup_TestJumpHigh();
    p.HandleJail();
    p.HandleFlyingDisallow();
    p.TryAddPowerup(kPowerupOldHyperPlay, "Old Hyper Play", 5.0f);
    p.TryAddPowerup(99, "Unknown", 5.0f);
    Ticks(&p, 1);
    EXPECT_EQ(std::tuple(p.AlreadyHavePowerup(kPowerupOldHyperPlay), p.AlreadyHavePowerup(99), p.m_fJumpBonus,
                         p.GetMoveFlag(kMoveEagleWings), p.GetFlag(kPlayerSpeedBoost),
                         p.GetFlag(kPlayerPenetratingFire)),
              std::tuple(false, true, 5.0f, false, true, true));
    Ticks(&p, 17'999);
    EXPECT_EQ(p.m_fJumpBonus, 5.0f);
    Ticks(&p, 400);
    EXPECT_EQ(std::tuple(p.m_fJumpBonus, p.GetPowerupTime(kPowerupJailed), p.GetPowerupTime(kPowerupNoFlyingAllowed)),
              std::tuple(0.0f, -100.0f, -100.0f));
}

TEST_F(Powerups, WhatEndsNoFlyingAllowed) {
    struct Case {
        const char* name;
        void (Server_Player::*end)();
        const char* text;
    };
    const Case cases[] = {
        {"fly-again surface", &Server_Player::HandleFlyingReallow, "You are allowed to fly again."},
        {"5 key", &Server_Player::ResetPosition, "You are allowed to fly again."},
        {"Remove Powerups cube", &Server_Player::TryAddPowerup_RemovePowerups,
         "You have removed all your powerups.  You'll have to go back to the powerup cubes to get your powerups "
         "back."},
    };
    for (const Case& c : cases) {
        Server_Player p;
        p.HandleFlyingDisallow();
        EXPECT_EQ(p.m_strMessageText,
                  "You have stepped on a NO FLYING ALLOWED surface.  You will NOT be able to fly again until you touch "
                  "the REMOVE POWERUPS cube, or if you land on a surface that lets you fly again, or if you reset "
                  "your player to the start point with the 5 key.");
        (p.*c.end)();
        Ticks(&p, 1);
        EXPECT_EQ(std::tuple(p.AlreadyHavePowerup(kPowerupNoFlyingAllowed), p.GetMoveFlag(kMoveEagleWings),
                             p.m_strMessageText),
                  std::tuple(false, true, std::string(c.text)))
            << c.name;
    }
    // Jail ends only on its release surface, which says so only to a prisoner.
    Server_Player p;
    p.HandleJailRelease();
    EXPECT_EQ(p.m_strMessageText, "");
    p.HandleJail();
    p.HandleJailRelease();
    EXPECT_EQ(std::tuple(p.AlreadyHavePowerup(kPowerupJailed), p.m_strMessageText),
              std::tuple(false, std::string("You are free to leave jail!")));
}

// Retired cubes only explain themselves; unknown types, and table entries beyond the type range,
// give nothing.
TEST_F(Powerups, RetiredAndUnknownCubes) {
    Server_Player* p = Player("P", 0, 8, 0);
    p->HandleGoalPadLand(Cube(8));
    EXPECT_EQ(std::tuple(Held(p), p->m_strMessageText),
              std::tuple(0, std::string("Spirit of Talvy has been removed from the game.  Sorry.")));
    p->m_strMessageText.clear();
    server().m_PowerupTablePositions.Append(new VUKVector(5000.0f, 8.0f, 0.0f));
    server().m_PowerupTableTypes.push_back(65'537); // would wrap onto type 1
    server().MakeAllPowerupsSpawn();
    Server_Entity* spawned = server().m_NormalPads.GetEntity(server().m_NormalPads.Count() - 1);
    ASSERT_EQ(spawned->m_vPosition.x, 5000.0f);
    EXPECT_EQ(spawned->m_pLabel, nullptr);
    for (Server_Entity* pad : {Cube(16), Cube(20), Cube(-1), spawned}) p->HandleGoalPadLand(pad);
    EXPECT_EQ(std::tuple(Held(p), p->m_strMessageText), std::tuple(0, std::string()));
}

// Dying puts the player at its start point at once; ENTER then only lifts the halt.
TEST_F(Powerups, DeathAndEnter) {
    Server_Player* p = Player("P", 500, 8, 500);
    p->m_vStartPoint.Set(0.0f, 8.0f, 0.0f);
    p->m_vRespawnPoint.Set(900.0f, 8.0f, 900.0f);
    p->SetYaw(1.0f);
    p->SetFlag(kPlayerClientSideMovement, true);
    p->SetDead();
    EXPECT_EQ(std::tuple(p->m_vPosition.x, p->m_vPosition.z, p->m_uiEnergy, p->m_pRotation == nullptr,
                         p->GetFlag(kPlayerHalted), p->IsMessageWindowOpen(), p->GetFlag(kPlayerClientSideMovement),
                         p->m_ucCSMHoldOff),
              std::tuple(0.0f, 0.0f, 5'000u, true, true, false, false, uint8_t(5)));
    EXPECT_EQ(p->m_strModalText, "You have died.\n\nDon't worry.  The only penalty for dieing is going back to your "
                                 "start point.\n\nPress ENTER to continue.");
    p->HandleEnterKey();
    EXPECT_EQ(std::tuple(p->m_vPosition.x, p->m_vPosition.z, p->GetFlag(kPlayerHalted)), std::tuple(0.0f, 0.0f, false));
}
