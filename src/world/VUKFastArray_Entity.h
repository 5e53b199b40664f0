// Entity arrays that an entity leaves in constant time. Every entry has a link record
// (PFAE_Info) holding the array and the entry's index; the entity keeps pointers to its link
// records in a VUKFastArray<PFAE_Info*>, so it can leave all its arrays in time proportional to
// their number.
//
// Memory layout (free to choose, since only the save file and the wire fix byte layouts):
// - a link record names its array by a 32-bit array id and its slot by a u32 (8 bytes);
// - an entry stores the entity pointer and the 32-bit pool handle of its link record, in two
//   parallel blocks of one allocation, so walking the entities touches only the pointers;
// - VUKFastArray<PFAE_Info*> stores 32-bit pool handles and converts on access.
// An array holds an id only while it has storage (from its first addition until it empties).
#pragma once
#include <cstdint>

#include "world/VUKFastArray.h"
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
// rule as every VUKFastArray. operator[] returns the record by value.
template <>
class VUKFastArray<PFAE_Info*> {
public:
    explicit VUKFastArray(uint32_t capacity = 8)
        : m_uiCapacity(capacity ? capacity : 1), m_puiData(new uint32_t[m_uiCapacity]) {}
    virtual ~VUKFastArray() { delete[] m_puiData; }
    VUKFastArray(const VUKFastArray&) = delete;
    VUKFastArray& operator=(const VUKFastArray&) = delete;

    void Append(PFAE_Info* info) {
        ++m_uiCount;
        if (m_uiCount >= m_uiCapacity) Grow();
        m_puiData[m_uiCount - 1] = g_VukHeap_PFAE_Info.HandleOf(info);
    }
    PFAE_Info* operator[](uint32_t i) const { return Get(i); }
    PFAE_Info* Get(uint32_t i) const {
        return reinterpret_cast<PFAE_Info*>(g_VukHeap_PFAE_Info.FromHandle(m_puiData[i]));
    }
    uint32_t Count() const { return m_uiCount; }
    uint32_t Capacity() const { return m_uiCapacity; }
    void Clear() { m_uiCount = 0; }
    void RemoveAt(uint32_t i) {
        m_puiData[i] = m_puiData[m_uiCount - 1];
        --m_uiCount;
    }

private:
    void Grow();

    uint32_t m_uiCount = 0;
    uint32_t m_uiCapacity;
    uint32_t* m_puiData;
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

    uint32_t Count() const { return m_uiCount; }
    Server_Entity* GetEntity(uint32_t i) const { return m_ppEntities[i]; }
    PFAE_Info* GetLink(uint32_t i) const;
    uint32_t Capacity() const { return m_uiCapacity; }
    VUK_Zone* GetOwner() const { return m_pOwner; }
    uint8_t GetDisorder() const { return m_ucDisorder; }
    bool HasStorage() const { return m_ppEntities != nullptr; }
    uint32_t GetArrayId() const { return m_uiArrayId; }
    bool Contains(const Server_Entity* e) const;

    // The array registered under id (null for a stale id).
    static VUKFastArray_Entity* FromId(uint32_t id);

private:
    void AllocateStorage();
    void FreeStorage();
    void Grow();
    uint32_t* Links() const { return reinterpret_cast<uint32_t*>(m_ppEntities + m_uiCapacity); }

    VUK_Zone* m_pOwner;
    uint32_t m_uiCount = 0;
    uint32_t m_uiCapacity;
    uint8_t m_ucDisorder = 0;
    uint32_t m_uiArrayId = 0;
    // One allocation: capacity entity pointers, then capacity link handles.
    Server_Entity** m_ppEntities = nullptr;
};
