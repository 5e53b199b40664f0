// The coin economy: tag pads pay every second, BuildingBlocks every minute, the MEAN TAX WARRIOR
// takes his share every hour, and goal pads pay, sell Solexis, warp and hand out powerups.
#include <cmath>
#include <cstdio>
#include <string>

#include "core/Server.h"
#include "game/Game.h"
#include "game/GameActions.h"
#include "game/GameConstants.h"
#include "world/Server_EntityKinds.h"

namespace {

// The tax cannot touch property: owners of this much are left alone, and only players worth no
// more than this get the BuildingBlock dividend.
constexpr int64_t kTaxSparedProperty = 100'000'000;
constexpr int64_t kDividendWorthLimit = 100'000'000;
constexpr int64_t kSolexisPrice = 10'000;
constexpr float kSolexisBatch = 10.0f;
constexpr const char* kSolexisName = "Solexis";

// Single-precision rates by rank (index 0: any rank outside 1 to 9). Most lie just below their
// percentage, which the tax keeps: 100 coins pay 2 at 3 %.
constexpr float kTaxRates[] = {0.01f, 0.10f, 0.09f, 0.08f, 0.07f, 0.06f, 0.05f, 0.04f, 0.03f, 0.02f};

std::string Format(const char* format, auto... args) {
    char text[512];
    std::snprintf(text, sizeof text, format, args...);
    return text;
}

bool IsTaxRanked(uint32_t rank) { return rank >= 1 && rank <= 9; }

// What one BuildingBlock's worth of property pays a minute at this rank.
int64_t DividendFactor(uint32_t rank) {
    if (rank <= 1) return 0;
    if (rank <= 9) return int64_t(rank) * rank * 10;
    return 1'000;
}

// The types of powerup cube: the gift, or the retirement notice of an old one.
struct PowerupCubeType {
    void (Server_Player::*m_Give)();
    const char* m_szRetired;
};

constexpr const char* kRetiredWings =
    "As of October 18, 2003, you possess the WINGS OF SMILEY EAGLE all the time (even though it doesn't say so in the "
    "powerup list), meaning that you can fly all the time (by pressing the PLUS key to toggle flying).  The WINGS OF "
    "SMILEY BIRD is therefore retired.";

const PowerupCubeType kPowerupCubeTypes[] = {
    {nullptr, nullptr}, // 0: a warp, handled apart
    {&Server_Player::TryAddPowerup_TestJumpHigh, nullptr},
    {nullptr, "As of October 12, 2003, you have three Gloves of Quillhob ALL THE TIME (even though it doesn't say so "
              "in your powerup list)."},
    {&Server_Player::TryAddPowerup_SpiritOfZorbin, nullptr},
    {nullptr, "As of October 18, 2003, you can move at Hyper Play speeds without this powerup.  This powerup is "
              "therefore retired."},
    {nullptr, kRetiredWings},
    {&Server_Player::TryAddPowerup_RockOfSmileyMoon, nullptr},
    {&Server_Player::TryAddPowerup_TriFire, nullptr},
    {nullptr, "Spirit of Talvy has been removed from the game.  Sorry."},
    {nullptr, kRetiredWings},
    {&Server_Player::TryAddPowerup_GlovesOfVextor, nullptr},
    {nullptr, "The Penetrating Fire Powerup is now on you all the time, even though it doesn't say so in your powerup "
              "list.  So collecting this powerup is no longer necessary."},
    {&Server_Player::TryAddPowerup_DriveTheTalvy, nullptr},
    {&Server_Player::TryAddPowerup_SpiritOfCookie, nullptr},
    {&Server_Player::TryAddPowerup_RemovePowerups, nullptr},
    {&Server_Player::TryAddPowerup_GiantFireBlocks, nullptr},
    {nullptr, nullptr}, // 16 and 17 are only sold
    {nullptr, nullptr},
    {&Server_Player::TryAddPowerup_StoneBlockDestroyer, nullptr},
    {&Server_Player::TryAddPowerup_BeerOfSmiley, nullptr},
};
constexpr int kPowerupCubeTypeCount = int(sizeof kPowerupCubeTypes / sizeof kPowerupCubeTypes[0]);

} // namespace

// ---- periodic incomes and the tax ---------------------------------------------------------------

void Game::DoTagPadRewards() {
    for (uint32_t i = 0; i < m_TagPads.Count(); ++i) {
        Server_Entity* pad = m_TagPads.GetEntity(i);
        if (uint32_t left = pad->GetEEA(kEEATagLockLeft)) pad->SetEEA(kEEATagLockLeft, left - 1);
        Server_Player* owner = pad->m_pTagHolder;
        if (!owner || owner->m_uiRank == 1) continue;
        const int64_t payout = pad->GetEEA(kEEATagPayout);
        owner->m_i64PocketCoins += owner->m_uiRank > 10 ? 2 * payout : payout;
        owner->KeepCoinsAtLimit();
        m_pServer->InformClients_EntityUpdated(owner);
    }
}

void Game::RewardPlayersWhoHaveBBlocks() {
    for (uint32_t i = 0; i < m_Players.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_Players.GetEntity(i));
        if (player->NetWorth() > kDividendWorthLimit) continue;
        const int64_t reward =
            player->m_i64PropertyValue / kBuildingBlockPropertyValue * DividendFactor(player->m_uiRank);
        if (reward == 0) continue;
        player->m_i64PocketCoins += reward;
        player->KeepCoinsAtLimit();
        m_pServer->InformClients_EntityUpdated(player);
    }
}

void Game::DoMeanTaxWarrior() {
    for (uint32_t i = 0; i < m_Players.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_Players.GetEntity(i));
        const bool online = player->IsLoggedIn();
        player->SetFlag(kPlayerPyramidRewardUsed, false);
        if (!online) {
            uint32_t& ticks = player->m_uiTicksSinceLastLogin;
            ticks = ticks > UINT32_MAX - uint32_t(kGameTicksPerHour) ? UINT32_MAX : ticks + kGameTicksPerHour;
        }
        if (player->m_i64PropertyValue >= kTaxSparedProperty) {
            if (online)
                SetPlayerMessage(player,
                                 "The MEAN TAX WARRIOR has spared you because your property value is too high for "
                                 "you to build stuff.",
                                 kMessageTimeLong);
            m_pServer->InformClients_EntityUpdated(player);
            continue;
        }
        const uint32_t rank = player->m_uiRank;
        const float rate = kTaxRates[IsTaxRanked(rank) ? rank : 0];
        // The product in extended precision, truncated; nothing is taken from an empty or
        // overdrawn pocket.
        const int64_t coins = player->m_i64PocketCoins;
        const uint32_t tax = coins > 0 ? uint32_t(uint64_t((long double)coins * (long double)rate)) : 0;
        player->m_i64PocketCoins -= tax;
        if (online) {
            std::string text =
                IsTaxRanked(rank)
                    ? Format("Since you are ranked #%u, the MEAN TAX WARRIOR is taking %.0f%% of your coins this hour "
                             "instead of 1%%.  He has just taken %u of your coins!  ",
                             rank, double(rate * 100.0f), tax)
                    : Format("It's tax time!  The MEAN TAX WARRIOR takes 1%% of all players' coins each hour.  He has "
                             "just taken %u of your coins!  ",
                             tax);
            text.append("Remember to build BuildingBlocks to increase PROPERTY VALUE, because the tax doesn't affect "
                        "that!  (NET WORTH = COINS + PROPERTY VALUE)");
            SetPlayerMessage(player, text, kMessageTimeLong);
        }
        m_pServer->InformClients_EntityUpdated(player);
    }
}

// ---- pads ---------------------------------------------------------------------------------------

bool Server_Player::HandleTagPadLand(Server_Entity* pad) {
    if (pad->m_pTagHolder == this) return false;
    const uint32_t lockTime = pad->GetEEA(kEEATagLockTime);
    const uint32_t left = pad->GetEEA(kEEATagLockLeft);
    if (left == 0) {
        pad->m_pTagHolder = this;
        std::string label = "T: ";
        label.append(m_strName);
        pad->SetLabel(label);
        pad->SetEEA(kEEATagLockLeft, lockTime);
        SetPlayerMessage(this,
                         Format("You have tagged a TagPad!  For each TagPad that is last tagged by you, you will earn "
                                "%u coins per second!  This TagPad can't be tagged away from you by opponents for %u "
                                "minutes!  (Players in 1st place ARE DENIED TagPad rewards)(You get DOUBLE coins if "
                                "you're ranked 10 or lower!)",
                                pad->GetEEA(kEEATagPayout), lockTime / 60),
                         kMessageTimeShort);
    } else {
        const uint32_t minutes = left / 60 > 1 ? left / 60 : 1;
        SetPlayerMessage(this,
                         Format("You cannot tag this TagPad for the next %u minutes.  After that, then you can tag "
                                "this TagPad, and then other players won't be able to tag it away from you for %u "
                                "minutes!",
                                minutes, lockTime / 60),
                         kMessageTimeShort);
    }
    return true;
}

void Server_Player::HandleGoalPadLand(Server_Entity* pad) {
    const GoalPadStuff* goal = pad->m_pGoalPad;
    if (!goal) return;
    if (goal->m_sType != 0) {
        if (goal->m_sType < 0 || goal->m_sType >= kPowerupCubeTypeCount) return;
        const PowerupCubeType& type = kPowerupCubeTypes[goal->m_sType];
        if (type.m_Give) (this->*type.m_Give)();
        if (type.m_szRetired) SetPlayerMessage(this, type.m_szRetired, kMessageTimeShort);
        return;
    }

    const int32_t solexis = goal->m_iSolexis;
    if (solexis < 0) {
        const long long price = -(long long)solexis;
        if (GetPowerupTime(kPowerupSolexis) < float(price)) {
            SetPlayerMessage(this,
                             Format("You cannot use this warp because you need %lld Solexis. Get some from a GoalPad "
                                    "with Solexis or use the Special Menu to buy some.",
                                    price),
                             kMessageTimeShort);
            return;
        }
    }
    if (solexis != 0) {
        if (AlreadyHavePowerup(kPowerupSolexis))
            AppendMoreTimeToPowerup(kPowerupSolexis, float(solexis));
        else
            TryAddPowerup(kPowerupSolexis, kSolexisName, float(solexis));
    }

    m_strModalText = goal->m_strMessage;
    SetFlag(kPlayerMessageWindow, true);
    SetFlag(kPlayerHalted, true);
    SetFlag(kPlayerNoReposition, false);

    m_i64PocketCoins += goal->m_iCoinReward;
    if (goal->m_iCoinReward < 0 && m_i64PocketCoins < 0) m_i64PocketCoins = 0;
    KeepCoinsAtLimit();

    m_vRespawnPoint = goal->m_vRespawnPoint;
}

void Server_Player::TryBuySolexis() {
    if (m_i64PocketCoins < kSolexisPrice) {
        SetPlayerMessage(this, "You need 10,000 pocket coins to buy 10 units of  Solexis.", kMessageTimeShort);
        return;
    }
    if (AlreadyHavePowerup(kPowerupSolexis)) {
        AppendMoreTimeToPowerup(kPowerupSolexis, kSolexisBatch);
        SetPlayerMessage(this, "You have bought 10 more units of Solexis with 10,000 of your pocket coins.",
                         kMessageTimeShort);
    } else if (TryAddPowerup(kPowerupSolexis, kSolexisName, kSolexisBatch)) {
        SetPlayerMessage(this, "For 10,000 of your pocket coins, you have bought 10 units of Solexis.",
                         kMessageTimeShort);
    } else {
        SetPlayerMessage(this,
                         "There's no room in your powerup list for Solexis. Your powerup list can only hold 10 "
                         "powerups.  Sorry.",
                         kMessageTimeShort);
        return;
    }
    m_i64PocketCoins -= kSolexisPrice;
}
