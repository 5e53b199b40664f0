// The server's entities: Server_Entity (kind 4, the normal pad: every block, pad, wall, lift,
// tag pad, goal pad and player-built block) and the kinds derived from it. Only the World
// creates, re-files and destroys them.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

#include "world/Entity.h"
#include "world/LinkedList.h"
#include "world/PointerStringList.h"
#include "world/VUKFastArray_Entity.h"

class Server_Client_Entity;
class Server_Player;
class Server_ZorbinCube;

// ---- m_ucRuleFlags ---------------------------------------------------------------------------
inline constexpr uint8_t kRuleDirty = 0x01;             // something visible changed this tick
inline constexpr uint8_t kRuleQueuedForUpdate = 0x02;   // on the game's update list
inline constexpr uint8_t kRuleQueuedForRemoval = 0x04;  // on the game's remove list
inline constexpr uint8_t kRuleZorbinBuildAllowed = 0x08;
inline constexpr uint8_t kRuleBit4 = 0x10;              // cleared for Talvy cubes; no rule reads it
inline constexpr uint8_t kRuleMoving = 0x20;            // moving property
inline constexpr uint8_t kRulePrincessReward = 0x40;    // extended attribute 6 holds a landing reward
inline constexpr uint8_t kRulePyramid = 0x80;           // the pad flag the save file carries: a sacred object

// ---- m_ucSurfaceFlags ------------------------------------------------------------------------
inline constexpr uint8_t kSurfaceTagPad = 0x01;
inline constexpr uint8_t kSurfacePowerup = 0x02;      // a spawned powerup; replicated
inline constexpr uint8_t kSurfacePlayerBuilt = 0x04;
inline constexpr uint8_t kSurfaceDestroyed = 0x08;    // later rules of the same tick pass it by
inline constexpr uint8_t kSurfaceNoFly = 0x10;        // landing takes away flying
inline constexpr uint8_t kSurfaceFlyAgain = 0x20;     // landing gives flying back
inline constexpr uint8_t kSurfaceJail = 0x40;
inline constexpr uint8_t kSurfaceJailRelease = 0x80;

// ---- m_ucPassFlags ---------------------------------------------------------------------------
inline constexpr uint8_t kPassVisited = 0x01;     // visited in the current zone pass
inline constexpr uint8_t kPassTickSignal = 0x02;  // once-per-game-tick work is due

// Goal pad data, present while a normal pad is a goal pad.
class GoalPadStuff {
public:
    GoalPadStuff() = default;
    virtual ~GoalPadStuff() = default;

    VUKVector m_vRespawnPoint;   // where the goal pad sends the player
    uint32_t m_uiWords[3] = {};
    std::string m_strMessage;
    int32_t m_iCoinReward = 0;   // may be negative
    int16_t m_sType = 0;         // 0 a warp; 1 to 19 a powerup (spawned, never saved)
    int32_t m_iSolexis = 0;      // cost (negative) or reward (positive)
};

// Lift data, present while a normal pad is a lift.
class LiftStuff {
public:
    LiftStuff() = default;
    virtual ~LiftStuff() = default;

    VUKVector m_vStart;
    VUKVector m_vEnd;
    float m_fSpeed = 0.0f;
    float m_fSplineParameter = 0.0f;
    bool m_bRunning = false;
    PointerStringList<VUKVector> m_ControlPoints;
    bool m_bSpline = false;
    bool m_bFinalized = false;
};

// Players whose platform reference points at an entity. Not an owner: the players belong to
// the world, so the list forgets them instead of deleting them.
class ReferringPlayerList : public PointerStringList<Server_Player> {
public:
    ~ReferringPlayerList() override { ReleaseAll(); }
};

// Per-client-slot storage.
//
// Every entity answers five questions per client slot: the client's view record, the link-back
// cells of its pending, zone-wait and attached lists, and its membership record in the client's
// pending grid. They are kept in one block per entity:
//   - a slot's five values are stored together as 32-bit handles: view records and cells by
//     their handle in g_VukHeap_ServerClientEntity and g_VukHeap_PFA_LinkBacks, zone records by
//     a handle into a table of registered pointers; 0 means unset;
//   - the block is allocated when a client first sets a value, sized to the next power of two
//     above the highest slot set, and freed when its last value is cleared; a one-word header
//     precedes the slots, so one slot costs 24 bytes and 32 slots 644.
// Reading any slot below g_uiAllocatedClientUINs is constant time; slots the block does not
// reach read as unset. World::DoubleAllocatedClientUINs therefore has nothing to copy.
// A view record handed to SetClientView must come from g_VukHeap_ServerClientEntity and a cell
// from g_VukHeap_PFA_LinkBacks (a WorldFatalError otherwise).
class Server_Entity : public Entity {
public:
    // A normal pad (kind 4) with its kind's defaults.
    Server_Entity();
    // Clears the platform reference of every referring player, deletes goal pad and lift data
    // and the per-slot block. An entity still filed somewhere first leaves its world arrays and
    // zones, so no array keeps a dangling entry; its client-grid records are the replication
    // layer's to remove beforehand.
    ~Server_Entity() override;

    // Normal pads live in g_VukHeap_ServerEntity; each derived kind declares its own storage.
    static void* operator new(std::size_t size);
    static void operator delete(void* p);

    uint32_t m_uiPassStamp = 0;  // stamp of the last clipping sweep that tested this entity
    // Zone keys (VUK_Grid::ZoneKey; 0 unknown) of where the entity was last filed in the world's
    // grid and in the clients' pending grids, so that a move within them need not file it again.
    uint32_t m_uiPendingGridZones = 0;
    uint32_t m_uiWorldGridZones = 0;
    PFAE_InfoList m_GroupLinks{8};
    PFAE_InfoList m_ZoneLinks{8};
    ReferringPlayerList m_ReferringPlayers;
    Server_Player* m_pOwner = nullptr;      // owner of property (Zorbin, palace, player-built block)
    GoalPadStuff* m_pGoalPad = nullptr;
    LiftStuff* m_pLift = nullptr;
    Server_Player* m_pTagHolder = nullptr;  // the player who tagged this tag pad last
    uint32_t m_uiStoredCoins = 0;
    uint8_t m_ucMoveState = 0;
    uint8_t m_ucRuleFlags = kRuleZorbinBuildAllowed;
    uint8_t m_ucSurfaceFlags = 0;
    uint8_t m_ucPassFlags = 0;

    // ---- per-client-slot storage (see above) ----
    Server_Client_Entity* GetClientView(uint32_t slot) const;
    void SetClientView(uint32_t slot, Server_Client_Entity* view);
    uint32_t* GetClientPendingLink(uint32_t slot) const;
    void SetClientPendingLink(uint32_t slot, uint32_t* cell);
    uint32_t* GetClientZoneWaitLink(uint32_t slot) const;
    void SetClientZoneWaitLink(uint32_t slot, uint32_t* cell);
    uint32_t* GetClientAttachedLink(uint32_t slot) const;
    void SetClientAttachedLink(uint32_t slot, uint32_t* cell);
    VUKFastArray<PFAE_Info*>* GetClientZoneInfo(uint32_t slot) const;
    void SetClientZoneInfo(uint32_t slot, VUKFastArray<PFAE_Info*>* info);
    // Slots the block reaches now (0 without a block), and its bytes.
    uint32_t GetClientSlotCapacity() const;
    size_t GetClientSlotBytes() const;

    // ---- flags ----
    bool IsDirty() const { return (m_ucRuleFlags & kRuleDirty) != 0; }
    void SetDirty() { m_ucRuleFlags |= kRuleDirty; }
    void ClearDirty() { m_ucRuleFlags &= uint8_t(~kRuleDirty); }
    bool IsMoving() const { return (m_ucRuleFlags & kRuleMoving) != 0; }
    void SetMoving(bool on) { SetBit(m_ucRuleFlags, kRuleMoving, on); }
    bool IsTagPad() const { return (m_ucSurfaceFlags & kSurfaceTagPad) != 0; }
    bool IsPlayerBuilt() const { return (m_ucSurfaceFlags & kSurfacePlayerBuilt) != 0; }
    bool IsDestroyed() const { return (m_ucSurfaceFlags & kSurfaceDestroyed) != 0; }
    static void SetBit(uint8_t& flags, uint8_t bit, bool on) { flags = on ? uint8_t(flags | bit) : uint8_t(flags & ~bit); }

    // Goal pad and lift data are made zeroed on first need.
    GoalPadStuff* GetOrCreateGoalPad();
    void DeleteGoalPad();
    LiftStuff* GetOrCreateLift();
    void DeleteLift();

    // True when all three extents exceed 2000, or any two exceed 3000, or any one exceeds 5000.
    static bool IsExcessiveSizeForMovement(float x, float y, float z);
    // Princess, Zorbin and palace cubes, lifts and player-built blocks must stay movable.
    bool ShouldSizeBeRejected(float x, float y, float z) const;
    // Clamps the position into the outer walls; every clamp marks the entity dirty.
    void ClipToOuterInvisibleBoundaries();

private:
    uint32_t GetSlotValue(uint32_t slot, uint32_t field) const;
    void SetSlotValue(uint32_t slot, uint32_t field, uint32_t value);
    void FreeClientSlots();

    uint32_t* m_puiClientSlots = nullptr;
};

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

    Server_Entity* m_pShotOwner = nullptr;  // credited with the shot; its team is spared
    int16_t m_sLife = 0;                    // ticks left
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
    VUKVector m_vHomePoint;  // saved with the cube
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

class Server_ZorbinCube : public Server_Entity {
public:
    Server_ZorbinCube();
    // Leaves the near-Zorbin list of every player on its near-player list first.
    ~Server_ZorbinCube() override;
    static void* operator new(std::size_t size);
    static void operator delete(void* p);

    uint16_t m_usShort = 1;
    uint32_t m_uiTurnSlot = 1;
    uint32_t m_uiWords[3] = {};
    LinkedList<Server_Player*> m_NearPlayers;  // the other side of each player's m_NearZorbins
    uint8_t m_ucZorbinFlags = 0;
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
inline constexpr PlayerFlag kPlayerLoggedIn{0, 0x01};           // byte 1 bit 0
inline constexpr PlayerFlag kPlayerAFK{0, 0x02};                // byte 1 bit 1: status value 2
inline constexpr PlayerFlag kPlayerHidden{0, 0x04};             // byte 1 bit 2
inline constexpr PlayerFlag kPlayerSavedBit0{3, 0x01};          // byte 4 bit 0, saved
inline constexpr PlayerFlag kPlayerShowFurtherString{3, 0x02};  // byte 4 bit 1: others see the further string
inline constexpr PlayerFlag kPlayerMessageWindow{3, 0x04};      // byte 4 bit 2: modal window open, saved
inline constexpr PlayerFlag kPlayerAdminMode{3, 0x08};          // byte 4 bit 3: sent with 0x43, stops client-side movement
inline constexpr PlayerFlag kPlayerMoving{3, 0x10};             // byte 4 bit 4
inline constexpr PlayerFlag kPlayerSpeedBoost{3, 0x20};         // byte 4 bit 5: speed factor 1.5
inline constexpr PlayerFlag kPlayerFlying{3, 0x80};             // byte 4 bit 7: fly state 1
inline constexpr PlayerFlag kPlayerClientFireFlag{4, 0x02};     // byte 5 bit 1: sent with 0x7C
inline constexpr PlayerFlag kPlayerClientFlag{4, 0x04};         // byte 5 bit 2: the client's flag record
inline constexpr PlayerFlag kPlayerGlide{4, 0x10};              // byte 5 bit 4: fly state 2
inline constexpr PlayerFlag kPlayerCoinCommands{5, 0x04};       // byte 6 bit 2: may use coin-changing commands, saved
inline constexpr PlayerFlag kPlayerByte6Bit5{5, 0x20};          // byte 6 bit 5, set when made
inline constexpr PlayerFlag kPlayerMenuButton1{6, 0x01};        // byte 7: menu requests by button id
inline constexpr PlayerFlag kPlayerMenuButton2{6, 0x02};
inline constexpr PlayerFlag kPlayerMenuButton4{6, 0x04};
inline constexpr PlayerFlag kPlayerMenuLocateEnemy{6, 0x10};    // button 6
inline constexpr PlayerFlag kPlayerMenuLocateTopEnemy{6, 0x20}; // button 35
inline constexpr PlayerFlag kPlayerMenuButton7{6, 0x40};
inline constexpr PlayerFlag kPlayerMenuToggleAFK{6, 0x80};      // button 8
inline constexpr PlayerFlag kPlayerMenuLocateOwn{7, 0x01};      // byte 8 bit 0, button 9
inline constexpr PlayerFlag kPlayerAwaitClientPosition{7, 0x02};// byte 8 bits 1 to 3: waiting for the
inline constexpr PlayerFlag kPlayerAwaitClientYaw{7, 0x04};     // client's own position, yaw and
inline constexpr PlayerFlag kPlayerAwaitClientVelocity{7, 0x08};// velocity reports
inline constexpr PlayerFlag kPlayerGiantFireBlocks{7, 0x40};    // byte 8 bit 6
inline constexpr PlayerFlag kPlayerClientSideMovement{8, 0x04}; // byte 9 bit 2: in force
inline constexpr PlayerFlag kPlayerClientSideWarp{8, 0x08};     // byte 9 bit 3: set by a goal-pad landing
inline constexpr PlayerFlag kPlayerNoKickOwnProperty{8, 0x80};  // byte 9 bit 7
inline constexpr PlayerFlag kPlayerClientSimulatesFire{9, 0x01};// byte 10 bit 0: the client's KRV_CSE1
inline constexpr PlayerFlag kPlayerByte10Bit1{9, 0x02};         // byte 10 bit 1, cleared by the loader

// Key flags (m_uiKeyFlags). Bits 0 to 14 are the bits of the key message's mask.
inline constexpr uint32_t kKeyMove0 = 1u << 0;  // the four ground movement keys
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
enum BuildRepeat : uint8_t { kRepeatBuildingBlock, kRepeatZorbinCube, kRepeatStoneBlock, kRepeatFlatStone, kRepeatIRSCube, kRepeatCount };

inline constexpr int kPlayerEffectSlots = 10;
inline constexpr float kEffectPermanent = -100.0f;

class Server_Player : public Server_Entity {
public:
    // Kind 1 with its defaults; ends with AllKeysFalse() and a cleared effects table.
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
    uint32_t m_uiRank = 0;  // 1 = richest, 0 = not yet ranked
    uint32_t m_uiTicksSinceLastLogin = 0;
    uint32_t m_uiPalaceCubeCount = 0;
    int64_t m_i64PocketCoins = 0;
    int64_t m_i64PropertyValue = 0;
    uint8_t m_ucFlagBytes[3] = {};
    uint8_t m_ucChatChannel = 1;
    float m_fAdminStep = 1.0f;
    float m_fJumpBonus = 0.0f;
    float m_fMoveState[2] = {};
    float m_fMessageTime = 0.0f;
    std::string m_strName;
    std::string m_strPassword;
    std::string m_strModalText;
    std::string m_strFurtherString;
    std::string m_strMessageText;
    VUKVector m_vRespawnPoint;
    Server_Entity* m_pAdminSelection = nullptr;
    Server_Entity* m_pPlatform = nullptr;  // the entity whose m_ReferringPlayers holds this player
    uint8_t m_ucEditMode = 0;              // admin editor mode 0 to 5
    uint8_t m_ucCSMHoldOff = 0;            // client-side-movement hold-off
    std::string m_strEffectNames[kPlayerEffectSlots];
    float m_fEffectTimes[kPlayerEffectSlots] = {};
    uint32_t m_uiEffectIds[kPlayerEffectSlots] = {};
    LinkedList<Server_ZorbinCube*> m_NearZorbins;
    std::string m_strTeamName;
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
    float m_fThrottle = 0.0f;  // 0.0 to 1.0
    VUKVector m_vClientPosition;
    float m_fClientYaw = 0.0f;
    bool m_bClientRotation = false;
    VUKVector m_vClientVelocity;
    std::string m_strDisplayName;  // the name after the word filter
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

    bool HasKey(uint32_t key) const { return (m_uiKeyFlags & key) != 0; }
    void SetKey(uint32_t key, bool on) { m_uiKeyFlags = on ? (m_uiKeyFlags | key) : (m_uiKeyFlags & ~key); }
    // Clears every key flag, every menu request and the throttle.
    void AllKeysFalse();
    // True when an active slot of the effects table (time positive or permanent) holds the
    // powerup. Defined with the player rules.
    bool AlreadyHavePowerup(uint32_t id) const;
    void ClearEffects();
    bool IsOnSameTeam(const Server_Player* other) const;
    // Points the platform reference at e (or nowhere), keeping e's referring players in step.
    void SetPlatform(Server_Entity* e);
};
