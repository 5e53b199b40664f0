#include "world/Server_Entity.h"

#include <cmath>
#include <cstring>
#include <exception>
#include <vector>

#include "base/Settings.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"
#include "world/VUK_Grid.h"
#include "world/WorldFatalError.h"

uint32_t g_uiAllocatedClientUINs = 32;

namespace {

// The five values of one client slot, in the order they are stored.
enum SlotField : uint32_t { kSlotView, kSlotPending, kSlotZoneWait, kSlotAttached, kSlotZoneInfo, kSlotFields };
// Block header, one word: the slots the block reaches (low half) and how many of its values
// are set (high half). Five values per slot keep both below 65,536 up to kMaxSlots.
constexpr uint32_t kHeaderWords = 1;
constexpr uint32_t kMaxSlots = kMaxClientSlots;

uint32_t SlotsOf(const uint32_t* block) { return block[0] & 0xFFFF; }
uint32_t LiveOf(const uint32_t* block) { return block[0] >> 16; }

// Zone records are the replication layer's own allocations, not pool elements, so they are
// registered here to get a 32-bit handle. Handle 0 is never handed out.
struct ZoneInfoTable {
    std::vector<VUKFastArray<PFAE_Info*>*> entries{nullptr};
    std::vector<uint32_t> freeHandles;

    uint32_t Add(VUKFastArray<PFAE_Info*>* info) {
        if (!freeHandles.empty()) {
            uint32_t h = freeHandles.back();
            freeHandles.pop_back();
            entries[h] = info;
            return h;
        }
        entries.push_back(info);
        return uint32_t(entries.size() - 1);
    }
    void Remove(uint32_t h) {
        entries[h] = nullptr;
        freeHandles.push_back(h);
    }
};

ZoneInfoTable& ZoneInfos() {
    static ZoneInfoTable* table = new ZoneInfoTable(); // outlives every static entity
    return *table;
}

uint32_t RoundUpToPowerOfTwo(uint32_t n) {
    uint32_t p = 1;
    while (p < n) p <<= 1;
    return p;
}

} // namespace

// ---- Server_Entity ------------------------------------------------------------------------------

void* Server_Entity::operator new(std::size_t size) {
    if (size > g_VukHeap_ServerEntity.ElementSize()) throw WorldFatalError("Server_Entity pool: object too large");
    return g_VukHeap_ServerEntity.AllocateOne();
}

void Server_Entity::operator delete(void* p) { g_VukHeap_ServerEntity.FreeOne(p); }

Server_Entity::Server_Entity() { MakeKind(kKindNormalPad); }

void Server_Entity::MakeKind(uint8_t kind) {
    // How each kind looks when it is made. A Quillhob cube takes the texture set for them now.
    struct KindLook {
        uint8_t m_ucKind;
        uint16_t m_usTexture;
        float m_fTextureScale;
        uint8_t m_ucTextureMode;
        bool m_bUnrotatedBounds;
    };
    static constexpr KindLook kLooks[] = {
        {kKindPlayer, 1, 32.0f, 3, true},       {kKindNormalPad, 42, 128.0f, 2, false},
        {kKindFireBlock, 3, 32.0f, 1, true},    {kKindTalvyCube, 9, 128.0f, 1, true},
        {kKindOrisetCube, 19, 128.0f, 1, true}, {kKindZorbinCube, kZorbinCubeTexture, 64.0f, 1, true},
        {kKindPalaceCube, 60, 128.0f, 1, true}, {kKindQuillhobCube, 0, 128.0f, 1, true},
    };
    for (const KindLook& look : kLooks) {
        if (look.m_ucKind != kind) continue;
        SetKind(kind);
        m_usTexture = kind == kKindQuillhobCube ? uint16_t(g_uiQuillhobTexture) : look.m_usTexture;
        m_vTextureScale.Set(look.m_fTextureScale, look.m_fTextureScale, look.m_fTextureScale);
        SetTextureMode(look.m_ucTextureMode);
        if (look.m_bUnrotatedBounds) m_ucTypeAndFlags |= kTypeUnrotatedBounds;
    }
}

Server_Entity::~Server_Entity() {
    // Normally the world has removed the entity already; this keeps arrays from holding a
    // dangling entry when an entity is deleted while still filed.
    try {
        for (uint32_t i = 0; i < m_GroupLinks.Count(); ++i) {
            PFAE_Info* info = m_GroupLinks.Get(i);
            if (VUKFastArray_Entity* array = info->GetArray())
                array->RawRemoveItem(info->m_uiIndex);
            else
                delete info; // its array is gone already
        }
        m_GroupLinks.Clear();
        if (m_ZoneLinks.Count() != 0) ZL_RemoveEntityFromZonesOnly(this, &m_ZoneLinks);
    } catch (const std::exception& e) {
        ReportBrokenInvariant(e.what());
    }
    for (Server_Player* player : m_ReferringPlayers) player->m_pPlatform = nullptr;
    m_ReferringPlayers.ReleaseAll();
    delete m_pGoalPad;
    delete m_pLift;
    FreeClientSlots();
}

GoalPadStuff* Server_Entity::GetOrCreateGoalPad() {
    if (!m_pGoalPad) m_pGoalPad = new GoalPadStuff();
    return m_pGoalPad;
}

void Server_Entity::DeleteGoalPad() {
    delete m_pGoalPad;
    m_pGoalPad = nullptr;
}

LiftStuff* Server_Entity::GetOrCreateLift() {
    if (!m_pLift) m_pLift = new LiftStuff();
    return m_pLift;
}

void Server_Entity::DeleteLift() {
    delete m_pLift;
    m_pLift = nullptr;
}

bool Server_Entity::IsExcessiveSizeForMovement(float x, float y, float z) {
    if (x > 2000.0f && y > 2000.0f && z > 2000.0f) return true;
    int above3000 = (x > 3000.0f) + (y > 3000.0f) + (z > 3000.0f);
    if (above3000 >= 2) return true;
    return x > 5000.0f || y > 5000.0f || z > 5000.0f;
}

bool Server_Entity::ShouldSizeBeRejected(float x, float y, float z) const {
    uint8_t kind = GetKind();
    bool mustStayMovable = (kind >= kKindTalvyCube && kind <= kKindPalaceCube) || m_pLift || IsPlayerBuilt();
    return mustStayMovable && IsExcessiveSizeForMovement(x, y, z);
}

void Server_Entity::ClipToOuterInvisibleBoundaries() {
    // A coordinate that is no number (bad input) has no nearest wall: it starts again from 0.
    for (float* c : {&m_vPosition.x, &m_vPosition.y, &m_vPosition.z}) {
        if (std::isfinite(*c)) continue;
        *c = 0.0f;
        SetDirty();
    }
    if (m_vPosition.y > 10'000.0f) {
        m_vPosition.y = 10'000.0f;
        SetDirty();
    }
    if (m_vPosition.x < -100'000.0f) {
        m_vPosition.x = -100'000.0f;
        SetDirty();
    } else if (m_vPosition.x > 100'000.0f) {
        m_vPosition.x = 100'000.0f;
        SetDirty();
    }
    if (m_vPosition.z < -100'000.0f) {
        m_vPosition.z = -100'000.0f;
        SetDirty();
    } else if (m_vPosition.z > 100'000.0f) {
        m_vPosition.z = 100'000.0f;
        SetDirty();
    }
}

// ---- per-client-slot storage ------------------------------------------------------------------

uint32_t Server_Entity::GetClientSlotCapacity() const { return m_puiClientSlots ? SlotsOf(m_puiClientSlots) : 0; }

size_t Server_Entity::GetClientSlotBytes() const {
    return m_puiClientSlots ? (kHeaderWords + size_t(SlotsOf(m_puiClientSlots)) * kSlotFields) * sizeof(uint32_t) : 0;
}

uint32_t Server_Entity::GetSlotValue(uint32_t slot, uint32_t field) const {
    if (!m_puiClientSlots || slot >= SlotsOf(m_puiClientSlots)) return 0;
    return m_puiClientSlots[kHeaderWords + slot * kSlotFields + field];
}

void Server_Entity::SetSlotValue(uint32_t slot, uint32_t field, uint32_t value) {
    if (slot >= g_uiAllocatedClientUINs || slot >= kMaxSlots)
        throw WorldFatalError("Server_Entity: client slot beyond the allocated slots");
    uint32_t capacity = m_puiClientSlots ? SlotsOf(m_puiClientSlots) : 0;
    if (slot >= capacity) {
        if (value == 0) return;
        uint32_t grown = RoundUpToPowerOfTwo(slot + 1);
        uint32_t* block = new uint32_t[kHeaderWords + size_t(grown) * kSlotFields]();
        uint32_t live = 0;
        if (m_puiClientSlots) {
            std::memcpy(block + kHeaderWords, m_puiClientSlots + kHeaderWords,
                        sizeof(uint32_t) * capacity * kSlotFields);
            live = LiveOf(m_puiClientSlots);
            delete[] m_puiClientSlots;
        }
        block[0] = grown | (live << 16);
        m_puiClientSlots = block;
    }
    uint32_t& cell = m_puiClientSlots[kHeaderWords + slot * kSlotFields + field];
    if ((cell != 0) != (value != 0)) m_puiClientSlots[0] += value != 0 ? 0x10000u : uint32_t(-0x10000);
    cell = value;
    if (LiveOf(m_puiClientSlots) == 0) {
        delete[] m_puiClientSlots;
        m_puiClientSlots = nullptr;
    }
}

void Server_Entity::FreeClientSlots() {
    if (!m_puiClientSlots) return;
    for (uint32_t slot = 0; slot < SlotsOf(m_puiClientSlots); ++slot) {
        uint32_t h = m_puiClientSlots[kHeaderWords + slot * kSlotFields + kSlotZoneInfo];
        if (h) ZoneInfos().Remove(h);
    }
    delete[] m_puiClientSlots;
    m_puiClientSlots = nullptr;
}

Server_Client_Entity* Server_Entity::GetClientView(uint32_t slot) const {
    return reinterpret_cast<Server_Client_Entity*>(
        g_VukHeap_ServerClientEntity.FromHandle(GetSlotValue(slot, kSlotView)));
}

void Server_Entity::SetClientView(uint32_t slot, Server_Client_Entity* view) {
    SetSlotValue(slot, kSlotView, g_VukHeap_ServerClientEntity.HandleOf(view));
}

uint32_t* Server_Entity::GetClientPendingLink(uint32_t slot) const {
    return reinterpret_cast<uint32_t*>(g_VukHeap_PFA_LinkBacks.FromHandle(GetSlotValue(slot, kSlotPending)));
}

void Server_Entity::SetClientPendingLink(uint32_t slot, uint32_t* cell) {
    SetSlotValue(slot, kSlotPending, g_VukHeap_PFA_LinkBacks.HandleOf(cell));
}

uint32_t* Server_Entity::GetClientZoneWaitLink(uint32_t slot) const {
    return reinterpret_cast<uint32_t*>(g_VukHeap_PFA_LinkBacks.FromHandle(GetSlotValue(slot, kSlotZoneWait)));
}

void Server_Entity::SetClientZoneWaitLink(uint32_t slot, uint32_t* cell) {
    SetSlotValue(slot, kSlotZoneWait, g_VukHeap_PFA_LinkBacks.HandleOf(cell));
}

uint32_t* Server_Entity::GetClientAttachedLink(uint32_t slot) const {
    return reinterpret_cast<uint32_t*>(g_VukHeap_PFA_LinkBacks.FromHandle(GetSlotValue(slot, kSlotAttached)));
}

void Server_Entity::SetClientAttachedLink(uint32_t slot, uint32_t* cell) {
    SetSlotValue(slot, kSlotAttached, g_VukHeap_PFA_LinkBacks.HandleOf(cell));
}

VUKFastArray<PFAE_Info*>* Server_Entity::GetClientZoneInfo(uint32_t slot) const {
    uint32_t h = GetSlotValue(slot, kSlotZoneInfo);
    return h ? ZoneInfos().entries[h] : nullptr;
}

void Server_Entity::SetClientZoneInfo(uint32_t slot, VUKFastArray<PFAE_Info*>* info) {
    uint32_t old = GetSlotValue(slot, kSlotZoneInfo);
    if (old && ZoneInfos().entries[old] == info) return;
    if (!old && !info) return;
    uint32_t h = info ? ZoneInfos().Add(info) : 0;
    try {
        SetSlotValue(slot, kSlotZoneInfo, h);
    } catch (...) {
        if (h) ZoneInfos().Remove(h);
        throw;
    }
    if (old) ZoneInfos().Remove(old);
}
