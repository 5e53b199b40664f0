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

// Client slot numbers the per-client storage of every entity is sized for (32 at start); the
// server doubles it when a client number reaches it.
extern uint32_t g_uiAllocatedClientUINs;
// Client slot numbers an entity can hold views for; a client record takes one from creation
// until it is deleted.
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
inline constexpr uint8_t kPassVisited = 0x01;    // visited in the current zone pass
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

    uint32_t m_uiPassStamp = 0; // stamp of the last clipping sweep that tested this entity
    // Zone keys (VUK_Grid::ZoneKey; 0 unknown) of where the entity was last filed in the world's
    // grid and in the clients' pending grids, so that a move within them need not file it again.
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

private:
    uint32_t GetSlotValue(uint32_t slot, uint32_t field) const;
    void SetSlotValue(uint32_t slot, uint32_t field, uint32_t value);
    void FreeClientSlots();

    uint32_t* m_puiClientSlots = nullptr;
};
