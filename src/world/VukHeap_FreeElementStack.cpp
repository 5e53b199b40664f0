#include "world/VukHeap_FreeElementStack.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <sys/mman.h>

#include "core/LogChat.h"
#include "platform/Console.h"
#include "world/WorldFatalError.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#include <sanitizer/lsan_interface.h>
#define QV_POOL_ASAN 1
#endif

namespace vukmem {

uint8_t* Reserve(size_t bytes) {
    void* p = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (p == MAP_FAILED) return nullptr;
    // The range may reuse addresses of a released pool whose free slots were poisoned.
    UnpoisonSlot(p, bytes);
    return static_cast<uint8_t*>(p);
}

bool Commit(uint8_t* page, size_t bytes) { return mprotect(page, bytes, PROT_READ | PROT_WRITE) == 0; }

bool Decommit(uint8_t* page, size_t bytes) {
    // The contents go first, then the access: a stale pointer into a decommitted page faults.
    bool ok = madvise(page, bytes, MADV_DONTNEED) == 0;
    return mprotect(page, bytes, PROT_NONE) == 0 && ok;
}

void Release(uint8_t* base, size_t bytes) {
    if (!base) return;
    UnpoisonSlot(base, bytes);
    munmap(base, bytes);
}

void ReportAndThrow(const char* text) {
    platform::ConsolePrintf("%s\n", text);
    LogChat("VukHeap", text);
    throw WorldFatalError(text);
}

void PoisonSlot([[maybe_unused]] const void* p, [[maybe_unused]] size_t bytes) {
#ifdef QV_POOL_ASAN
    ASAN_POISON_MEMORY_REGION(p, bytes);
#endif
}

void UnpoisonSlot([[maybe_unused]] const void* p, [[maybe_unused]] size_t bytes) {
#ifdef QV_POOL_ASAN
    ASAN_UNPOISON_MEMORY_REGION(p, bytes);
#endif
}

void RegisterRoot([[maybe_unused]] const void* base, [[maybe_unused]] size_t bytes) {
#ifdef QV_POOL_ASAN
    __lsan_register_root_region(base, bytes);
#endif
}

void UnregisterRoot([[maybe_unused]] const void* base, [[maybe_unused]] size_t bytes) {
#ifdef QV_POOL_ASAN
    __lsan_unregister_root_region(base, bytes);
#endif
}

} // namespace vukmem

namespace {

constexpr uint32_t kEntriesPerPage = 4096 / sizeof(VukHeap_FreeElementStack::Entry);
static_assert(4096 % sizeof(VukHeap_FreeElementStack::Entry) == 0, "entries must tile a page");

bool IsDead(const VukHeap_FreeElementStack::Entry& e) { return e.m_uiRunLength == 0; }

// Dead entries after live ones; live ones by descending address.
bool _PHFES_CompareElements(const VukHeap_FreeElementStack::Entry& a, const VukHeap_FreeElementStack::Entry& b) {
    if (IsDead(a) != IsDead(b)) return IsDead(b);
    if (IsDead(a)) return false;
    return a.m_pAddress > b.m_pAddress;
}

// Dead entries after live ones; live ones by ascending address.
bool _PHFES_CompareElements_Reverse(const VukHeap_FreeElementStack::Entry& a,
                                    const VukHeap_FreeElementStack::Entry& b) {
    if (IsDead(a) != IsDead(b)) return IsDead(b);
    if (IsDead(a)) return false;
    return a.m_pAddress < b.m_pAddress;
}

// The slot just below a run: a - n·size, computed on integers since it may lie outside the pool.
uintptr_t BelowRun(const VukHeap_FreeElementStack::Entry& e, uint32_t size) {
    return reinterpret_cast<uintptr_t>(e.m_pAddress) - uintptr_t(e.m_uiRunLength) * size;
}

} // namespace

VukHeap_FreeElementStack::VukHeap_FreeElementStack(uint32_t elementSize, uint32_t elementCount)
    : m_uiElementSize(elementSize), m_uiCapacity(elementCount) {
    size_t bytes = size_t(elementCount) * sizeof(Entry);
    m_uiReservedBytes = (bytes + 4095) / 4096 * 4096;
    if (m_uiReservedBytes == 0) m_uiReservedBytes = 4096;
    m_pEntries = reinterpret_cast<Entry*>(vukmem::Reserve(m_uiReservedBytes));
    if (!m_pEntries) vukmem::ReportAndThrow("VukHeap_FreeElementStack: Could not reserve addressing space..");
}

VukHeap_FreeElementStack::~VukHeap_FreeElementStack() {
    vukmem::Release(reinterpret_cast<uint8_t*>(m_pEntries), m_uiReservedBytes);
}

void VukHeap_FreeElementStack::CommitEntryPage(uint32_t entryIndex) {
    uint8_t* page = reinterpret_cast<uint8_t*>(m_pEntries + entryIndex);
    if (!vukmem::Commit(page, 4096)) vukmem::ReportAndThrow("VukHeap_FreeElementStack: Could not commit a page..");
    ++m_uiCommittedPages;
}

void VukHeap_FreeElementStack::DecommitEntryPage(uint32_t entryIndex) {
    vukmem::Decommit(reinterpret_cast<uint8_t*>(m_pEntries + entryIndex), 4096);
    --m_uiCommittedPages;
}

void VukHeap_FreeElementStack::DropTopEntry() {
    --m_uiCount;
    if (m_uiCount % kEntriesPerPage == 0) DecommitEntryPage(m_uiCount);
}

void VukHeap_FreeElementStack::ClearZerosAtTopOfStack() {
    while (m_uiCount > 0 && IsDead(m_pEntries[m_uiCount - 1])) DropTopEntry();
}

void VukHeap_FreeElementStack::Push(uint8_t* p) {
    ClearZerosAtTopOfStack();
    if (m_uiCount > 0) {
        Entry& top = m_pEntries[m_uiCount - 1];
        if (BelowRun(top, m_uiElementSize) == reinterpret_cast<uintptr_t>(p)) {
            ++top.m_uiRunLength;
            m_pLastAddress = p;
            return;
        }
    }
    // Live and dead entries together never outnumber the free slots, so this cannot happen
    // while the pool frees only what it handed out.
    if (m_uiCount == m_uiCapacity) throw WorldFatalError("VukHeap_FreeElementStack: more free entries than slots");
    if (m_uiCount % kEntriesPerPage == 0) CommitEntryPage(m_uiCount);
    m_pEntries[m_uiCount] = Entry{p, 1};
    if (m_uiCount == 0) {
        m_bInOrder = true;
        m_pFirstAddress = p;
    } else if (p > m_pLastAddress) {
        m_bInOrder = false;
    }
    ++m_uiCount;
    m_pLastAddress = p;
}

bool VukHeap_FreeElementStack::Pop(uint8_t** out) {
    ClearZerosAtTopOfStack();
    if (m_uiCount == 0) return false;
    Entry& top = m_pEntries[m_uiCount - 1];
    if (top.m_uiRunLength < 2) {
        *out = top.m_pAddress;
        DropTopEntry();
        m_pLastAddress = m_uiCount > 0 ? m_pEntries[m_uiCount - 1].m_pAddress : nullptr;
        if (m_uiCount < 2) m_bInOrder = true;
        return true;
    }
    --top.m_uiRunLength;
    *out = top.m_pAddress - size_t(top.m_uiRunLength) * m_uiElementSize;
    return true;
}

bool VukHeap_FreeElementStack::Peek(uint8_t** out) {
    ClearZerosAtTopOfStack();
    if (m_uiCount == 0) return false;
    const Entry& top = m_pEntries[m_uiCount - 1];
    *out = top.m_uiRunLength < 2 ? top.m_pAddress : top.m_pAddress - size_t(top.m_uiRunLength - 1) * m_uiElementSize;
    return true;
}

void VukHeap_FreeElementStack::Pop() {
    uint8_t* ignored;
    Pop(&ignored);
}

void VukHeap_FreeElementStack::RearrangeElementsIntoOrder() {
    if (m_bInOrder) return;
    std::sort(m_pEntries, m_pEntries + m_uiCount, _PHFES_CompareElements);
    m_bInOrder = true;
    if (m_uiCount > 0) {
        m_pFirstAddress = m_pEntries[0].m_pAddress;
        m_pLastAddress = m_pEntries[m_uiCount - 1].m_pAddress;
    }
}

void VukHeap_FreeElementStack::RearrangeElementsIntoReverseOrder() {
    if (m_uiCount <= 1) return;
    m_bInOrder = false;
    std::sort(m_pEntries, m_pEntries + m_uiCount, _PHFES_CompareElements_Reverse);
}

void VukHeap_FreeElementStack::CombineNeighbors() {
    for (uint32_t i = 0; i < m_uiCount; ++i) {
        Entry& run = m_pEntries[i];
        if (IsDead(run)) continue;
        for (uint32_t j = i + 1; j < m_uiCount; ++j) {
            Entry& next = m_pEntries[j];
            if (IsDead(next)) continue;
            if (BelowRun(run, m_uiElementSize) != reinterpret_cast<uintptr_t>(next.m_pAddress)) break;
            run.m_uiRunLength += next.m_uiRunLength;
            next.m_uiRunLength = 0;
        }
    }
}
