// The data of every entity kind beyond the normal pad: fire blocks, the princess cubes, Zorbin and
// palace cubes, Quillhob cubes and players, with their kinds' defaults. Their rules live in game/
// (Server_Player.cpp, Game_Tick_Player.cpp, Game_TC.cpp, ...); only the World creates them.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "world/Server_Entity.h"

class VUK_Grid;

// ---- fire blocks (kind 6) ----------------------------------------------------------------------
inline constexpr uint8_t kFireKnockBack = 0x01;
inline constexpr uint8_t kFireCoinLoss = 0x02;
inline constexpr uint8_t kFirePrincessShot = 0x04;
inline constexpr uint8_t kFireOfflineShot = 0x08;
inline constexpr uint8_t kFireHitPalace = 0x10;
inline constexpr uint8_t kFireColaLoaded = 0x20;
inline constexpr uint8_t kFireStoneDestroyer = 0x40;

class Server_FireBlock : public Server_Entity {
public:
    Server_FireBlock();
    ~Server_FireBlock() override = default;
    static void* operator new(std::size_t size) { return ::operator new(size); }
    static void operator delete(void* p) { ::operator delete(p); }

    Server_Entity* m_pShotOwner = nullptr; // credited with the shot; its team is spared
    int16_t m_sLife = 0;                   // ticks left
    int16_t m_sPower = 1;
    Server_Player* m_pShooter = nullptr;
    uint8_t m_ucByte = 0;
    uint8_t m_ucFireFlags = 0;
};

// ---- Talvy cubes (kind 8) ------------------------------------------------------------------------
inline constexpr uint8_t kTalvyDrunk = 0x01;

class Server_TalvyCube : public Server_Entity {
public:
    Server_TalvyCube();
    ~Server_TalvyCube() override = default;
    static void* operator new(std::size_t size) { return ::operator new(size); }
    static void operator delete(void* p) { ::operator delete(p); }

    int16_t m_sCountdown = 30;
    int16_t m_sTurnSlot = 2;
    int16_t m_sCounter = 0;
    VUKVector m_vHomePoint; // saved with the cube
    Server_Player* m_pLastPusher = nullptr;
    uint8_t m_ucTalvyFlags = 0;
};

// ---- Oriset cubes (kind 9) -----------------------------------------------------------------------
class Server_OrisetCube : public Server_Entity {
public:
    Server_OrisetCube();
    ~Server_OrisetCube() override = default;
    static void* operator new(std::size_t size) { return ::operator new(size); }
    static void operator delete(void* p) { ::operator delete(p); }

    int16_t m_sCountdown = 10;
    int16_t m_sTurnSlot = 2;
    VUKVector m_vHomePoint;      // saved with the cube
    float m_fHeading = 0.0f;     // radians
    float m_fHoverHeight = 0.0f; // saved with the cube
    uint8_t m_ucHeadingCountdown = 10;
};

// ---- Zorbin cubes (kind 10) ----------------------------------------------------------------------
inline constexpr uint8_t kZorbinTarget = 0x01;
inline constexpr uint16_t kZorbinCubeTexture = 44;
inline constexpr uint32_t kZorbinCubeWorth = 25'000; // stored coins of a new cube: what it costs

class Server_ZorbinCube : public Server_Entity {
public:
    Server_ZorbinCube();
    // Leaves the near-Zorbin list of every player on its near-player list first.
    ~Server_ZorbinCube() override;
    static void* operator new(std::size_t size);
    static void operator delete(void* p);

    uint16_t m_usShort = 1;                   // firing countdown, in ticks
    uint32_t m_uiTurnSlot = 1;                // scan counter: the cube looks for enemies when it comes round to 0
    VUKVector m_vAim;                         // from the cube to its target
    LinkedList<Server_Player*> m_NearPlayers; // the other side of each player's m_NearZorbins
    uint8_t m_ucZorbinFlags = 0;

    // ---- Zorbin cube rules (game/Server_ZorbinCube.cpp) ----
    // Targets the last enemy on the near-player list within 600 (kZorbinTarget, m_vAim).
    void DecideIfEnemyIsAround();
};

// ---- palace cubes (kind 11) ----------------------------------------------------------------------
class Server_PalaceCube : public Server_Entity {
public:
    Server_PalaceCube();
    ~Server_PalaceCube() override = default;
    static void* operator new(std::size_t size);
    static void operator delete(void* p);

    uint32_t m_uiHitPoints = 1'000'000;
};

// ---- Quillhob cubes (kind 12) --------------------------------------------------------------------
class Server_QuillhobCube : public Server_Entity {
public:
    Server_QuillhobCube();
    ~Server_QuillhobCube() override = default;
    static void* operator new(std::size_t size) { return ::operator new(size); }
    static void operator delete(void* p) { ::operator delete(p); }

    int16_t m_sFiringCountdown = 1;
    Server_Player* m_pLastHitter = nullptr;
};

// ---- players (kind 1) ------------------------------------------------------------------------------

// A bit of the ten player flag bytes; m_ucByte is the index into m_ucPlayerFlags (byte 1 of
// the numbering used elsewhere is index 0).
struct PlayerFlag {
    uint8_t m_ucByte;
    uint8_t m_ucMask;
};
inline constexpr PlayerFlag kPlayerLoggedIn{0, 0x01};          // byte 1 bit 0
inline constexpr PlayerFlag kPlayerAFK{0, 0x02};               // byte 1 bit 1: status value 2
inline constexpr PlayerFlag kPlayerHidden{0, 0x04};            // byte 1 bit 2
inline constexpr PlayerFlag kPlayerSavedBit0{3, 0x01};         // byte 4 bit 0, saved
inline constexpr PlayerFlag kPlayerShowFurtherString{3, 0x02}; // byte 4 bit 1: others see the further string
inline constexpr PlayerFlag kPlayerMessageWindow{3, 0x04};     // byte 4 bit 2: modal window open, saved
inline constexpr PlayerFlag kPlayerAdminMode{3, 0x08};      // byte 4 bit 3: sent with 0x43, stops client-side movement
inline constexpr PlayerFlag kPlayerMoving{3, 0x10};         // byte 4 bit 4
inline constexpr PlayerFlag kPlayerSpeedBoost{3, 0x20};     // byte 4 bit 5: hyper play, speed factor 1.5
inline constexpr PlayerFlag kPlayerFlying{3, 0x80};         // byte 4 bit 7: fly state 1
inline constexpr PlayerFlag kPlayerClientFireFlag{4, 0x02}; // byte 5 bit 1: sent with 0x7C
inline constexpr PlayerFlag kPlayerClientFlag{4, 0x04};     // byte 5 bit 2: the client's flag record
inline constexpr PlayerFlag kPlayerGlide{4, 0x10};          // byte 5 bit 4: fly state 2
inline constexpr PlayerFlag kPlayerCoinCommands{5, 0x04};   // byte 6 bit 2: may use coin-changing commands, saved
inline constexpr PlayerFlag kPlayerByte6Bit5{5, 0x20};      // byte 6 bit 5, set when made
inline constexpr PlayerFlag kPlayerMenuButton1{6, 0x01};    // byte 7: menu requests by button id
inline constexpr PlayerFlag kPlayerMenuButton2{6, 0x02};
inline constexpr PlayerFlag kPlayerMenuButton4{6, 0x04};
// Build requests by menu: BuildingBlock, ZorbinCube, StoneBlock and flat stone.
inline constexpr PlayerFlag kPlayerMenuBuildBlock = kPlayerMenuButton1;
inline constexpr PlayerFlag kPlayerMenuBuildZorbin = kPlayerMenuButton2;
inline constexpr PlayerFlag kPlayerMenuBuildStone = kPlayerMenuButton4;
inline constexpr PlayerFlag kPlayerMenuLocateEnemy{6, 0x10};    // button 6
inline constexpr PlayerFlag kPlayerMenuLocateTopEnemy{6, 0x20}; // button 35
inline constexpr PlayerFlag kPlayerMenuButton7{6, 0x40};
inline constexpr PlayerFlag kPlayerMenuBuildFlatStone = kPlayerMenuButton7;
inline constexpr PlayerFlag kPlayerMenuToggleAFK{6, 0x80};         // button 8
inline constexpr PlayerFlag kPlayerMenuLocateOwn{7, 0x01};         // byte 8 bit 0, button 9
inline constexpr PlayerFlag kPlayerAwaitClientPosition{7, 0x02};   // byte 8 bits 1 to 3: waiting for the
inline constexpr PlayerFlag kPlayerAwaitClientYaw{7, 0x04};        // client's own position, yaw and
inline constexpr PlayerFlag kPlayerAwaitClientVelocity{7, 0x08};   // velocity reports
inline constexpr PlayerFlag kPlayerMenuLocateMillionaire{7, 0x10}; // byte 8 bit 4
inline constexpr PlayerFlag kPlayerGiantFireBlocks{7, 0x40};       // byte 8 bit 6
inline constexpr PlayerFlag kPlayerClientSideMovement{8, 0x04};    // byte 9 bit 2: in force
inline constexpr PlayerFlag kPlayerClientSideWarp{8, 0x08};        // byte 9 bit 3: set by a goal-pad landing
inline constexpr PlayerFlag kPlayerNoKickOwnProperty{8, 0x80};     // byte 9 bit 7
inline constexpr PlayerFlag kPlayerClientSimulatesFire{9, 0x01};   // byte 10 bit 0: the client's KRV_CSE1
inline constexpr PlayerFlag kPlayerByte10Bit1{9, 0x02};            // byte 10 bit 1, cleared by the loader
// State of the player rules, none of it saved. Byte 5 (index 4) is zero when made, bits 0 to 4 of
// byte 6 (index 5) are clear.
inline constexpr PlayerFlag kPlayerHalted{4, 0x01};           // dead or halted by a modal message
inline constexpr PlayerFlag kPlayerEnemyAround{4, 0x08};      // an offline player's scan found an enemy
inline constexpr PlayerFlag kPlayerStandingOnEntity{4, 0x20}; // the last sweep landed on something
inline constexpr PlayerFlag kPlayerOnGroundPlane{4, 0x40};    // standing on y = 0
inline constexpr PlayerFlag kPlayerMayBuildHere{4, 0x80};     // the surface stood on allows building
inline constexpr PlayerFlag kPlayerTriFire{5, 0x01};          // effects of the powerup list, set each tick
inline constexpr PlayerFlag kPlayerStoneDestroyer{5, 0x02};
inline constexpr PlayerFlag kPlayerColaDrunk{5, 0x08};
inline constexpr PlayerFlag kPlayerSpiritOfCookie{5, 0x10};
inline constexpr PlayerFlag kPlayerSpiritOfIceCream{5, 0x40};
inline constexpr PlayerFlag kPlayerClientStanding{8, 0x01};  // client-side movement: standing, as the server sees it
inline constexpr PlayerFlag kPlayerPenetratingFire{2, 0x10}; // byte 3 bit 4: its shots fly on after a hit
inline constexpr PlayerFlag kPlayerShieldOfTalvy{2, 0x20};   // byte 3 bit 5: half damage, smaller coin loss
inline constexpr PlayerFlag kPlayerSpiritOfZorbin{2, 0x80};  // byte 3 bit 7: one hit defeats a Talvy cube
inline constexpr PlayerFlag kPlayerNoFriction{5, 0x80};      // byte 6 bit 7: skip friction once
inline constexpr PlayerFlag kPlayerGlovesOfVextor{2, 0x40};  // byte 3 bit 6: a Talvy cube defeat pays more
inline constexpr PlayerFlag kPlayerNoReposition{8, 0x10};    // byte 9 bit 4: ENTER only lifts the halt (dying)
// Byte 3 bit 0: the player has had its pyramid reward since the last tax; the tax clears it.
inline constexpr PlayerFlag kPlayerPyramidRewardUsed{2, 0x01};

// Key flags (m_uiKeyFlags). Bits 0 to 14 are the bits of the key message's mask.
inline constexpr uint32_t kKeyMove0 = 1u << 0; // the four ground movement keys
inline constexpr uint32_t kKeyMove1 = 1u << 1;
inline constexpr uint32_t kKeyMove2 = 1u << 2;
inline constexpr uint32_t kKeyMove3 = 1u << 3;
inline constexpr uint32_t kKeyJump = 1u << 4;
inline constexpr uint32_t kKeyEnter = 1u << 5;
inline constexpr uint32_t kKeyAdminToggle = 1u << 6;
inline constexpr uint32_t kKeyFire = 1u << 7;
inline constexpr uint32_t kKeyBuildBuildingBlock = 1u << 8;
inline constexpr uint32_t kKeyBuildIRSCube = 1u << 9;
inline constexpr uint32_t kKeyAdminStep = 1u << 10;
inline constexpr uint32_t kKeyBuildFlatStone = 1u << 11;
inline constexpr uint32_t kKeyResetPosition = 1u << 12;
inline constexpr uint32_t kKeyUp = 1u << 13;
inline constexpr uint32_t kKeyDown = 1u << 14;
inline constexpr uint32_t kKeyAdminAddPad = 1u << 15;
inline constexpr uint32_t kKeyAdminDeleteSelection = 1u << 16;
inline constexpr uint32_t kKeyBuildZorbinCube = 1u << 17;
inline constexpr uint32_t kKeyBuildStoneBlock = 1u << 18;
inline constexpr uint32_t kKeyGroundMovement = kKeyMove0 | kKeyMove1 | kKeyMove2 | kKeyMove3;

// Index of each build key's 4-bit repeat counter in m_ucBuildRepeat.
enum BuildRepeat : uint8_t {
    kRepeatBuildingBlock,
    kRepeatZorbinCube,
    kRepeatStoneBlock,
    kRepeatFlatStone,
    kRepeatIRSCube,
    kRepeatCount
};

// Movement state of a player kept apart from the flag bytes (m_usMoveFlags). Hyper play, flying
// toggled on and gliding are the player flags the client is sent (kPlayerSpeedBoost, kPlayerFlying,
// kPlayerGlide).
inline constexpr uint16_t kMoveFast = 0x0001;          // speed surface or eagle flight
inline constexpr uint16_t kMoveEagleWings = 0x0002;    // fast flight while flying is toggled on
inline constexpr uint16_t kMoveDriveTheTalvy = 0x0004; // may steer a Talvy cube it stands on
inline constexpr uint16_t kMoveDriving = 0x0008;       // steering one this tick

inline constexpr int kPlayerEffectSlots = 10;
// The master administrator's level, given at login; no command gives it to anyone else.
inline constexpr uint16_t kMasterAdminLevel = 100;
inline constexpr float kEffectPermanent = -100.0f;

// What the score pass keeps of a player so that each watching client can skip it while nothing it
// shows changed: the values as last stamped, the stamp, and per watcher number the mark (the
// client's watch epoch over the stamp) its view was brought up to.
struct PlayerScoreStamp {
    uint8_t m_ucStatus = 0;
    int64_t m_i64Coins = 0;
    int64_t m_i64Property = 0;
    std::string m_strTeam;
    uint32_t m_uiStamp = 0;
    std::vector<uint64_t> m_SeenBy;
};

class Server_Player : public Server_Entity {
public:
    // Kind 1 with its defaults: no key, menu request or effect set.
    Server_Player();
    // Leaves the near-player lists of its Zorbin cubes and its platform's referring players.
    ~Server_Player() override;
    static void* operator new(std::size_t size) { return ::operator new(size); }
    static void operator delete(void* p) { ::operator delete(p); }

    VUKVector m_vStartPoint;
    uint32_t m_uiScanCounter = 0;
    uint16_t m_usAdminLevel = 0;
    int16_t m_sShotCooldown = 0;
    int16_t m_sStillTicks = 0;
    uint32_t m_uiEnergy = 98'765;
    uint32_t m_uiRank = 0; // 1 = richest, 0 = not yet ranked
    uint32_t m_uiTicksSinceLastLogin = 0;
    uint32_t m_uiPalaceCubeCount = 0;
    int64_t m_i64PocketCoins = 0;
    int64_t m_i64PropertyValue = 0;
    uint8_t m_ucFlagBytes[3] = {};
    uint8_t m_ucChatChannel = 1;
    float m_fAdminStep = 1.0f;
    float m_fJumpBonus = 0.0f;
    float m_fMoveState[2] = {};
    float m_fGroundTilt = 0.0f; // |pitch| + |roll| of what the player last touched
    uint16_t m_usMoveFlags = kMoveEagleWings;
    float m_fMessageTime = 0.0f;
    std::string m_strName;
    std::string m_strPassword;
    std::string m_strModalText;
    std::string m_strFurtherString;
    std::string m_strMessageText;
    VUKVector m_vRespawnPoint;
    Server_Entity* m_pAdminSelection = nullptr;
    Server_Entity* m_pPlatform = nullptr; // the entity whose m_ReferringPlayers holds this player
    uint8_t m_ucEditMode = 0;             // admin editor mode 0 to 5
    uint8_t m_ucCSMHoldOff = 0;           // client-side-movement hold-off
    std::string m_strEffectNames[kPlayerEffectSlots];
    float m_fEffectTimes[kPlayerEffectSlots] = {};
    uint32_t m_uiEffectIds[kPlayerEffectSlots] = {};
    LinkedList<Server_ZorbinCube*> m_NearZorbins;
    std::string m_strTeamName;
    PlayerScoreStamp m_Score;
    ArrayOfStrings m_IgnoreList;
    uint32_t m_uiWords[9] = {};
    uint8_t m_ucByte = 0;
    uint8_t m_ucPlayerFlags[10] = {};

    // State of the input and of client-side movement.
    uint32_t m_uiKeyFlags = 0;
    uint8_t m_ucBuildRepeat[kRepeatCount] = {};
    uint8_t m_ucMenuRequestMemory = 0;
    float m_fVerticalVelocity = 0.0f;
    float m_fSteeringHeading = 0.0f;
    float m_fThrottle = 0.0f; // 0.0 to 1.0
    VUKVector m_vClientPosition;
    float m_fClientYaw = 0.0f;
    bool m_bClientRotation = false;
    VUKVector m_vClientVelocity;
    std::string m_strDisplayName; // the name after the word filter
    bool m_bDisplayName = false;
    uint32_t m_uiOfflineTicks = 0;
    float m_fExtraVerticalSpeed = 0.0f;
    float m_fMovementInput = 0.0f;

    bool GetFlag(PlayerFlag f) const { return (m_ucPlayerFlags[f.m_ucByte] & f.m_ucMask) != 0; }
    void SetFlag(PlayerFlag f, bool on) { SetBit(m_ucPlayerFlags[f.m_ucByte], f.m_ucMask, on); }
    bool IsLoggedIn() const { return GetFlag(kPlayerLoggedIn); }
    void SetLoggedIn(bool on) { SetFlag(kPlayerLoggedIn, on); }
    bool IsHidden() const { return GetFlag(kPlayerHidden); }
    void SetHidden(bool on) { SetFlag(kPlayerHidden, on); }
    bool IsPlayerMoving() const { return GetFlag(kPlayerMoving); }
    void SetPlayerMoving(bool on) { SetFlag(kPlayerMoving, on); }
    bool IsMessageWindowOpen() const { return GetFlag(kPlayerMessageWindow); }
    bool IsAdminMode() const { return GetFlag(kPlayerAdminMode); }

    bool GetMoveFlag(uint16_t f) const { return (m_usMoveFlags & f) != 0; }
    void SetMoveFlag(uint16_t f, bool on) {
        m_usMoveFlags = on ? uint16_t(m_usMoveFlags | f) : uint16_t(m_usMoveFlags & ~f);
    }
    bool HasKey(uint32_t key) const { return (m_uiKeyFlags & key) != 0; }
    void SetKey(uint32_t key, bool on) { m_uiKeyFlags = on ? (m_uiKeyFlags | key) : (m_uiKeyFlags & ~key); }
    // Points the platform reference at e (or nowhere), keeping e's referring players in step.
    void SetPlatform(Server_Entity* e);

    // ---- player rules (game/Server_Player.cpp) ----
    // Clears every key flag, every menu request and the throttle.
    void AllKeysFalse();
    // True when an active slot of the effects table (time positive or permanent) holds the powerup.
    bool AlreadyHavePowerup(uint32_t id) const;
    void ClearEffects();
    bool IsOnSameTeam(const Server_Player* other) const;
    // Pocket coins at most 2,000,000,000, and with the property value not above it either; after
    // every credit of coins.
    void KeepCoinsAtLimit();
    // Sets the enemy-around flag on this offline player and on the first enemy player near it.
    void DecideIfEnemyIsAround(VUK_Grid* grid);
    // The player shot a Talvy cube down, or made it drunk (game/Game_TC.cpp).
    void HandleTalvyCubeDefeat(Server_Entity* cube);
    void HandleMadeTalvyDrunk(Server_Entity* cube);

    // ---- powerups and player effects (game/Game_Powerups.cpp) ----
    // Slots of the powerup list: a slot is active while its time is positive or permanent.
    bool TryAddPowerup(unsigned id, const char* name, float time); // first free slot; false when none
    float GetPowerupTime(unsigned id) const;                       // first active slot's time, else 0
    void AppendMoreTimeToPowerup(unsigned id, float time);
    void DeletePowerup(unsigned id); // frees every active slot of the id
    void RemoveAllTempEffects();
    // Every tick before anything else: the list decays and becomes this tick's effect flags.
    void ApplyTempEffects();
    // What the powerup cubes give.
    void TryAddPowerup_TestJumpHigh();
    void TryAddPowerup_SpiritOfZorbin();
    void TryAddPowerup_RockOfSmileyMoon();
    void TryAddPowerup_TriFire();
    void TryAddPowerup_GlovesOfVextor();
    void TryAddPowerup_DriveTheTalvy();
    void TryAddPowerup_SpiritOfCookie();
    void TryAddPowerup_RemovePowerups();
    void TryAddPowerup_GiantFireBlocks();
    void TryAddPowerup_StoneBlockDestroyer();
    void TryAddPowerup_BeerOfSmiley();
    // Purchases from the special menu.
    void TryBuyPowerup_ShieldOfTalvy();
    void TryBuyPowerup_SpiritOfIceCream();
    // Ends the Cola of Smiley.
    void RemoveCola();
    // ENTER closes the message window and carries out a pending warp; it always lifts the halt.
    void HandleEnterKey();
    // The reset key: back to the start point, flying allowed again.
    void ResetPosition();

    // ---- economy (game/Game_Economy.cpp) ----
    // Pocket coins plus property value, held at the 64-bit limits rather than wrapping.
    int64_t NetWorth() const {
        int64_t sum;
        if (!__builtin_add_overflow(m_i64PocketCoins, m_i64PropertyValue, &sum)) return sum;
        return m_i64PropertyValue > 0 ? INT64_MAX : INT64_MIN;
    }
    void TryBuySolexis();

    // ---- movement (game/Server_Player_Velocity.cpp) ----
    // Turns keys, steering, flight and gravity into this tick's velocity and vertical velocity.
    void DetermineNewVelocity();

    // ---- rules of families still to come that movement calls ----
    // Dying: back to the start point, halted by a modal message.
    void SetDead();                                   // game/Game_Powerups.cpp
    void HandleFlyingDisallow();                      // game/Game_Powerups.cpp
    void HandleFlyingReallow();                       // game/Game_Powerups.cpp
    void HandleJail();                                // game/Game_Powerups.cpp
    void HandleJailRelease();                         // game/Game_Powerups.cpp
    void HandleGoalPadLand(Server_Entity* pad);       // game/Game_Economy.cpp
    bool HandleTagPadLand(Server_Entity* pad);        // game/Game_Economy.cpp; true when something changed
    void HandleTalvyCubeOnPyramid(unsigned reward);   // game/Game_OC.cpp
    void HandleOrisetCubeDefeat(Server_Entity* cube); // game/Game_OC.cpp

    // ---- princess cubes (game/Game_TC.cpp) ----
    // A driver steers the Talvy cube it stands on by its heading and throttle, and jumps it.
    void DetermineDrivenTalvyVelocity(Server_Entity* cube);
};
