// The pools: free runs and the tidy pass, pages, chaining, handles and the fatal errors.
#include <gtest/gtest.h>

#include <sys/mman.h>

#include <cstring>
#include <memory>
#include <tuple>
#include <vector>

#include "support/WorkingFolder.h"
#include "world/VUKHeap.h"
#include "world/VUKHeap_FileMapped.h"
#include "world/WorldFatalError.h"

namespace {

using Runs = std::vector<std::pair<int, uint32_t>>; // live free-stack entries: slot, run length

// A pool of 16-byte slots with slots 0 to 9 handed out; tests free and take them by number.
class Pool : public ::testing::Test {
protected:
    Pool() {
        for (int i = 0; i < 10; ++i) Take();
    }
    ~Pool() override {
        for (uint8_t* p : m_Slots) m_Heap.FreeOne(p);
    }
    int SlotOf(const uint8_t* p) const { return int((p - m_Heap.Base()) / 16); }
    int Take() { return SlotOf(m_Slots.emplace_back(m_Heap.AllocateOne())); }
    void Free(std::initializer_list<int> slots) {
        for (int i : slots) m_Heap.FreeOne(m_Heap.Base() + 16 * i), std::erase(m_Slots, m_Heap.Base() + 16 * i);
    }
    Runs Live() {
        Runs out;
        for (uint32_t i = 0; i < m_Heap.FreeStack().Count(); ++i) {
            const auto& e = m_Heap.FreeStack().EntryAt(i);
            if (e.m_uiRunLength) out.emplace_back(SlotOf(e.m_pAddress), e.m_uiRunLength);
        }
        return out;
    }

    WorkingFolder m_Folder;
    std::unique_ptr<VukHeap> m_pHeap = std::make_unique<VukHeap>(16, 64, "PoolTest"); // may throw when destroyed
    VukHeap& m_Heap = *m_pHeap;
    std::vector<uint8_t*> m_Slots;
};

// The tidy gives the single free slots just below top back to it (a run of two there stays),
// sorts the rest so that the lowest go first and merges neighbours; run again, it changes nothing.
TEST_F(Pool, TidyingAbsorbsSinglesBelowTopThenSortsAndMergesTheRest) {
    Free({5, 1, 7, 3});
    m_Heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(Live(), (Runs{{7, 1}, {5, 1}, {3, 1}, {1, 1}}));
    Free({9, 8}); // each just below top: top sinks
    EXPECT_EQ(m_Heap.Top(), m_Heap.Base() + 8 * 16);
    Free({6}); // above the last entry: the stack is out of order now
    m_Heap.L2_OptimizeFreeElementStack();
    m_Heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(std::pair(m_Heap.Top(), Live()), std::pair(m_Heap.Base() + 5 * 16, Runs{{3, 1}, {1, 1}}));
    Free({2, 0});
    m_Heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(Live(), (Runs{{3, 4}}));
    EXPECT_EQ(Take(), 0);
    EXPECT_EQ(Take(), 1); // slots 2 and 3 are left as a run
    Free({4});            // top sinks to 4, right above the run
    m_Heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(std::pair(m_Heap.Top(), Live()), std::pair(m_Heap.Base() + 4 * 16, Runs{{3, 2}}));
}

TEST(FreeElementStack, CommitsEntryPagesAsItGrowsAndReleasesThemOnlyAtTheTidy) {
    VukHeap_FreeElementStack stack(8, 4096); // 256 entries of 16 bytes fill one page
    static uint8_t slots[8 * 4096];
    for (uint32_t i = 0; i < 257; ++i) stack.Push(slots + 16 * i); // every other slot: one entry each
    uint8_t* out;
    ASSERT_TRUE(stack.Pop(&out));
    EXPECT_EQ(std::tuple(out, stack.Count(), stack.CommittedPages()), std::tuple(slots + 16 * 256, 256u, 2u));
    stack.ReleaseUnusedPages();
    EXPECT_EQ(stack.CommittedPages(), 1u);
    stack.Push(slots + 16 * 300);
    EXPECT_EQ(stack.CommittedPages(), 2u);
    while (stack.Pop(&out)) continue;
    stack.ReleaseUnusedPages();
    EXPECT_EQ(stack.CommittedPages(), 0u);
}

// A page is committed while an element touches it; one left unused goes at the next tidy, unless
// it filled again before. Elements of 3000 bytes: the second lies across pages 0 and 1.
TEST(PoolPages, AreCommittedWhileUsedAndDecommittedByTheTidy) {
    WorkingFolder folder;
    VukHeap heap(3000, 64, "PageHeap");
    uint8_t* a = heap.AllocateOne();
    uint8_t* b = heap.AllocateOne();
    std::memset(a, 0x5A, 6000);
    EXPECT_EQ(std::tuple(heap.PageUse(0), heap.PageUse(1)), std::tuple(2u, 1u));
    heap.FreeOne(a);
    heap.FreeOne(b);
    b = heap.AllocateOne();
    heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(heap.ChainCommittedPages(), 1u);
    heap.FreeOne(b);
    EXPECT_EQ(heap.ChainCommittedPages(), 1u);
    heap.L2_OptimizeFreeElementStack();
    unsigned char resident = 1;
    EXPECT_EQ(std::pair(heap.ChainCommittedPages(), mincore(heap.Base(), 4096, &resident)), std::pair(uint64_t(0), 0));
    EXPECT_EQ(resident & 1, 0);

    EXPECT_EQ(VukHeap(100, 41, "RoundHeap").PageCount(), 2u); // 4100 bytes
}

// A pool that grew past its first 2 MiB chunk has the chunk after its top backed ahead of use;
// one still within its first chunk costs nothing more.
TEST(PoolPages, ThePreparedChunkIsTheOneAfterTheTop) {
    WorkingFolder folder;
    VukHeap heap(4096, 2048, "ChunkHeap"); // four chunks
    auto resident = [&](size_t chunk) {
        unsigned char page = 0;
        return mincore(heap.Base() + chunk * (2u << 20), 4096, &page) == 0 && (page & 1);
    };
    std::vector<uint8_t*> taken;
    for (int i = 0; i < 10; ++i) taken.push_back(heap.AllocateOne());
    heap.PrepareAhead();
    EXPECT_FALSE(resident(1));
    for (int i = 0; i < 600; ++i) taken.push_back(heap.AllocateOne()); // the top is in chunk 1
    heap.PrepareAhead();
    EXPECT_EQ(std::tuple(resident(2), resident(3), heap.ChainCommittedPages()), std::tuple(true, false, uint64_t(610)));
    for (uint8_t* p : taken) heap.FreeOne(p);
}

// A full pool chains another of the same shape, which goes again when it empties. Handles number
// the elements over the chain from 1; those of a pool that went are stale.
TEST(PoolChain, GrowsAndShrinksWithItsElementsWhichItNumbersThroughout) {
    WorkingFolder folder;
    VukHeap heap(24, 2, "ChainHeap");
    std::vector<uint8_t*> p;
    for (int i = 0; i < 6; ++i) p.push_back(heap.AllocateOne()); // three pools of two
    ASSERT_NE(heap.Next(), nullptr);
    EXPECT_EQ(std::tuple(heap.Next()->Name(), heap.Next()->IsIn(p[2]), heap.IsIn(p[5]), heap.LiveCount(),
                         heap.ChainLiveCount()),
              std::tuple("ChainHeap", true, true, 2u, uint64_t(6)));
    EXPECT_EQ(folder.CountInLog("VukHeap: DEBUG INFO: Additional heap created for ChainHeap objects.\r\n"), 2);
    EXPECT_EQ(std::tuple(heap.HandleOf(nullptr), heap.FromHandle(0)), std::tuple(0u, nullptr));
    for (uint32_t i = 0; i < 6; ++i)
        EXPECT_EQ(std::tuple(heap.HandleOf(p[i]), heap.FromHandle(i + 1)), std::tuple(i + 1, p[i]));
    int outside = 0;
    EXPECT_THROW(heap.HandleOf(p[0] + 1), WorldFatalError);
    EXPECT_THROW(heap.HandleOf(&outside), WorldFatalError);
    for (int i : {0, 2, 5, 4}) heap.FreeOne(p[size_t(i)]); // the third pool goes; the second still holds p[3]
    EXPECT_EQ(std::tuple(heap.GetHolesInHeap(), heap.Next()->Next(), heap.CanBeFreed()),
              std::tuple(2u, nullptr, false));
    EXPECT_THROW(heap.FromHandle(5), WorldFatalError);
    EXPECT_THROW(heap.HandleOf(p[4]), WorldFatalError);
    heap.FreeOne(p[3]);
    EXPECT_EQ(heap.Next(), nullptr);
    EXPECT_EQ(folder.CountInLog("VukHeap: DEBUG INFO: Deleted extra heap for ChainHeap objects\r\n"), 2);
    p[0] = heap.AllocateOne(); // back into its hole, then a new pool at depth 1
    p[2] = heap.AllocateOne();
    EXPECT_EQ(std::tuple(heap.HandleOf(p[2]), heap.FromHandle(3)), std::tuple(3u, p[2]));
    for (int i : {2, 1, 0}) heap.FreeOne(p[size_t(i)]);
    EXPECT_TRUE(heap.CanBeFreed());
}

TEST(PoolErrors, AreLoggedUnderVukHeapAndRaised) {
    WorkingFolder folder;
    auto* leaky = new VukHeap(32, 8, "LeakyHeap");
    leaky->AllocateOne();
    EXPECT_THROW(delete leaky, WorldFatalError);
    EXPECT_THROW(VukHeap(1u << 31, 1u << 31, "HugeHeap"), WorldFatalError);
    EXPECT_EQ(folder.CountInLog("VukHeap: Heap Deletion Error: Objects Left Over in LeakyHeap..\r\n"), 1);
    EXPECT_EQ(folder.CountInLog("VukHeap: Heap Creation Error: Out of virtual (reserved) addressing space "
                                "HugeHeap..\r\n"),
              1);
}

// Not used by the server today; it keeps the pool's rules with a file behind each range.
TEST(FileMappedPool, UnlinksItsFileAndChainsNumberedSequencesWithTheSameRules) {
    WorkingFolder folder;
    VukHeap_FileMapped heap(32, 4, "Mapped");
    EXPECT_EQ(std::tuple(heap.FilePath(), folder.Exists("temp_VukEntityDatabase"), folder.Exists(heap.FilePath())),
              std::tuple("temp_VukEntityDatabase/Mapped_0", true, false));
    uint8_t* s[5];
    for (auto& p : s) p = heap.AllocateOne();
    EXPECT_EQ(std::tuple(s[0], heap.Next()->Sequence(), heap.Next()->IsIn(s[4])), std::tuple(heap.Base(), 1, true));
    for (int i : {4, 2, 1}) heap.FreeOne(s[i]); // the second pool goes; 2 and 1 make one run
    EXPECT_EQ(std::tuple(heap.Next(), heap.GetHolesInHeap()), std::tuple(nullptr, 1u));
    EXPECT_EQ(heap.AllocateOne(), s[1]);
    EXPECT_EQ(heap.AllocateOne(), s[2]);
    for (int i : {3, 2, 1, 0}) heap.FreeOne(s[i]); // each just below top: top sinks to the base
    EXPECT_EQ(heap.Top(), heap.Base());
    // A slot handed out again from the sunken top is usable (no poisoned bytes left in it).
    uint8_t* again = heap.AllocateOne();
    *again = 7;
    heap.FreeOne(again);
}

} // namespace
