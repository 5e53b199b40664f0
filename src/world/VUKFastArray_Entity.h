// Entity arrays that an entity leaves in constant time. Every entry has a link record
// (PFAE_Info) holding the array and the entry's index; the entity keeps pointers to its link
// records in a VUKFastArray<PFAE_Info*>, so it can leave all its arrays in time proportional to
// their number.
//
// Memory layout (free to choose, since only the save file and the wire fix byte layouts):
// - a link record names its array by a 32-bit array id and its slot by a u32 (8 bytes);
// - an entry is 12 bytes: the entity pointer as two 32-bit halves and the 32-bit pool handle of
//   its link record, so a removal touches one cache line at the removed slot and one at the last;
// - VUKFastArray<PFAE_Info*> stores 32-bit pool handles and converts on access.
// Array ids: an array of a zone is named by the zone's handle in g_VukHeap_VukZone and its list
// number, so finding it costs no table look-up; any other array gets an id from a registry while
// it has storage (from its first addition until it empties).
#pragma once
#include <cstdint>

#include "base/VUKFastArray.h"
#include "world/VUKHeap.h"

class Server_Entity;
class VUKFastArray_Entity;
class VUK_Zone;

struct PFAE_Info {
    uint32_t m_uiArrayId = 0;
    uint32_t m_uiIndex = 0;

    VUKFastArray_Entity* GetArray() const;

    static void* operator new(std::size_t size);
    static void operator delete(void* p);
};

// A list of link records kept as 32-bit handles into g_VukHeap_PFAE_Info; the same growth
// rule and capacities as every VUKFastArray. operator[] returns the record by value.
// The first two handles live in the object itself, in place of the storage pointer: a normal
// pad's group list (all entities, normal pads) then needs no allocation. The storage of the
// full capacity is allocated when a third handle arrives.
template <> class VUKFastArray<PFAE_Info*> {
public:
    explicit VUKFastArray(uint32_t capacity = 8) : m_uiCapacity(capacity ? capacity : 1) {}
    virtual ~VUKFastArray() {
        if (OnHeap()) delete[] m_puiHeap;
    }
    VUKFastArray(const VUKFastArray&) = delete;
    VUKFastArray& operator=(const VUKFastArray&) = delete;

    void Append(PFAE_Info* info) {
        ++m_uiCount;
        if (m_uiCount >= Capacity()) Grow();
        if (m_uiCount > kInline && !OnHeap()) MoveToHeap();
        Data()[m_uiCount - 1] = g_VukHeap_PFAE_Info.HandleOf(info);
    }
    PFAE_Info* operator[](uint32_t i) const { return Get(i); }
    PFAE_Info* Get(uint32_t i) const { return reinterpret_cast<PFAE_Info*>(g_VukHeap_PFAE_Info.FromHandle(Data()[i])); }
    uint32_t Count() const { return m_uiCount; }
    uint32_t Capacity() const { return m_uiCapacity & ~kOnHeap; }
    void Clear() { m_uiCount = 0; }
    void RemoveAt(uint32_t i) {
        Data()[i] = Data()[m_uiCount - 1];
        --m_uiCount;
    }
    // Bytes allocated outside the object.
    size_t HeapBytes() const { return OnHeap() ? Capacity() * sizeof(uint32_t) : 0; }

private:
    static constexpr uint32_t kInline = 2;
    static constexpr uint32_t kOnHeap = 0x80000000u;

    bool OnHeap() const { return (m_uiCapacity & kOnHeap) != 0; }
    uint32_t* Data() { return OnHeap() ? m_puiHeap : m_uiInline; }
    const uint32_t* Data() const { return OnHeap() ? m_puiHeap : m_uiInline; }
    void Grow();
    void MoveToHeap();

    union {
        uint32_t* m_puiHeap;
        uint32_t m_uiInline[kInline];
    };
    uint32_t m_uiCount = 0;
    uint32_t m_uiCapacity; // the top bit says the handles are on the heap
};

using PFAE_InfoList = VUKFastArray<PFAE_Info*>;

class VUKFastArray_Entity {
public:
    explicit VUKFastArray_Entity(uint32_t capacity = 1, VUK_Zone* owner = nullptr);
    // Destroying an array that still holds entries is reported (ReportBrokenInvariant); the
    // link records of those entries then name no array, and using them raises a WorldFatalError.
    virtual ~VUKFastArray_Entity();
    VUKFastArray_Entity(const VUKFastArray_Entity&) = delete;
    VUKFastArray_Entity& operator=(const VUKFastArray_Entity&) = delete;

    // Appends e and records where it went: a new link record goes to links.
    void AddEntity(Server_Entity* e, PFAE_InfoList* links);
    // Removes the entry at index by moving the last entry into its place and frees the entry's
    // link record. The caller forgets the record in the entity's own link list.
    void RawRemoveItem(uint32_t index);
    // Ascending entity addresses, but only once more than 31 changes have accumulated.
    void SortByAddresses();
    // Removing an entity from all its arrays touches a few scattered cache lines per entry (its
    // link record, the array, the removed and the last slot, the moved entry's record). Asking
    // for all of them first lets the misses overlap instead of following one another.
    static void PrefetchForRemoval(const PFAE_InfoList& links);
    // The same for an addition: the slot it will fill.
    void PrefetchAppend() const {
        if (m_pEntries) __builtin_prefetch(&m_pEntries[m_uiCount], 1);
    }

    struct Entry {
        uint32_t m_uiEntityLow;
        uint32_t m_uiEntityHigh;
        uint32_t m_uiLink; // handle of the link record

        Server_Entity* Entity() const {
            return reinterpret_cast<Server_Entity*>(uintptr_t(m_uiEntityLow) | (uintptr_t(m_uiEntityHigh) << 32));
        }
        void SetEntity(const Server_Entity* e) {
            uintptr_t v = reinterpret_cast<uintptr_t>(e);
            m_uiEntityLow = uint32_t(v);
            m_uiEntityHigh = uint32_t(v >> 32);
        }
    };

    uint32_t Count() const { return m_uiCount; }
    Server_Entity* GetEntity(uint32_t i) const { return m_pEntries[i].Entity(); }
    PFAE_Info* GetLink(uint32_t i) const;
    uint32_t Capacity() const { return m_uiCapacity; }
    VUK_Zone* GetOwner() const { return m_pOwner; }
    uint8_t GetDisorder() const { return m_ucDisorder; }
    bool HasStorage() const { return m_pEntries != nullptr; }
    uint32_t GetArrayId() const { return m_uiArrayId; }
    bool Contains(const Server_Entity* e) const;

    // The array named by id (null for a stale id of an array without a zone).
    static VUKFastArray_Entity* FromId(uint32_t id);

private:
    void AllocateStorage();
    void FreeStorage();
    void Grow();

    VUK_Zone* m_pOwner;
    uint32_t m_uiCount = 0;
    uint32_t m_uiCapacity;
    uint8_t m_ucDisorder = 0;
    uint32_t m_uiArrayId = 0;
    Entry* m_pEntries = nullptr;
};
