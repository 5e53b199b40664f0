#include "world/VUKFastArray_Entity.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "core/LogChat.h"
#include "platform/Console.h"
#include "world/WorldFatalError.h"

void ReportBrokenInvariant(const char* text) {
    platform::ConsolePrintf("%s\n", text);
    LogChat("CRASH", text);
}

namespace {

// Array ids: link records name their array by a 32-bit id instead of a pointer. Id 0 is
// never handed out; freed ids are reused last-freed-first.
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

} // namespace

void* PFAE_Info::operator new(std::size_t) { return g_VukHeap_PFAE_Info.AllocateOne(); }
void PFAE_Info::operator delete(void* p) { g_VukHeap_PFAE_Info.FreeOne(p); }

VUKFastArray_Entity* PFAE_Info::GetArray() const { return VUKFastArray_Entity::FromId(m_uiArrayId); }

void VUKFastArray<PFAE_Info*>::Grow() {
    uint32_t* bigger = new uint32_t[size_t(m_uiCapacity) * 2];
    std::memcpy(bigger, m_puiData, sizeof(uint32_t) * m_uiCapacity);
    delete[] m_puiData;
    m_puiData = bigger;
    m_uiCapacity *= 2;
}

VUKFastArray_Entity* VUKFastArray_Entity::FromId(uint32_t id) {
    ArrayRegistry& r = Registry();
    return id < r.arrays.size() ? r.arrays[id] : nullptr;
}

VUKFastArray_Entity::VUKFastArray_Entity(uint32_t capacity, VUK_Zone* owner)
    : m_pOwner(owner), m_uiCapacity(capacity ? capacity : 1) {}

VUKFastArray_Entity::~VUKFastArray_Entity() {
    if (m_uiCount != 0) ReportBrokenInvariant("VUKFastArray_Entity destroyed while it still holds entries");
    FreeStorage();
}

void VUKFastArray_Entity::AllocateStorage() {
    // Entity pointers first, then the link handles: 12 bytes per slot in one block.
    size_t bytes = size_t(m_uiCapacity) * (sizeof(Server_Entity*) + sizeof(uint32_t));
    m_ppEntities = reinterpret_cast<Server_Entity**>(new uint64_t[(bytes + 7) / 8]);
    m_uiArrayId = Registry().Add(this);
}

void VUKFastArray_Entity::FreeStorage() {
    if (!m_ppEntities) return;
    delete[] reinterpret_cast<uint64_t*>(m_ppEntities);
    m_ppEntities = nullptr;
    Registry().Remove(m_uiArrayId);
    m_uiArrayId = 0;
}

void VUKFastArray_Entity::Grow() {
    uint32_t oldCapacity = m_uiCapacity;
    Server_Entity** oldEntities = m_ppEntities;
    uint32_t* oldLinks = Links();
    m_uiCapacity = oldCapacity * 2;
    size_t bytes = size_t(m_uiCapacity) * (sizeof(Server_Entity*) + sizeof(uint32_t));
    m_ppEntities = reinterpret_cast<Server_Entity**>(new uint64_t[(bytes + 7) / 8]);
    std::memcpy(m_ppEntities, oldEntities, sizeof(Server_Entity*) * oldCapacity);
    std::memcpy(Links(), oldLinks, sizeof(uint32_t) * oldCapacity);
    delete[] reinterpret_cast<uint64_t*>(oldEntities);
}

void VUKFastArray_Entity::AddEntity(Server_Entity* e, PFAE_InfoList* links) {
    if (!m_ppEntities) AllocateStorage();
    ++m_uiCount;
    if (m_uiCount >= m_uiCapacity) Grow();
    uint32_t slot = m_uiCount - 1;
    PFAE_Info* info = new PFAE_Info();
    info->m_uiArrayId = m_uiArrayId;
    info->m_uiIndex = slot;
    m_ppEntities[slot] = e;
    Links()[slot] = g_VukHeap_PFAE_Info.HandleOf(info);
    links->Append(info);
    if (m_ucDisorder < 64) ++m_ucDisorder;
}

PFAE_Info* VUKFastArray_Entity::GetLink(uint32_t i) const {
    return reinterpret_cast<PFAE_Info*>(g_VukHeap_PFAE_Info.FromHandle(Links()[i]));
}

void VUKFastArray_Entity::RawRemoveItem(uint32_t index) {
    if (index >= m_uiCount) throw WorldFatalError("VUKFastArray_Entity::RawRemoveItem: index out of range");
    uint32_t last = m_uiCount - 1;
    uint32_t* links = Links();
    uint32_t removed = links[index];
    m_ppEntities[index] = m_ppEntities[last];
    reinterpret_cast<PFAE_Info*>(g_VukHeap_PFAE_Info.FromHandle(links[last]))->m_uiIndex = index;
    delete reinterpret_cast<PFAE_Info*>(g_VukHeap_PFAE_Info.FromHandle(removed));
    links[index] = links[last];
    --m_uiCount;
    if (m_ucDisorder < 64) ++m_ucDisorder;
    if (m_uiCount == 0) {
        FreeStorage();
        m_ucDisorder = 0;
    }
}

void VUKFastArray_Entity::SortByAddresses() {
    if (!m_ppEntities || m_ucDisorder <= 31) return;
    m_ucDisorder = 0;
    std::vector<std::pair<Server_Entity*, uint32_t>> entries(m_uiCount);
    uint32_t* links = Links();
    for (uint32_t i = 0; i < m_uiCount; ++i) entries[i] = {m_ppEntities[i], links[i]};
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
        return reinterpret_cast<uintptr_t>(a.first) < reinterpret_cast<uintptr_t>(b.first);
    });
    for (uint32_t i = 0; i < m_uiCount; ++i) {
        m_ppEntities[i] = entries[i].first;
        links[i] = entries[i].second;
        reinterpret_cast<PFAE_Info*>(g_VukHeap_PFAE_Info.FromHandle(links[i]))->m_uiIndex = i;
    }
}

bool VUKFastArray_Entity::Contains(const Server_Entity* e) const {
    for (uint32_t i = 0; i < m_uiCount; ++i)
        if (m_ppEntities[i] == e) return true;
    return false;
}
