#include "world/VUKHeap.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "base/LogChat.h"
#include "platform/Console.h"
#include "world/LinkedList.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"
#include "world/VUKFastArray_Entity.h"
#include "world/VUK_Zone.h"
#include "world/WorldFatalError.h"
#include "world/ZoneGridHolder.h"

namespace {

constexpr uint8_t kPageCommitted = 0x01;
constexpr uint8_t kPageQueued = 0x02;

uint32_t ShiftFor(uint32_t size) {
    if (size == 0 || (size & (size - 1)) != 0) return 0;
    uint32_t shift = 0;
    while ((1u << shift) != size) ++shift;
    return shift;
}

} // namespace

VukHeap::VukHeap(uint32_t elementSize, uint32_t elementCount, const char* name, Lifetime lifetime)
    : m_strName(name), m_uiElementSize(elementSize), m_uiElementCount(elementCount), m_Lifetime(lifetime) {
    size_t bytes = size_t(elementSize) * elementCount;
    if (bytes / kVukPageSize >= UINT32_MAX) {
        char text[512];
        snprintf(text, sizeof text, "Heap Creation Error: Out of virtual (reserved) addressing space %s..", name);
        vukmem::ReportAndThrow(text);
    }
    m_uiPageCount = uint32_t(std::ceil(float(bytes) * 0.00024414062f));
    // Above 2^24 bytes the single-precision count can round below the pages really needed.
    uint32_t exact = uint32_t((bytes + kVukPageSize - 1) / kVukPageSize);
    if (m_uiPageCount < exact) m_uiPageCount = exact;
    m_uiReservedBytes = size_t(m_uiPageCount) * kVukPageSize;
    if (m_uiReservedBytes == 0) m_uiReservedBytes = kVukPageSize;
    if (m_Range.Reserve(m_uiReservedBytes, true)) m_pBase = m_Range.m_pBase;
    if (!m_pBase) {
        char text[512];
        snprintf(text, sizeof text, "Heap Creation Error: Out of virtual (reserved) addressing space %s..", name);
        vukmem::ReportAndThrow(text);
    }
    vukmem::RegisterRoot(m_pBase, m_uiReservedBytes);
    m_pTop = m_pBase;
    m_pEnd = m_pBase + bytes;
    m_puiPageUse.reset(new uint32_t[m_uiPageCount ? m_uiPageCount : 1]());
    m_pucPageState.reset(new uint8_t[m_uiPageCount ? m_uiPageCount : 1]());
    m_pusChunkPages.reset(new uint16_t[m_uiPageCount / kVukChunkPages + 1]());
    try {
        m_pFreeStack = std::make_unique<VukHeap_FreeElementStack>(elementSize, elementCount);
    } catch (...) {
        vukmem::UnregisterRoot(m_pBase, m_uiReservedBytes);
        m_Range.Release();
        throw;
    }
    m_uiShift = ShiftFor(elementSize);
    m_bPowerOfTwo = elementSize != 0 && (elementSize & (elementSize - 1)) == 0;
    m_ChainRanges.push_back({m_pBase, m_pEnd});
}

VukHeap::~VukHeap() noexcept(false) {
    if (m_Lifetime == Lifetime::Process) {
        if (!CanBeFreed()) {
            // At exit: say so, and leave the ranges to the operating system.
            platform::ConsolePrintf("Heap Deletion Error: Objects Left Over in %s..\n", m_strName.c_str());
            (void)m_pNext.release();
            return;
        }
        m_pNext.reset();
        vukmem::UnregisterRoot(m_pBase, m_uiReservedBytes);
        m_Range.Release();
        return;
    }
    // Not through the unique_ptr: its reset may not throw, and the chained pool's error must
    // reach the caller.
    delete m_pNext.release();
    char text[512];
    snprintf(text, sizeof text, "DEBUG INFO: Deleted extra heap for %s objects", m_strName.c_str());
    LogChat("VukHeap", text);
    if (m_uiLiveCount != 0) {
        snprintf(text, sizeof text, "Heap Deletion Error: Objects Left Over in %s..", m_strName.c_str());
        vukmem::ReportAndThrow(text);
    }
    vukmem::UnregisterRoot(m_pBase, m_uiReservedBytes);
    m_Range.Release();
}

uint8_t* VukHeap::AllocateHere() {
    uint8_t* p;
    if (!m_pFreeStack->Pop(&p)) {
        if (m_pTop >= m_pEnd) return nullptr;
        p = m_pTop;
        m_pTop += m_uiElementSize;
    }
    MarkPagesUsed(p, m_uiElementSize);
    ++m_uiLiveCount;
    vukmem::UnpoisonSlot(p, m_uiElementSize);
    return p;
}

std::unique_ptr<VukHeap> VukHeap::MakeNext() {
    auto next = std::make_unique<VukHeap>(m_uiElementSize, m_uiElementCount, m_strName.c_str());
    next->m_pHead = m_pHead;
    next->m_uiDepth = m_uiDepth + 1;
    m_pHead->m_ChainRanges.push_back({next->m_pBase, next->m_pEnd});
    char text[512];
    snprintf(text, sizeof text, "DEBUG INFO: Additional heap created for %s objects.", m_strName.c_str());
    LogChat("VukHeap", text);
    return next;
}

void VukHeap::NextDropped() { m_pHead->m_ChainRanges.resize(m_uiDepth + 1); }

void VukHeap::FreeHere(uint8_t* p) {
    if (p == m_pTop - m_uiElementSize)
        m_pTop = p;
    else
        m_pFreeStack->Push(p);
    --m_uiLiveCount;
    MarkPagesUnused(p, m_uiElementSize);
    vukmem::PoisonSlot(p, m_uiElementSize);
}

void VukHeap::TidyHere() {
    ReleaseUnusedPages();
    m_pTop = m_pFreeStack->AbsorbIntoTopAndSort(m_pTop, m_pBase);
    m_pFreeStack->ReleaseUnusedPages();
}

uint64_t VukHeap::ChainLiveCount() const { return m_uiLiveCount + (m_pNext ? m_pNext->ChainLiveCount() : 0); }

uint64_t VukHeap::ChainCommittedPages() const {
    return m_uiCommittedPages + (m_pNext ? m_pNext->ChainCommittedPages() : 0);
}

void VukHeap::MarkPagesUsed(uint8_t* p, size_t n) {
    size_t first = size_t(p - m_pBase) / kVukPageSize;
    size_t last = (size_t(p - m_pBase) + n - 1) / kVukPageSize;
    for (size_t page = first; page <= last; ++page) {
        if (m_puiPageUse[page]++ != 0 || (m_pucPageState[page] & kPageCommitted)) continue;
        if (!CommitPage(uint32_t(page))) {
            --m_puiPageUse[page];
            char text[512];
            snprintf(text, sizeof text, "Heap Error: Could not commit a page of %s..", m_strName.c_str());
            vukmem::ReportAndThrow(text);
        }
        m_pucPageState[page] |= kPageCommitted;
        ++m_uiCommittedPages;
    }
}

namespace {
constexpr size_t kChunkBytes = size_t(kVukChunkPages) * kVukPageSize;
} // namespace

size_t VukHeap::ChunkBytes(size_t chunk) const {
    return std::min(kChunkBytes, m_uiReservedBytes - chunk * kChunkBytes);
}

bool VukHeap::CommitPage(uint32_t page) {
    const uint32_t chunk = page / kVukChunkPages;
    if (m_pusChunkPages[chunk] == 0 && !m_Range.Commit(m_pBase + chunk * kChunkBytes, ChunkBytes(chunk))) return false;
    ++m_pusChunkPages[chunk];
    return true;
}

void VukHeap::DecommitPage(uint32_t page) {
    const uint32_t chunk = page / kVukChunkPages;
    if (--m_pusChunkPages[chunk] == 0) m_Range.Decommit(m_pBase + chunk * kChunkBytes, ChunkBytes(chunk));
}

void VukHeap::PrepareAhead() {
    if (m_pNext) return m_pNext->PrepareAhead();
    const size_t top = size_t(m_pTop - m_pBase) / kChunkBytes;
    const size_t next = top + 1;
    if ((top == 0 && m_uiDepth == 0) || next < m_uiPreparedChunks || next * kChunkBytes >= m_uiReservedBytes) return;
    if (m_pusChunkPages[next] == 0 && !m_Range.Commit(m_pBase + next * kChunkBytes, ChunkBytes(next))) return;
    m_Range.Populate(m_pBase + next * kChunkBytes, ChunkBytes(next));
    m_uiPreparedChunks = uint32_t(next + 1);
}

void VukHeap::MarkPagesUnused(uint8_t* p, size_t n) {
    size_t first = size_t(p - m_pBase) / kVukPageSize;
    size_t last = (size_t(p - m_pBase) + n - 1) / kVukPageSize;
    for (size_t page = first; page <= last; ++page) {
        if (--m_puiPageUse[page] != 0 || (m_pucPageState[page] & kPageQueued)) continue;
        m_pucPageState[page] |= kPageQueued;
        m_UnusedPages.push_back(uint32_t(page));
    }
}

void VukHeap::ReleaseUnusedPages() {
    for (uint32_t page : m_UnusedPages) {
        m_pucPageState[page] &= uint8_t(~kPageQueued);
        if (m_puiPageUse[page] != 0 || !(m_pucPageState[page] & kPageCommitted)) continue;
        DecommitPage(page);
        m_pucPageState[page] &= uint8_t(~kPageCommitted);
        --m_uiCommittedPages;
    }
    m_UnusedPages.clear();
    // Not shrink_to_fit: the list refills to about the same size before every tidy.
}

uint32_t VukHeap::HandleOf(const void* pointer) const {
    if (!pointer) return 0;
    const uint8_t* p = static_cast<const uint8_t*>(pointer);
    const std::vector<ChainRange>& ranges = m_pHead->m_ChainRanges;
    for (size_t depth = m_uiDepth; depth < ranges.size(); ++depth) {
        const ChainRange& range = ranges[depth];
        if (p < range.m_pBase || p >= range.m_pEnd) continue;
        size_t offset = size_t(p - range.m_pBase);
        size_t slot = m_bPowerOfTwo ? offset >> m_uiShift : offset / m_uiElementSize;
        uint64_t handle = uint64_t(depth - m_uiDepth) * m_uiElementCount + slot + 1;
        if (slot * m_uiElementSize != offset || handle > UINT32_MAX)
            throw WorldFatalError("VukHeap::HandleOf: no element handle in " + m_strName);
        return uint32_t(handle);
    }
    throw WorldFatalError("VukHeap::HandleOf: pointer from no pool of " + m_strName);
}

uint8_t* VukHeap::FromChainHandle(uint32_t handle) const {
    if (handle == 0) return nullptr;
    uint32_t value = handle - 1;
    size_t depth = m_uiDepth + value / m_uiElementCount;
    const std::vector<ChainRange>& ranges = m_pHead->m_ChainRanges;
    if (depth >= ranges.size()) throw WorldFatalError("VukHeap::FromHandle: stale handle in " + m_strName);
    return ranges[depth].m_pBase + size_t(value % m_uiElementCount) * m_uiElementSize;
}

// ---- the global pools ------------------------------------------------------------------------

VukHeap g_VukHeap_ServerEntity(sizeof(Server_Entity), 65'536, "g_VukHeap_ServerEntity", VukHeap::Lifetime::Process);
VukHeap g_VukHeap_ServerZorbinCube(sizeof(Server_ZorbinCube), 65'536, "g_VukHeap_ServerZorbinCube",
                                   VukHeap::Lifetime::Process);
VukHeap g_VukHeap_ServerPalaceCube(sizeof(Server_PalaceCube), 65'536, "g_VukHeap_ServerPalaceCube",
                                   VukHeap::Lifetime::Process);
VukHeap g_VukHeap_ServerClientEntity(sizeof(Server_Client_Entity), 1'048'576, "g_VukHeap_ServerClientEntity",
                                     VukHeap::Lifetime::Process);
VukHeap g_VukHeap_Links(kLinkElementSize, 2'097'152, "g_VukHeap_Links", VukHeap::Lifetime::Process);
VukHeap g_VukHeap_PFA_LinkBacks(sizeof(uint32_t), 2'097'152, "g_VukHeap_PFA_LinkBacks", VukHeap::Lifetime::Process);
VukHeap g_VukHeap_ServerClient(kServerClientElementSize, 128, "g_VukHeap_ServerClient", VukHeap::Lifetime::Process);
VukHeap g_VukHeap_SCEPlayer(sizeof(SCE_Player), 16'384, "g_VukHeap_SCEPlayer", VukHeap::Lifetime::Process);
VukHeap g_VukHeap_PFAE_Info(sizeof(PFAE_Info), 4'194'304, "g_VukHeap_PFAE_Info", VukHeap::Lifetime::Process);
VukHeap g_VukHeap_VukZone(sizeof(VUK_Zone), 131'072, "g_VukHeap_VukZone", VukHeap::Lifetime::Process);
VukHeap g_VukHeap_VukZoneLine(sizeof(VUK_ZoneLine), 16'384, "g_VukHeap_VukZoneLine", VukHeap::Lifetime::Process);

const GlobalHeap g_GlobalHeaps[kGlobalHeapCount] = {
    {&g_VukHeap_ServerEntity, 7},
    {&g_VukHeap_ServerZorbinCube, 6},
    {&g_VukHeap_ServerPalaceCube, 8},
    {&g_VukHeap_ServerClientEntity, 5},
    {&g_VukHeap_Links, 1},
    {&g_VukHeap_PFA_LinkBacks, 2},
    {&g_VukHeap_ServerClient, 4},
    {&g_VukHeap_SCEPlayer, 3},
    {&g_VukHeap_PFAE_Info, 9},
    {&g_VukHeap_VukZone, 10},
    {&g_VukHeap_VukZoneLine, 11},
};

void PrepareGlobalHeapsAhead() {
    for (const GlobalHeap& h : g_GlobalHeaps) h.m_pHeap->PrepareAhead();
}

void OptimizeGlobalHeaps() {
    for (const GlobalHeap& row : g_GlobalHeaps) row.m_pHeap->L2_OptimizeFreeElementStack();
}
