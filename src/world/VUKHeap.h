// Fixed-size-element pools. A pool reserves one range of address space when it is built and
// commits a 4 KiB page only while at least one live element touches it, so a large world costs
// memory only for what exists and freeing a region returns whole pages. A full pool chains a
// second pool of the same shape behind itself; the chained pool goes again when it empties.
//
// Page use is counted exactly (PageUse). A page is committed when its count leaves 0; a page
// whose count returns to 0 is decommitted by the next tidy pass (L2_OptimizeFreeElementStack,
// once a minute from the server tick) if it is still unused then. Re-filing an entity frees and
// takes the same slots within microseconds; doing the system calls each time would cost more
// than the rest of the work.
//
// The pages are counted one by one, but the operating system is asked in chunks of 2 MiB (one
// huge page): a chunk is made accessible with its first committed page and given back with its
// last. One call per chunk instead of per page, and huge pages keep the address translations of
// a pool reached all over its range in the processor's cache.
//
// Pools are used from the server thread only and take no locks.
//
// Besides pointers, a pool hands out 32-bit handles for its elements (HandleOf / FromHandle):
// the entity's per-client-slot storage keeps those instead of 64-bit pointers.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "world/VukHeap_Chain.h"
#include "world/VukHeap_FreeElementStack.h"

inline constexpr uint32_t kVukPageSize = 4096;
inline constexpr uint32_t kVukChunkPages = 512; // 2 MiB

class VukHeap : public VukHeapChain<VukHeap> {
public:
    // The eleven global pools live for the whole process. At exit such a pool releases its
    // range when it is empty and otherwise only reports the leftovers: an exception cannot
    // usefully leave a static destructor, and the operating system reclaims the range anyway.
    enum class Lifetime { Scoped, Process };

    // Reserves elementSize × elementCount bytes. Out of address space: the error is printed,
    // logged under "VukHeap" and raised as a WorldFatalError.
    VukHeap(uint32_t elementSize, uint32_t elementCount, const char* name, Lifetime lifetime = Lifetime::Scoped);
    // Destroys the chained pool first. With live elements left this reports
    // "Heap Deletion Error: Objects Left Over in <name>.." and throws a WorldFatalError.
    virtual ~VukHeap() noexcept(false);
    VukHeap(const VukHeap&) = delete;
    VukHeap& operator=(const VukHeap&) = delete;

    // Allocation, freeing, the tidy pass and the chain queries come from VukHeapChain. The tidy
    // pass absorbs free single slots just below the high-water mark, sorts the free runs so the
    // lowest are handed out first, merges neighbouring runs and decommits pages left unused.

    void MarkPagesUsed(uint8_t* p, size_t n);
    void MarkPagesUnused(uint8_t* p, size_t n);

    // 0 stands for null; otherwise (chain position × element count + slot) + 1. A pointer that
    // lies in no pool of the chain raises a WorldFatalError.
    uint32_t HandleOf(const void* p) const;
    // Inline for the first pool of a chain, where nearly every element lies.
    uint8_t* FromHandle(uint32_t handle) const {
        return handle - 1 < m_uiElementCount ? m_pBase + size_t(handle - 1) * m_uiElementSize : FromChainHandle(handle);
    }

    const std::string& Name() const { return m_strName; }
    uint8_t* Base() const { return m_pBase; }
    uint8_t* Top() const { return m_pTop; }
    uint8_t* End() const { return m_pEnd; }
    uint32_t ElementSize() const { return m_uiElementSize; }
    uint32_t ElementCount() const { return m_uiElementCount; }
    uint32_t PageCount() const { return m_uiPageCount; }
    uint32_t PageUse(uint32_t page) const { return m_puiPageUse[page]; }
    // Live elements of this pool alone, and of the whole chain.
    uint32_t LiveCount() const { return m_uiLiveCount; }
    uint64_t ChainLiveCount() const;
    // Pages of the element ranges committed now, over the whole chain.
    uint64_t ChainCommittedPages() const;
    VukHeap_FreeElementStack& FreeStack() const { return *m_pFreeStack; }
    // Decommits the pages that became unused since the last call (this pool only); part of the
    // tidy pass.
    void ReleaseUnusedPages();
    // Commits and backs the chunk after the one the chain's last pool grows into, so that the
    // allocations to come do not wait while the system clears a huge page. For the main loop's
    // rest; a pool still within its first chunk is left alone.
    void PrepareAhead();

private:
    friend class VukHeapChain<VukHeap>;
    bool Holds(const void* p) const { return p >= m_pBase && p < m_pEnd; }
    uint8_t* AllocateHere();
    void FreeHere(uint8_t* p);
    std::unique_ptr<VukHeap> MakeNext();
    void NextDropped();
    void TidyHere();
    uint8_t* FromChainHandle(uint32_t handle) const;
    // The bytes of a chunk: the last one may be short.
    size_t ChunkBytes(size_t chunk) const;
    bool CommitPage(uint32_t page);
    void DecommitPage(uint32_t page);

    vukmem::Range m_Range;
    std::string m_strName;
    uint8_t* m_pBase = nullptr;
    uint32_t m_uiElementSize = 0;
    uint32_t m_uiElementCount = 0;
    std::unique_ptr<VukHeap_FreeElementStack> m_pFreeStack;
    uint8_t* m_pTop = nullptr;
    uint8_t* m_pEnd = nullptr;
    std::unique_ptr<uint32_t[]> m_puiPageUse;
    // Per page: bit 0 committed, bit 1 waiting in m_UnusedPages.
    std::unique_ptr<uint8_t[]> m_pucPageState;
    // Per chunk: its committed pages; the chunk is accessible while there is one.
    std::unique_ptr<uint16_t[]> m_pusChunkPages;
    uint32_t m_uiPreparedChunks = 0; // chunks below this were committed ahead once
    std::vector<uint32_t> m_UnusedPages;
    uint32_t m_uiPageCount = 0;
    uint32_t m_uiLiveCount = 0;
    uint64_t m_uiCommittedPages = 0;
    // The ranges of every pool of the chain, kept by its first pool, so that handles are found
    // without walking the chain: entry i belongs to the pool at depth i.
    struct ChainRange {
        uint8_t* m_pBase;
        uint8_t* m_pEnd;
    };
    VukHeap* m_pHead = this;
    uint32_t m_uiDepth = 0;
    std::vector<ChainRange> m_ChainRanges;
    size_t m_uiReservedBytes = 0;
    Lifetime m_Lifetime = Lifetime::Scoped;
    uint32_t m_uiShift = 0; // log2 of the element size when it is a power of two
    bool m_bPowerOfTwo = false;
};

// The eleven global pools. The client record belongs to the replication layer, which checks
// that it fits the element size given here.
inline constexpr uint32_t kServerClientElementSize = 8192;

extern VukHeap g_VukHeap_ServerEntity;       // Server_Entity (normal pads), 65,536
extern VukHeap g_VukHeap_ServerZorbinCube;   // Server_ZorbinCube, 65,536
extern VukHeap g_VukHeap_ServerPalaceCube;   // Server_PalaceCube, 65,536
extern VukHeap g_VukHeap_ServerClientEntity; // Server_Client_Entity, 1,048,576
extern VukHeap g_VukHeap_Links;              // Link<T>, 2,097,152
extern VukHeap g_VukHeap_PFA_LinkBacks;      // link-back cells (u32), 2,097,152
extern VukHeap g_VukHeap_ServerClient;       // Server_Client, 128
extern VukHeap g_VukHeap_SCEPlayer;          // SCE_Player, 16,384
extern VukHeap g_VukHeap_PFAE_Info;          // PFAE_Info, 4,194,304
extern VukHeap g_VukHeap_VukZone;            // VUK_Zone, 131,072
extern VukHeap g_VukHeap_VukZoneLine;        // VUK_ZoneLine, 16,384

// All of them, in the order the tidy pass walks them, each with its line in the report of free
// holes ("/holes_in_heap"), which lists them in another order.
struct GlobalHeap {
    VukHeap* m_pHeap;
    uint8_t m_ucReportLine;
};
inline constexpr size_t kGlobalHeapCount = 11;
extern const GlobalHeap g_GlobalHeaps[kGlobalHeapCount];

// The tidy pass over every global pool (once a minute from the server tick).
void OptimizeGlobalHeaps();
// PrepareAhead for every global pool (from the main loop when it has time to rest).
void PrepareGlobalHeapsAhead();
