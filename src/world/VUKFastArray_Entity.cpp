#include "world/VUKFastArray_Entity.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/LogChat.h"
#include "platform/Console.h"
#include "world/VUK_Zone.h"
#include "world/WorldFatalError.h"

void ReportBrokenInvariant(const char* text) {
    platform::ConsolePrintf("%s\n", text);
    LogChat("CRASH", text);
}

namespace {

// Ids of arrays without a zone; index 0 is never handed out and freed ids are reused
// last-freed-first.
struct ArrayRegistry {
    std::vector<VUKFastArray_Entity*> arrays{nullptr};
    std::vector<uint32_t> freeIds;

    uint32_t Add(VUKFastArray_Entity* a) {
        if (!freeIds.empty()) {
            uint32_t id = freeIds.back();
            freeIds.pop_back();
            arrays[id] = a;
            return id;
        }
        arrays.push_back(a);
        return uint32_t(arrays.size() - 1);
    }
    void Remove(uint32_t id) {
        arrays[id] = nullptr;
        freeIds.push_back(id);
    }
};

ArrayRegistry& Registry() {
    // Never destroyed: arrays in static objects may outlive any static registry.
    static ArrayRegistry* registry = new ArrayRegistry();
    return *registry;
}

constexpr uint32_t kRegistryBit = 0x80000000u;
constexpr uint32_t kListBits = 3;
constexpr uint32_t kListMask = (1u << kListBits) - 1;
static_assert(kZoneListCount <= (1u << kListBits), "list numbers must fit the id");

} // namespace

void* PFAE_Info::operator new(std::size_t) { return g_VukHeap_PFAE_Info.AllocateOne(); }
void PFAE_Info::operator delete(void* p) { g_VukHeap_PFAE_Info.FreeOne(p); }

VUKFastArray_Entity* PFAE_Info::GetArray() const { return VUKFastArray_Entity::FromId(m_uiArrayId); }

void VUKFastArray<PFAE_Info*>::Grow() {
    uint32_t capacity = Capacity();
    if (capacity * 2 >= kOnHeap) throw WorldFatalError("VUKFastArray<PFAE_Info*>: capacity exhausted");
    if (OnHeap()) {
        uint32_t* bigger = new uint32_t[size_t(capacity) * 2];
        std::memcpy(bigger, m_puiHeap, sizeof(uint32_t) * capacity);
        delete[] m_puiHeap;
        m_puiHeap = bigger;
    }
    m_uiCapacity = (m_uiCapacity & kOnHeap) | (capacity * 2);
}

void VUKFastArray<PFAE_Info*>::MoveToHeap() {
    uint32_t* storage = new uint32_t[Capacity()];
    std::memcpy(storage, m_uiInline, sizeof m_uiInline);
    m_puiHeap = storage;
    m_uiCapacity |= kOnHeap;
}

VUKFastArray_Entity* VUKFastArray_Entity::FromId(uint32_t id) {
    if (id & kRegistryBit) {
        ArrayRegistry& r = Registry();
        uint32_t index = id & ~kRegistryBit;
        return index < r.arrays.size() ? r.arrays[index] : nullptr;
    }
    if (id == 0) return nullptr;
    auto* zone = reinterpret_cast<VUK_Zone*>(g_VukHeap_VukZone.FromHandle(id >> kListBits));
    return &zone->m_Lists[id & kListMask];
}

VUKFastArray_Entity::VUKFastArray_Entity(uint32_t capacity, VUK_Zone* owner)
    : m_pOwner(owner), m_uiCapacity(capacity ? capacity : 1) {}

VUKFastArray_Entity::~VUKFastArray_Entity() {
    if (m_uiCount != 0) ReportBrokenInvariant("VUKFastArray_Entity destroyed while it still holds entries");
    FreeStorage();
}

void VUKFastArray_Entity::AllocateStorage() {
    m_pEntries = new Entry[m_uiCapacity];
    if (!m_pOwner) {
        m_uiArrayId = Registry().Add(this) | kRegistryBit;
        return;
    }
    ptrdiff_t list = this - m_pOwner->m_Lists;
    uint32_t zone = g_VukHeap_VukZone.HandleOf(m_pOwner);
    if (list < 0 || list >= kZoneListCount || zone >= (1u << (31 - kListBits))) {
        delete[] m_pEntries;
        m_pEntries = nullptr;
        throw WorldFatalError("VUKFastArray_Entity: a zone array outside its zone");
    }
    m_uiArrayId = (zone << kListBits) | uint32_t(list);
}

void VUKFastArray_Entity::FreeStorage() {
    if (!m_pEntries) return;
    delete[] m_pEntries;
    m_pEntries = nullptr;
    if (m_uiArrayId & kRegistryBit) Registry().Remove(m_uiArrayId & ~kRegistryBit);
    m_uiArrayId = 0;
}

void VUKFastArray_Entity::Grow() {
    Entry* bigger = new Entry[size_t(m_uiCapacity) * 2];
    std::memcpy(bigger, m_pEntries, sizeof(Entry) * m_uiCapacity);
    delete[] m_pEntries;
    m_pEntries = bigger;
    m_uiCapacity *= 2;
}

void VUKFastArray_Entity::AddEntity(Server_Entity* e, PFAE_InfoList* links) {
    if (!m_pEntries) AllocateStorage();
    ++m_uiCount;
    if (m_uiCount >= m_uiCapacity) Grow();
    uint32_t slot = m_uiCount - 1;
    PFAE_Info* info = new PFAE_Info();
    info->m_uiArrayId = m_uiArrayId;
    info->m_uiIndex = slot;
    Entry& entry = m_pEntries[slot];
    entry.SetEntity(e);
    entry.m_uiLink = g_VukHeap_PFAE_Info.HandleOf(info);
    links->Append(info);
    if (m_ucDisorder < 64) ++m_ucDisorder;
}

PFAE_Info* VUKFastArray_Entity::GetLink(uint32_t i) const {
    return reinterpret_cast<PFAE_Info*>(g_VukHeap_PFAE_Info.FromHandle(m_pEntries[i].m_uiLink));
}

void VUKFastArray_Entity::RawRemoveItem(uint32_t index) {
    if (index >= m_uiCount) throw WorldFatalError("VUKFastArray_Entity::RawRemoveItem: index out of range");
    Entry& removed = m_pEntries[index];
    const Entry& last = m_pEntries[m_uiCount - 1];
    uint32_t removedLink = removed.m_uiLink;
    reinterpret_cast<PFAE_Info*>(g_VukHeap_PFAE_Info.FromHandle(last.m_uiLink))->m_uiIndex = index;
    removed = last;
    delete reinterpret_cast<PFAE_Info*>(g_VukHeap_PFAE_Info.FromHandle(removedLink));
    --m_uiCount;
    if (m_ucDisorder < 64) ++m_ucDisorder;
    if (m_uiCount == 0) {
        FreeStorage();
        m_ucDisorder = 0;
    }
}

void VUKFastArray_Entity::SortByAddresses() {
    if (!m_pEntries || m_ucDisorder <= 31) return;
    m_ucDisorder = 0;
    std::sort(m_pEntries, m_pEntries + m_uiCount, [](const Entry& a, const Entry& b) {
        return reinterpret_cast<uintptr_t>(a.Entity()) < reinterpret_cast<uintptr_t>(b.Entity());
    });
    for (uint32_t i = 0; i < m_uiCount; ++i)
        reinterpret_cast<PFAE_Info*>(g_VukHeap_PFAE_Info.FromHandle(m_pEntries[i].m_uiLink))->m_uiIndex = i;
}

void VUKFastArray_Entity::PrefetchForRemoval(const PFAE_InfoList& links) {
    const uint32_t n = links.Count();
    for (uint32_t i = 0; i < n; ++i) __builtin_prefetch(links.Get(i));
    for (uint32_t i = 0; i < n; ++i) __builtin_prefetch(links.Get(i)->GetArray());
    for (uint32_t i = 0; i < n; ++i) {
        const PFAE_Info* info = links.Get(i);
        const VUKFastArray_Entity* array = info->GetArray();
        if (!array || !array->m_pEntries || info->m_uiIndex >= array->m_uiCount) continue;
        __builtin_prefetch(&array->m_pEntries[info->m_uiIndex], 1);
        __builtin_prefetch(&array->m_pEntries[array->m_uiCount - 1]);
    }
    for (uint32_t i = 0; i < n; ++i) {
        const VUKFastArray_Entity* array = links.Get(i)->GetArray();
        if (!array || !array->m_pEntries || array->m_uiCount == 0) continue;
        __builtin_prefetch(g_VukHeap_PFAE_Info.FromHandle(array->m_pEntries[array->m_uiCount - 1].m_uiLink), 1);
    }
}

bool VUKFastArray_Entity::Contains(const Server_Entity* e) const {
    for (uint32_t i = 0; i < m_uiCount; ++i)
        if (m_pEntries[i].Entity() == e) return true;
    return false;
}
