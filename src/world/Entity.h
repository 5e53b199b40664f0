// The base of everything in the world and of the clients' view records: an axis-aligned box
// with centre, full extents, velocity, texture and kind, an optional rotation, a shared label
// and optional extended attributes.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/PointerStringList.h"
#include "world/VUKVector.h"

// ---- kinds (low four bits of m_ucTypeAndFlags) -------------------------------------------------
inline constexpr uint8_t kKindPlayer = 1;
inline constexpr uint8_t kKindNormalPad = 4;
inline constexpr uint8_t kKindFireBlock = 6;
inline constexpr uint8_t kKindTalvyCube = 8;
inline constexpr uint8_t kKindOrisetCube = 9;
inline constexpr uint8_t kKindZorbinCube = 10;
inline constexpr uint8_t kKindPalaceCube = 11;
inline constexpr uint8_t kKindQuillhobCube = 12;

// ---- m_ucTypeAndFlags ----------------------------------------------------------------------
inline constexpr uint8_t kTypeKindMask = 0x0F;
inline constexpr uint8_t kTypeTextureModeMask = 0x30; // saved and replicated with the texture
inline constexpr uint8_t kTypeTextureModeShift = 4;
inline constexpr uint8_t kTypeUnrotatedBounds = 0x40; // the zone grid ignores the rotation

// The kind and texture-mode fields of a m_ucTypeAndFlags byte (entities and view records).
inline uint8_t KindOf(uint8_t typeAndFlags) { return typeAndFlags & kTypeKindMask; }
inline void SetKindIn(uint8_t& typeAndFlags, uint8_t kind) {
    typeAndFlags = uint8_t((typeAndFlags & ~kTypeKindMask) | (kind & kTypeKindMask));
}
inline uint8_t TextureModeOf(uint8_t typeAndFlags) {
    return uint8_t((typeAndFlags & kTypeTextureModeMask) >> kTypeTextureModeShift);
}
inline void SetTextureModeIn(uint8_t& typeAndFlags, uint8_t mode) {
    typeAndFlags =
        uint8_t((typeAndFlags & ~kTypeTextureModeMask) | ((mode << kTypeTextureModeShift) & kTypeTextureModeMask));
}

// Yaw, pitch and roll in radians. Present on an entity only while some angle is non-zero.
struct Rotation {
    float m_fYaw = 0.0f;
    float m_fPitch = 0.0f;
    float m_fRoll = 0.0f;
    bool m_bNonZero = false;

    void RecomputeNonZero() { m_bNonZero = m_fYaw != 0.0f || m_fPitch != 0.0f || m_fRoll != 0.0f; }
    // Component 0 is the yaw, 1 the pitch, 2 the roll.
    float Get(int i) const { return i == 0 ? m_fYaw : i == 1 ? m_fPitch : m_fRoll; }
    void Set(int i, float angle) { (i == 0 ? m_fYaw : i == 1 ? m_fPitch : m_fRoll) = angle; }
};

// An (id, value) pair; a value of 0 is never stored.
struct ExtendedEntityAttribute {
    uint8_t m_ucId = 0;
    uint32_t m_uiValue = 0;
};

// Attribute ids.
inline constexpr uint8_t kEEABounce = 1;         // bounce amount of a pad
inline constexpr uint8_t kEEATagLockTime = 2;    // tag pad protection time, seconds
inline constexpr uint8_t kEEATagLockLeft = 3;    // tag pad protection seconds left
inline constexpr uint8_t kEEATagPayout = 4;      // tag pad coins per second
inline constexpr uint8_t kEEAInverseAlpha = 5;   // 255 - alpha
inline constexpr uint8_t kEEAPrincessReward = 6; // coins for a princess cube landing here

class ExtendedEntityAttributeList : public PointerStringList<ExtendedEntityAttribute> {
public:
    ~ExtendedEntityAttributeList() override = default;
};

// One node of the label cache: a character tree rooted in Entity::m_sESCE. A node's children
// are kept sparse (sorted by byte) rather than as 256 pointers: a dense node costs 2 KiB per
// character of every distinct label, which labels read from files could turn into gigabytes.
// Nodes and strings live until the program ends.
struct EntityStringCacheEntry {
    // Allocated on the first child and never freed, so the tree stays reachable to the end.
    std::vector<std::pair<uint8_t, EntityStringCacheEntry*>>* m_pChildren = nullptr;
    std::string* m_pString = nullptr;

    EntityStringCacheEntry* FindChild(uint8_t c) const;
    EntityStringCacheEntry* FindOrAddChild(uint8_t c);
};

class Entity {
public:
    Entity() = default;
    // Deletes the rotation record and the attribute list; the label belongs to the cache.
    virtual ~Entity();
    Entity(const Entity&) = delete;
    Entity& operator=(const Entity&) = delete;

    VUKVector m_vPosition;     // centre of the box
    VUKVector m_vSize;         // full extents
    VUKVector m_vVelocity;     // world units per tick
    VUKVector m_vTextureScale; // texture tiling size per axis
    uint16_t m_usTexture = 0;  // clients receive the low 10 bits
    uint8_t m_ucTypeAndFlags = 0;
    Rotation* m_pRotation = nullptr;
    const std::string* m_pLabel = nullptr;
    ExtendedEntityAttributeList* m_pEEAList = nullptr;

    static EntityStringCacheEntry m_sESCE;

    uint8_t GetKind() const { return KindOf(m_ucTypeAndFlags); }
    void SetKind(uint8_t kind) { SetKindIn(m_ucTypeAndFlags, kind); }
    uint8_t GetTextureMode() const { return TextureModeOf(m_ucTypeAndFlags); }
    void SetTextureMode(uint8_t mode) { SetTextureModeIn(m_ucTypeAndFlags, mode); }
    bool HasUnrotatedBounds() const { return (m_ucTypeAndFlags & kTypeUnrotatedBounds) != 0; }

    // Label cache: an empty text gives a null label; equal texts share one string.
    void SetLabel(std::string_view text);
    const std::string& GetLabel() const;
    static const std::string* CacheLabel(std::string_view text);
    // A cached label as a 32-bit handle (0 for none) and back.
    static uint32_t LabelHandle(const std::string* label);
    static const std::string* LabelAt(uint32_t handle);

    // Rotation: the setters create the record when missing, store the angle, recompute the
    // non-zero flag and free the record again when all three angles are zero.
    float GetYaw() const { return m_pRotation ? m_pRotation->m_fYaw : 0.0f; }
    float GetPitch() const { return m_pRotation ? m_pRotation->m_fPitch : 0.0f; }
    float GetRoll() const { return m_pRotation ? m_pRotation->m_fRoll : 0.0f; }
    void SetYaw(float angle) { SetRotationComponent(0, angle); }
    void SetPitch(float angle) { SetRotationComponent(1, angle); }
    void SetRoll(float angle) { SetRotationComponent(2, angle); }
    void SetRotationComponent(int component, float angle);
    void SetRotation(float yaw, float pitch, float roll);
    void ClearRotation();
    void TryDeallocRotation();
    bool HasRotation() const { return m_pRotation != nullptr && m_pRotation->m_bNonZero; }

    // Extended attributes: a value of 0 removes the attribute, and the list goes with the last.
    void SetEEA(uint8_t id, uint32_t value);
    uint32_t GetEEA(uint8_t id) const;

    // Object matrix: rotation by the entity's angles, then translation to its position.
    void GetObjectMatrix(VUKMatrix* M) const;
    // The object-matrix formula with the negated angles, translated by -(position · rows).
    void GetIObjectMatrix(VUKMatrix* I) const;
    void GetObjectAndIObjectMatrix(VUKMatrix* M, VUKMatrix* I) const;
    void GetIObjectMatrix_WithPosOffset(VUKMatrix* I, const VUKVector* offset) const;
};
