// Powerups and the player effects they give: the ten-slot list, what the cubes, the menu and the
// surfaces add to it, and the player-state changes of dying, ENTER and the reset key.
#include <cmath>

#include "game/GameActions.h"
#include "game/GameConstants.h"
#include "world/Server_EntityKinds.h"

namespace {

// What one game tick takes off every timed slot (and off the message time).
constexpr float kTimePerTick = 0.00055f;
constexpr uint32_t kRestartEnergy = 5'000;
constexpr uint8_t kDeathHoldOff = 5;
constexpr uint8_t kEnterHoldOff = 10;
constexpr uint8_t kResetHoldOff = 4;
constexpr float kBoughtTime = 30.0f;
constexpr int64_t kIceCreamPrice = 250'000;
constexpr int64_t kShieldPrice = 100'000;

// A powerup that a cube or a surface gives, with its first-time message.
struct PowerupGift {
    PowerupId m_Id;
    const char* m_szName;
    float m_fTime;
    float m_fMessageTime;
    const char* m_szMessage;
    PowerupId m_Displaces; // freed first, since the two cannot be held together; 0: none
};

constexpr PowerupId kNone = PowerupId(0);

constexpr PowerupGift kJumpHigh{kPowerupJumpHigh,
                                "Jump High Effect",
                                10.0f,
                                0.25f,
                                "You have obtained a powerup that lets you jump higher for the next 10 time units.",
                                kNone};
constexpr PowerupGift kSpiritOfZorbin{kPowerupSpiritOfZorbin,
                                      "Spirit of Zorbin",
                                      3.0f,
                                      0.5f,
                                      "You get the Spirit of Zorbin powerup.  For the next three time units, you will "
                                      "be able to kill a TalvyCube with a single FireBlock.",
                                      kNone};
constexpr PowerupGift kRockOfSmileyMoon{
    kPowerupRockOfSmileyMoon,
    "Rock of Smiley Moon",
    5.0f,
    1.0f,
    "You get the Rock of Smiley Moon!  For the next five minutes, gravity is reduced!  If you are in the air, and you "
    "want gravity to be normal while you have this powerup, hold down the MINUS key.",
    kNone};
constexpr PowerupGift kTriFire{kPowerupTriFire,
                               "Tri-Fire",
                               kEffectPermanent,
                               1.0f,
                               "You get the Tri-Fire Powerup!  If you want to remove this powerup, replace it with the "
                               "Giant FireBlocks powerup or use a Remove Powerups powerdown.  You CANNOT have this and "
                               "Giant FireBlocks at the same time.",
                               kPowerupGiantFireBlocks};
constexpr PowerupGift kGlovesOfVextor{kPowerupGlovesOfVextor,
                                      "Gloves of Vextor",
                                      20.0f,
                                      0.5f,
                                      "You have obtained the GLOVES OF VEXTOR.  Every Talvy you defeat will now give "
                                      "you 10,000 coins instead of 2,000 coins for the next 20 time units.",
                                      kNone};
constexpr PowerupGift kDriveTheTalvy{
    kPowerupDriveTheTalvy,
    "Drive the Talvy",
    kEffectPermanent,
    1.0f,
    "You have obtained the Drive the Talvy Powerup.  Jump on top of a TalvyCube, and press the arrow keys to move the "
    "Talvy around.  You can even Jump the Talvy!  To get off the Talvy, hold the PLUS KEY and move around.  This "
    "powerup lasts forever until you remove it with the Remove Powerups powerdown.",
    kNone};
constexpr PowerupGift kSpiritOfCookie{
    kPowerupSpiritOfCookie,
    "Spirit of Cookie",
    kEffectPermanent,
    1.0f,
    "You have obtained the Spirit of Cookie Powerup.  You will regain 30 hit points per second; up to a maximum of "
    "9,999 HP.  This powerup lasts forever until you remove it with the Remove Powerups powerdown.",
    kPowerupSpiritOfIceCream};
constexpr PowerupGift kGiantFireBlocks{kPowerupGiantFireBlocks,
                                       "Giant FireBlocks",
                                       kEffectPermanent,
                                       1.0f,
                                       "You get the Giant FireBlocks Powerup!  If you want to remove this powerup, "
                                       "replace it with the Tri-Fire powerup or use a Remove Powerups powerdown.  You "
                                       "CANNOT have this and Tri-Fire at the same time.",
                                       kPowerupTriFire};
constexpr PowerupGift kStoneBlockDestroyer{
    kPowerupStoneBlockDestroyer,
    "StoneBlock Destroyer",
    0.2f,
    1.0f,
    "You have the StoneBlock Destroyer Powerup.  It lets you defeat a StoneBlock in one hit.  It lasts for ONLY 0.2 "
    "time units.  It is intended to be used to clear those annoying StoneBlocks from nearby areas.",
    kNone};
constexpr PowerupGift kColaOfSmiley{
    kPowerupColaOfSmiley, "Cola of Smiley", 10.0f, 0.25f, "You feel very hyper and jumpy...", kNone};
constexpr PowerupGift kNoFlyingAllowed{
    kPowerupNoFlyingAllowed,
    "No Flying Allowed",
    kEffectPermanent,
    0.5f,
    "You have stepped on a NO FLYING ALLOWED surface.  You will NOT be able to fly again until you touch the REMOVE "
    "POWERUPS cube, or if you land on a surface that lets you fly again, or if you reset your player to the start "
    "point with the 5 key.",
    kNone};
constexpr PowerupGift kJailed{kPowerupJailed,
                              "Jailed",
                              kEffectPermanent,
                              0.5f,
                              "You have been placed on a jail surface. During this time, you will be unable to return "
                              "to the start position!",
                              kNone};

// A powerup sold in the special menu for 30 time units.
struct PowerupSale {
    PowerupId m_Id;
    const char* m_szName;
    int64_t m_i64Price;
    PowerupId m_Displaces;
    const char* m_szTooPoor;
    const char* m_szMore;
    const char* m_szNew;
    const char* m_szNoRoom; // null: refused without a word
};

constexpr PowerupSale kIceCreamSale{
    kPowerupSpiritOfIceCream,
    "Spirit of Ice Cream",
    kIceCreamPrice,
    kPowerupSpiritOfCookie,
    "Spirit of Ice Cream costs 250,000 pocket coins, which you don't have.  Sorry.",
    "You have bought more Spirit of Ice Cream with 250,000 of your pocket coins.",
    "For 250,000 of your pocket coins, you have bought 30 time units of Spirit of Ice Cream.  This powerup gives you "
    "90 HP per second up to a maximum of 20,000 HP!",
    "There's no room in your powerup list for Spirit of Ice Cream.  Your powerup list can only hold 10 powerups.  "
    "Sorry."};
constexpr PowerupSale kShieldSale{
    kPowerupShieldOfTalvy,
    "Shield of Talvy",
    kShieldPrice,
    kNone,
    "Shield of Talvy costs 100,000 pocket coins, which you don't have.  Sorry.",
    "You have bought more Shield of Talvy with 100,000 of your pocket coins.",
    "For 100,000 of your pocket coins, you have bought 30 time units of Shield of Talvy.  If you get hit by a "
    "FireBlock, you will take only half the damage.",
    nullptr};

bool IsActive(float time) { return time > 0.0f || time == kEffectPermanent; }

void FreeSlot(Server_Player* player, int slot) {
    player->m_fEffectTimes[slot] = 0.0f;
    player->m_uiEffectIds[slot] = 0;
    player->m_strEffectNames[slot].clear();
}

// A second pick-up restarts the powerup at its full time without a word; a full list takes nothing.
void Give(Server_Player* player, const PowerupGift& gift) {
    if (gift.m_Displaces != kNone) player->DeletePowerup(gift.m_Displaces);
    const bool refresh = player->AlreadyHavePowerup(gift.m_Id);
    if (refresh) player->DeletePowerup(gift.m_Id);
    if (player->TryAddPowerup(gift.m_Id, gift.m_szName, gift.m_fTime) && !refresh)
        SetPlayerMessage(player, gift.m_szMessage, gift.m_fMessageTime);
}

void Buy(Server_Player* player, const PowerupSale& sale) {
    if (player->m_i64PocketCoins < sale.m_i64Price) {
        SetPlayerMessage(player, sale.m_szTooPoor, kMessageTimeShort);
        return;
    }
    if (sale.m_Displaces != kNone) player->DeletePowerup(sale.m_Displaces);
    if (player->AlreadyHavePowerup(sale.m_Id)) {
        player->AppendMoreTimeToPowerup(sale.m_Id, kBoughtTime);
        SetPlayerMessage(player, sale.m_szMore, kMessageTimeShort);
    } else if (player->TryAddPowerup(sale.m_Id, sale.m_szName, kBoughtTime)) {
        SetPlayerMessage(player, sale.m_szNew, kMessageTimeShort);
    } else {
        if (sale.m_szNoRoom) SetPlayerMessage(player, sale.m_szNoRoom, kMessageTimeShort);
        return;
    }
    player->m_i64PocketCoins -= sale.m_i64Price;
}

// The flags the list sets afresh every tick.
constexpr PlayerFlag kEffectFlags[] = {
    kPlayerFlying,         kPlayerGlide,          kPlayerTriFire,         kPlayerGlovesOfVextor,
    kPlayerSpiritOfZorbin, kPlayerSpiritOfCookie, kPlayerGiantFireBlocks, kPlayerSpiritOfIceCream,
    kPlayerShieldOfTalvy,  kPlayerStoneDestroyer, kPlayerColaDrunk,
};

// The flag each powerup holds while active; the others act below or not at all.
struct EffectFlag {
    uint32_t m_uiId;
    PlayerFlag m_Flag;
};
constexpr EffectFlag kFlagEffects[] = {
    {kPowerupSpiritOfZorbin, kPlayerSpiritOfZorbin},
    {kPowerupRockOfSmileyMoon, kPlayerGlide},
    {kPowerupTriFire, kPlayerTriFire},
    {kPowerupGlovesOfVextor, kPlayerGlovesOfVextor},
    {kPowerupSpiritOfCookie, kPlayerSpiritOfCookie},
    {kPowerupGiantFireBlocks, kPlayerGiantFireBlocks},
    {kPowerupSpiritOfIceCream, kPlayerSpiritOfIceCream},
    {kPowerupShieldOfTalvy, kPlayerShieldOfTalvy},
    {kPowerupStoneBlockDestroyer, kPlayerStoneDestroyer},
    {kPowerupColaOfSmiley, kPlayerColaDrunk},
};

bool IsRetired(uint32_t id) {
    switch (id) {
    case kPowerupOldQuillhobGloves:
    case kPowerupOldHyperPlay:
    case kPowerupOldWingsOfSmileyBird:
    case kPowerupOldSpiritOfTalvy:
    case kPowerupOldWingsOfSmileyEagle:
    case kPowerupOldPenetratingFire:
        return true;
    default:
        return false;
    }
}

} // namespace

// ---- the slots ----------------------------------------------------------------------------------

bool Server_Player::TryAddPowerup(unsigned id, const char* name, float time) {
    for (int i = 0; i < kPlayerEffectSlots; ++i) {
        if (IsActive(m_fEffectTimes[i])) continue;
        m_uiEffectIds[i] = id;
        m_strEffectNames[i] = name;
        m_fEffectTimes[i] = time;
        return true;
    }
    return false;
}

float Server_Player::GetPowerupTime(unsigned id) const {
    for (int i = 0; i < kPlayerEffectSlots; ++i)
        if (m_uiEffectIds[i] == id && IsActive(m_fEffectTimes[i])) return m_fEffectTimes[i];
    return 0.0f;
}

void Server_Player::AppendMoreTimeToPowerup(unsigned id, float time) {
    for (int i = 0; i < kPlayerEffectSlots; ++i) {
        if (m_uiEffectIds[i] != id || !IsActive(m_fEffectTimes[i])) continue;
        m_fEffectTimes[i] += time;
        return;
    }
}

void Server_Player::DeletePowerup(unsigned id) {
    for (int i = 0; i < kPlayerEffectSlots; ++i)
        if (m_uiEffectIds[i] == id && IsActive(m_fEffectTimes[i])) FreeSlot(this, i);
}

void Server_Player::RemoveAllTempEffects() {
    for (int i = 0; i < kPlayerEffectSlots; ++i) FreeSlot(this, i);
}

void Server_Player::ApplyTempEffects() {
    for (PlayerFlag flag : kEffectFlags) SetFlag(flag, false);
    SetMoveFlag(kMoveDriveTheTalvy, false);
    SetMoveFlag(kMoveEagleWings, true);
    SetFlag(kPlayerSpeedBoost, true);
    SetFlag(kPlayerPenetratingFire, true);
    m_fJumpBonus = 0.0f;
    if (m_fMessageTime > 0.0f) m_fMessageTime -= kTimePerTick;

    for (int i = 0; i < kPlayerEffectSlots; ++i) {
        // Only active slots run: a free slot (time 0 included) neither decays nor acts.
        float& time = m_fEffectTimes[i];
        if (time > 0.0f)
            time -= kTimePerTick;
        else if (time != kEffectPermanent)
            continue;
        const uint32_t id = m_uiEffectIds[i];
        for (const EffectFlag& effect : kFlagEffects)
            if (effect.m_uiId == id) SetFlag(effect.m_Flag, true);
        if (id == kPowerupJumpHigh) m_fJumpBonus += 5.0f;
        if (id == kPowerupDriveTheTalvy) SetMoveFlag(kMoveDriveTheTalvy, true);
        if (id == kPowerupNoFlyingAllowed) {
            SetMoveFlag(kMoveEagleWings, false);
            SetFlag(kPlayerFlying, false);
        }
        if (IsRetired(id)) time = 0.0f;
    }
}

// ---- what the cubes give ------------------------------------------------------------------------

void Server_Player::TryAddPowerup_TestJumpHigh() { Give(this, kJumpHigh); }
void Server_Player::TryAddPowerup_SpiritOfZorbin() { Give(this, kSpiritOfZorbin); }
void Server_Player::TryAddPowerup_RockOfSmileyMoon() { Give(this, kRockOfSmileyMoon); }
void Server_Player::TryAddPowerup_TriFire() { Give(this, kTriFire); }
void Server_Player::TryAddPowerup_GlovesOfVextor() { Give(this, kGlovesOfVextor); }
void Server_Player::TryAddPowerup_DriveTheTalvy() { Give(this, kDriveTheTalvy); }
void Server_Player::TryAddPowerup_SpiritOfCookie() { Give(this, kSpiritOfCookie); }
void Server_Player::TryAddPowerup_GiantFireBlocks() { Give(this, kGiantFireBlocks); }
void Server_Player::TryAddPowerup_StoneBlockDestroyer() { Give(this, kStoneBlockDestroyer); }
void Server_Player::TryAddPowerup_BeerOfSmiley() { Give(this, kColaOfSmiley); }

void Server_Player::TryAddPowerup_RemovePowerups() {
    RemoveAllTempEffects();
    SetPlayerMessage(this,
                     "You have removed all your powerups.  You'll have to go back to the powerup cubes to get your "
                     "powerups back.",
                     kMessageTimeShort);
}

// ---- the special menu ---------------------------------------------------------------------------

void Server_Player::TryBuyPowerup_SpiritOfIceCream() { Buy(this, kIceCreamSale); }
void Server_Player::TryBuyPowerup_ShieldOfTalvy() { Buy(this, kShieldSale); }

// ---- surfaces -----------------------------------------------------------------------------------

void Server_Player::HandleFlyingDisallow() { Give(this, kNoFlyingAllowed); }

void Server_Player::HandleFlyingReallow() {
    if (!AlreadyHavePowerup(kPowerupNoFlyingAllowed)) return;
    DeletePowerup(kPowerupNoFlyingAllowed);
    SetPlayerMessage(this, "You are allowed to fly again.", kMessageTimeShort);
}

void Server_Player::HandleJail() { Give(this, kJailed); }

void Server_Player::HandleJailRelease() {
    if (!AlreadyHavePowerup(kPowerupJailed)) return;
    DeletePowerup(kPowerupJailed);
    SetPlayerMessage(this, "You are free to leave jail!", kMessageTimeShort);
}

void Server_Player::RemoveCola() { DeletePowerup(kPowerupColaOfSmiley); }

// ---- death, ENTER and the reset key -------------------------------------------------------------

// Dying opens no message window: the player is already back at its start point, and ENTER only
// lets it move again.
void Server_Player::SetDead() {
    SetFlag(kPlayerClientSideMovement, false);
    SetFlag(kPlayerHalted, true);
    SetFlag(kPlayerNoReposition, true);
    m_ucCSMHoldOff = kDeathHoldOff;
    m_strModalText = "You have died.\n\nDon't worry.  The only penalty for dieing is going back to your start "
                     "point.\n\nPress ENTER to continue.";
    m_vPosition = m_vStartPoint;
    m_uiEnergy = kRestartEnergy;
    ClearRotation();
    SetPlayerMoving(true);
    SetDirty();
}

void Server_Player::HandleEnterKey() {
    if (IsMessageWindowOpen()) {
        SetFlag(kPlayerMessageWindow, false);
        SetFlag(kPlayerClientSideMovement, false);
        m_ucCSMHoldOff = kEnterHoldOff;
        if (!GetFlag(kPlayerNoReposition)) {
            ClearRotation();
            // A destination that is no place at all leaves the player where it is; one beyond
            // the outer walls is brought inside them.
            const VUKVector& to = m_vRespawnPoint;
            if (std::isfinite(to.x) && std::isfinite(to.y) && std::isfinite(to.z)) {
                m_vPosition = to;
                ClipToOuterInvisibleBoundaries();
            }
            SetPlayerMoving(true);
        }
        SetDirty();
        m_ucMenuRequestMemory = 0;
    }
    SetFlag(kPlayerHalted, false);
    SetFlag(kPlayerNoReposition, false);
}

void Server_Player::ResetPosition() {
    SetFlag(kPlayerClientSideMovement, false);
    m_uiEnergy = kRestartEnergy;
    m_ucCSMHoldOff = kResetHoldOff;
    m_vPosition = m_vStartPoint;
    SetPlayerMoving(true);
    SetDirty();
    SetKey(kKeyResetPosition, false);
    HandleFlyingReallow();
}
