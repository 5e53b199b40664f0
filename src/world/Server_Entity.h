// The server's entities: Server_Entity (kind 4, the normal pad: every block, pad, wall, lift,
// tag pad, goal pad and player-built block) and the kinds derived from it. Only the World
// creates, re-files and destroys them.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

#include "base/PointerStringList.h"
#include "world/Entity.h"
#include "world/LinkedList.h"
#include "world/VUKFastArray_Entity.h"

class Server_Client_Entity;

// Client slot numbers counted as allocated (32 at start); the server doubles the count when a
// client number reaches it. Entities keep nothing per client slot, so nothing else grows.
extern uint32_t g_uiAllocatedClientUINs;
// Client records that can exist at once; a client record takes a number from creation until it
// is deleted.
inline constexpr uint32_t kMaxClientSlots = 8192;
class Server_Player;
class Server_ZorbinCube;

// ---- m_ucRuleFlags ---------------------------------------------------------------------------
inline constexpr uint8_t kRuleDirty = 0x01;            // something visible changed this tick
inline constexpr uint8_t kRuleQueuedForUpdate = 0x02;  // on the game's update list
inline constexpr uint8_t kRuleQueuedForRemoval = 0x04; // on the game's remove list
inline constexpr uint8_t kRuleZorbinBuildAllowed = 0x08;
inline constexpr uint8_t kRuleStanding = 0x10;       // a princess cube stands on something
inline constexpr uint8_t kRuleMoving = 0x20;         // moving property
inline constexpr uint8_t kRulePrincessReward = 0x40; // extended attribute 6 holds a landing reward
inline constexpr uint8_t kRulePyramid = 0x80;        // the pad flag the save file carries: a sacred object

// ---- m_ucSurfaceFlags ------------------------------------------------------------------------
inline constexpr uint8_t kSurfaceTagPad = 0x01;
inline constexpr uint8_t kSurfacePowerup = 0x02; // a spawned powerup; replicated
inline constexpr uint8_t kSurfacePlayerBuilt = 0x04;
inline constexpr uint8_t kSurfaceDestroyed = 0x08; // later rules of the same tick pass it by
inline constexpr uint8_t kSurfaceNoFly = 0x10;     // landing takes away flying
inline constexpr uint8_t kSurfaceFlyAgain = 0x20;  // landing gives flying back
inline constexpr uint8_t kSurfaceJail = 0x40;
inline constexpr uint8_t kSurfaceJailRelease = 0x80;

// ---- m_ucPassFlags ---------------------------------------------------------------------------
inline constexpr uint8_t kPassTickSignal = 0x02; // once-per-game-tick work is due

// Goal pad data, present while a normal pad is a goal pad.
class GoalPadStuff {
public:
    GoalPadStuff() = default;
    virtual ~GoalPadStuff() = default;

    VUKVector m_vRespawnPoint; // where the goal pad sends the player
    uint32_t m_uiWords[3] = {};
    std::string m_strMessage;
    int32_t m_iCoinReward = 0; // may be negative
    int16_t m_sType = 0;       // 0 a warp; 1 to 19 a powerup (spawned, never saved)
    int32_t m_iSolexis = 0;    // cost (negative) or reward (positive)
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

class Server_Entity : public Entity {
public:
    // A normal pad (kind 4) with its kind's defaults and a fresh compact index.
    Server_Entity();
    // Clears the platform reference of every referring player, deletes goal pad and lift data
    // and frees the compact index. An entity still filed somewhere first leaves its world arrays
    // and zones, so no array keeps a dangling entry; what the clients hold of it is the
    // replication layer's to drop beforehand (the removal notice).
    ~Server_Entity() override;

    // Normal pads live in g_VukHeap_ServerEntity; each derived kind declares its own storage.
    static void* operator new(std::size_t size);
    static void operator delete(void* p);

    uint32_t m_uiPassStamp = 0; // stamp of the last clipping sweep that tested this entity
    // Zone keys of where the entity was last filed in the clients' pending grids (the key of
    // the last change notice) and in the world's grid (VUK_Grid::ZoneKey; 0 unknown), so that a
    // move within them need not file it again.
    uint32_t m_uiPendingGridZones = 0;
    uint32_t m_uiWorldGridZones = 0;
    PFAE_InfoList m_GroupLinks{8};
    PFAE_InfoList m_ZoneLinks{8};
    ReferringPlayerList m_ReferringPlayers;
    Server_Player* m_pOwner = nullptr; // owner of property (Zorbin, palace, player-built block)
    GoalPadStuff* m_pGoalPad = nullptr;
    LiftStuff* m_pLift = nullptr;
    Server_Player* m_pTagHolder = nullptr; // the player who tagged this tag pad last
    uint32_t m_uiStoredCoins = 0;
    uint8_t m_ucMoveState = 0;
    uint8_t m_ucRuleFlags = kRuleZorbinBuildAllowed;
    uint8_t m_ucSurfaceFlags = 0;
    uint8_t m_ucPassFlags = 0;
    // Index of the entity's row in g_EntityClientBits and of its cells in every client's arrays.
    const uint32_t m_uiIndex;

    // ---- flags ----
    bool IsDirty() const { return (m_ucRuleFlags & kRuleDirty) != 0; }
    void SetDirty() { m_ucRuleFlags |= kRuleDirty; }
    void ClearDirty() { m_ucRuleFlags &= uint8_t(~kRuleDirty); }
    bool IsMoving() const { return (m_ucRuleFlags & kRuleMoving) != 0; }
    void SetMoving(bool on) { SetBit(m_ucRuleFlags, kRuleMoving, on); }
    bool IsTagPad() const { return (m_ucSurfaceFlags & kSurfaceTagPad) != 0; }
    bool IsPlayerBuilt() const { return (m_ucSurfaceFlags & kSurfacePlayerBuilt) != 0; }
    bool IsDestroyed() const { return (m_ucSurfaceFlags & kSurfaceDestroyed) != 0; }
    static void SetBit(uint8_t& flags, uint8_t bit, bool on) {
        flags = on ? uint8_t(flags | bit) : uint8_t(flags & ~bit);
    }

    // Goal pad and lift data are made zeroed on first need.
    GoalPadStuff* GetOrCreateGoalPad();
    void DeleteGoalPad();
    LiftStuff* GetOrCreateLift();
    void DeleteLift();

    // True when all three extents exceed 2000, or any two exceed 3000, or any one exceeds 5000.
    static bool IsExcessiveSizeForMovement(float x, float y, float z);
    // Princess, Zorbin and palace cubes, lifts and player-built blocks must stay movable.
    bool ShouldSizeBeRejected(float x, float y, float z) const;
    // Clamps the position into the outer walls, a coordinate that is not finite to 0; every
    // clamp marks the entity dirty.
    void ClipToOuterInvisibleBoundaries();

protected:
    // The kind with the texture, texture scale, texture mode and bounds it is made with.
    void MakeKind(uint8_t kind);
};
