#include "world/VukHeap_FreeElementStack.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <sys/mman.h>

#include "base/LogChat.h"
#include "platform/Console.h"
#include "world/WorldFatalError.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#include <sanitizer/lsan_interface.h>
#define QV_POOL_ASAN 1
#endif

namespace vukmem {

uint8_t* Reserve(size_t bytes, bool huge) {
    const size_t slack = huge ? kHugePageSize : 0;
    void* raw = mmap(nullptr, bytes + slack, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (raw == MAP_FAILED) return nullptr;
    auto* p = static_cast<uint8_t*>(raw);
    if (huge) {
        // Keep the aligned part only; the advice is a wish the kernel may decline.
        auto* aligned = reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(p) + slack - 1) & ~(slack - 1));
        if (aligned > p) munmap(p, size_t(aligned - p));
        if (aligned + bytes < p + bytes + slack) munmap(aligned + bytes, size_t(p + slack - aligned));
        p = aligned;
        madvise(p, bytes, MADV_HUGEPAGE);
    }
    // The range may reuse addresses of a released pool whose free slots were poisoned.
    UnpoisonSlot(p, bytes);
    return p;
}

void Release(uint8_t* base, size_t bytes) {
    if (!base) return;
    UnpoisonSlot(base, bytes);
    munmap(base, bytes);
}

bool Range::Reserve(size_t bytes, bool huge) {
    m_uiBytes = bytes;
    m_pBase = vukmem::Reserve(bytes, huge);
    return m_pBase != nullptr;
}

void Range::Release() {
    vukmem::Release(m_pBase, m_uiBytes);
    m_pBase = nullptr;
}

bool Range::Commit(uint8_t* p, size_t bytes) {
    if (m_bAllOpen) return true;
    if (mprotect(p, bytes, PROT_READ | PROT_WRITE) == 0) return true;
    if (mprotect(m_pBase, m_uiBytes, PROT_READ | PROT_WRITE) != 0) return false;
    m_bAllOpen = true;
    return true;
}

void Range::Decommit(uint8_t* p, size_t bytes) {
    // The contents go first, then the access: a stale pointer into a decommitted page faults.
    madvise(p, bytes, MADV_DONTNEED);
    if (m_bAllOpen || mprotect(p, bytes, PROT_NONE) == 0) return;
    if (mprotect(m_pBase, m_uiBytes, PROT_READ | PROT_WRITE) == 0) m_bAllOpen = true;
}

void Range::Populate(uint8_t* p, size_t bytes) { madvise(p, bytes, MADV_POPULATE_WRITE); }

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
    size_t bytes = (size_t(elementCount) * sizeof(Entry) + 4095) / 4096 * 4096;
    if (!m_Range.Reserve(bytes ? bytes : 4096))
        vukmem::ReportAndThrow("VukHeap_FreeElementStack: Could not reserve addressing space..");
    m_pEntries = reinterpret_cast<Entry*>(m_Range.m_pBase);
}

VukHeap_FreeElementStack::~VukHeap_FreeElementStack() { m_Range.Release(); }

void VukHeap_FreeElementStack::DropTopEntry() { --m_uiCount; }

void VukHeap_FreeElementStack::ReleaseUnusedPages() {
    uint32_t keep = (m_uiCount + kEntriesPerPage - 1) / kEntriesPerPage;
    while (m_uiCommittedPages > keep) {
        --m_uiCommittedPages;
        m_Range.Decommit(m_Range.m_pBase + size_t(m_uiCommittedPages) * 4096, 4096);
    }
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
    if (m_uiCount / kEntriesPerPage >= m_uiCommittedPages) {
        if (!m_Range.Commit(m_Range.m_pBase + size_t(m_uiCommittedPages) * 4096, 4096))
            vukmem::ReportAndThrow("VukHeap_FreeElementStack: Could not commit a page..");
        ++m_uiCommittedPages;
    }
    m_pEntries[m_uiCount] = Entry{p, 1};
    m_bInReverseOrder = false;
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

namespace {

// Moves the live entries to the front in their order; the rest become dead entries. The count
// stays, so the hole count is what sorting the dead entries behind the live ones would leave.
uint32_t LiveEntriesFirst(VukHeap_FreeElementStack::Entry* entries, uint32_t count) {
    uint32_t live = 0;
    for (uint32_t i = 0; i < count; ++i)
        if (!IsDead(entries[i])) entries[live++] = entries[i];
    for (uint32_t i = live; i < count; ++i) entries[i].m_uiRunLength = 0;
    return live;
}

} // namespace

// Both orderings run every minute over stacks that can hold millions of entries. When the live
// entries are already known to be in the opposite order, reversing them gives exactly what the
// sort would, in linear time.
void VukHeap_FreeElementStack::RearrangeElementsIntoOrder() {
    if (m_bInOrder) return;
    if (m_bInReverseOrder) {
        uint32_t live = LiveEntriesFirst(m_pEntries, m_uiCount);
        std::reverse(m_pEntries, m_pEntries + live);
    } else {
        std::sort(m_pEntries, m_pEntries + m_uiCount,
                  [](const Entry& a, const Entry& b) { return _PHFES_CompareElements(a, b); });
    }
    m_bInReverseOrder = false;
    m_bInOrder = true;
    if (m_uiCount > 0) {
        m_pFirstAddress = m_pEntries[0].m_pAddress;
        m_pLastAddress = m_pEntries[m_uiCount - 1].m_pAddress;
    }
}

void VukHeap_FreeElementStack::RearrangeElementsIntoReverseOrder() {
    if (m_uiCount <= 1) return;
    if (m_bInOrder) {
        uint32_t live = LiveEntriesFirst(m_pEntries, m_uiCount);
        std::reverse(m_pEntries, m_pEntries + live);
    } else if (!m_bInReverseOrder) {
        std::sort(m_pEntries, m_pEntries + m_uiCount,
                  [](const Entry& a, const Entry& b) { return _PHFES_CompareElements_Reverse(a, b); });
    } else {
        LiveEntriesFirst(m_pEntries, m_uiCount);
    }
    m_bInOrder = false;
    m_bInReverseOrder = true;
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

uint8_t* VukHeap_FreeElementStack::AbsorbIntoTopAndSort(uint8_t* top, uint8_t* base) {
    RearrangeElementsIntoReverseOrder();
    while (top != base) {
        uint8_t* next;
        if (!Peek(&next) || next != top - m_uiElementSize) break;
        Pop();
        top -= m_uiElementSize;
    }
    RearrangeElementsIntoOrder();
    CombineNeighbors();
    return top;
}
