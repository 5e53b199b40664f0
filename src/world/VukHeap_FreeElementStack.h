// The free slots of a pool below its high-water mark, kept as runs of neighbouring slots.
// An entry {a, n} stands for the n free slots a, a - size, ..., a - (n - 1)·size: a run grows
// downward from its address. The top of the stack is the last entry; an entry whose run length
// is 0 is dead and is skipped. The entries live in a reserved range whose 4 KiB pages are
// committed as the stack grows and decommitted by the pool's tidy pass once it has shrunk.
#pragma once
#include <cstddef>
#include <cstdint>

// Address space for the pools: a range reserved without access whose pages are committed (made
// read-write) and decommitted (contents dropped, access removed) a run at a time.
namespace vukmem {
// A range asked for with huge set starts on a 2 MiB boundary and is advised to the kernel for
// huge pages: the pools' elements are reached all over their ranges, and small pages would cost
// a translation miss on nearly every access.
inline constexpr size_t kHugePageSize = size_t(2) << 20;
uint8_t* Reserve(size_t bytes, bool huge = false);
void Release(uint8_t* base, size_t bytes);

class Range {
public:
    // False when the address space cannot be reserved.
    bool Reserve(size_t bytes, bool huge = false);
    void Release();
    // Every change of access splits the mapping; when the kernel refuses another split (too many
    // mappings in the process), the whole range is opened at once instead and decommitting
    // only drops the contents. False when even that fails.
    bool Commit(uint8_t* p, size_t bytes);
    void Decommit(uint8_t* p, size_t bytes);
    // Backs committed bytes with memory now, if the system can; otherwise the first touch does.
    void Populate(uint8_t* p, size_t bytes);

    uint8_t* m_pBase = nullptr;
    size_t m_uiBytes = 0;
    bool m_bAllOpen = false;
};
// Reports a fatal pool error: console line, log entry under "VukHeap", WorldFatalError.
[[noreturn]] void ReportAndThrow(const char* text);
// Under AddressSanitizer, free pool slots are poisoned so that a use after free is reported.
void PoisonSlot(const void* p, size_t bytes);
void UnpoisonSlot(const void* p, size_t bytes);
// Under LeakSanitizer, live pool elements hold the only pointers to their heap members, so the
// committed parts of a pool range are scanned for references.
void RegisterRoot(const void* base, size_t bytes);
void UnregisterRoot(const void* base, size_t bytes);
} // namespace vukmem

class VukHeap_FreeElementStack {
public:
    struct Entry {
        uint8_t* m_pAddress;
        uint32_t m_uiRunLength;
    };

    // Reserves room for elementCount entries. A failure is reported to the console and the log
    // and raised as a WorldFatalError.
    VukHeap_FreeElementStack(uint32_t elementSize, uint32_t elementCount);
    virtual ~VukHeap_FreeElementStack();
    VukHeap_FreeElementStack(const VukHeap_FreeElementStack&) = delete;
    VukHeap_FreeElementStack& operator=(const VukHeap_FreeElementStack&) = delete;

    void Push(uint8_t* p);
    // Hands out a free slot: the whole entry when its run is shorter than 2, otherwise the
    // lowest slot of the run. False when the stack is empty.
    bool Pop(uint8_t** out);
    // What Pop would hand out, without removing it.
    bool Peek(uint8_t** out);
    // The removal of Pop without handing anything out.
    void Pop();
    void ClearZerosAtTopOfStack();
    // Descending addresses, so that allocation takes the lowest free slots first.
    void RearrangeElementsIntoOrder();
    // Ascending addresses, so that the highest free run is on top.
    void RearrangeElementsIntoReverseOrder();
    void CombineNeighbors();
    // The tidy of a pool: the single free slots just below top are given back to it, the rest
    // are put in descending order and neighbouring runs merged. Returns the new top.
    uint8_t* AbsorbIntoTopAndSort(uint8_t* top, uint8_t* base);

    uint32_t Count() const { return m_uiCount; }
    const Entry& EntryAt(uint32_t i) const { return m_pEntries[i]; }
    bool InOrder() const { return m_bInOrder; }
    uint8_t* FirstAddress() const { return m_pFirstAddress; }
    uint8_t* LastAddress() const { return m_pLastAddress; }
    // Pages of the entry range that are committed now. Pages are committed as the stack grows;
    // those the stack has shrunk away from are decommitted by ReleaseUnusedPages (the pool's
    // tidy pass), so a stack that hovers at a page boundary makes no system calls.
    uint32_t CommittedPages() const { return m_uiCommittedPages; }
    void ReleaseUnusedPages();

private:
    void DropTopEntry();

    vukmem::Range m_Range;
    Entry* m_pEntries = nullptr;
    uint32_t m_uiCount = 0;
    uint32_t m_uiElementSize = 0;
    uint32_t m_uiCapacity = 0;
    bool m_bInOrder = true;
    // The live entries are known to be in ascending order (the tidy pass's intermediate state).
    bool m_bInReverseOrder = false;
    uint8_t* m_pFirstAddress = nullptr;
    uint8_t* m_pLastAddress = nullptr;
    uint32_t m_uiCommittedPages = 0;
};
