#include <gtest/gtest.h>

#include <vector>

#include <cstring>
#include <memory>
#include <sys/mman.h>
#include <unistd.h>

#include "support/WorkingFolder.h"
#include "world/VUKHeap.h"
#include "world/VUKHeap_FileMapped.h"
#include "world/WorldFatalError.h"

namespace {

// A pool of 64-byte slots; slot(i) is the i-th element the pool handed out from its top.
class SmallHeap : public ::testing::Test {
protected:
    static constexpr uint32_t kSize = 64;
    WorkingFolder folder;
    std::unique_ptr<VukHeap> owned = std::make_unique<VukHeap>(kSize, 1024, "TestHeap");
    VukHeap& heap = *owned;
    uint8_t* Slot(uint32_t i) const { return heap.Base() + i * kSize; }
    void AllocateSlots(uint32_t n) {
        for (uint32_t i = 0; i < n; ++i) ASSERT_EQ(heap.AllocateOne(), Slot(i));
    }
    // The tests leave elements behind; the pool's complaint about them is expected here.
    void TearDown() override {
        try {
            delete owned.release();
        } catch (const WorldFatalError&) {
        }
    }
};

bool Resident(const uint8_t* page) {
    unsigned char v = 0;
    if (mincore(const_cast<uint8_t*>(page), 4096, &v) != 0) return false;
    return (v & 1) != 0;
}

} // namespace

// ---- allocation and the high-water mark ----------------------------------------------------

TEST_F(SmallHeap, AllocatesFromTheTopInAscendingOrder) {
    AllocateSlots(3);
    EXPECT_EQ(heap.Top(), Slot(3));
    EXPECT_EQ(heap.LiveCount(), 3u);
}

TEST_F(SmallHeap, FreeingTheNewestElementLowersTopInsteadOfGrowingTheStack) {
    AllocateSlots(3);
    heap.FreeOne(Slot(2));
    EXPECT_EQ(heap.Top(), Slot(2));
    EXPECT_EQ(heap.GetHolesInHeap(), 0u);
    EXPECT_EQ(heap.LiveCount(), 2u);
}

// ---- the free-element stack ------------------------------------------------------------------

TEST_F(SmallHeap, FreeingADescendingSequenceMakesOneRun) {
    AllocateSlots(6);
    heap.FreeOne(Slot(4));
    heap.FreeOne(Slot(3));
    heap.FreeOne(Slot(2));
    ASSERT_EQ(heap.FreeStack().Count(), 1u);
    EXPECT_EQ(heap.FreeStack().EntryAt(0).m_pAddress, Slot(4));
    EXPECT_EQ(heap.FreeStack().EntryAt(0).m_uiRunLength, 3u);
    EXPECT_EQ(heap.AllocateOne(), Slot(2));
    EXPECT_EQ(heap.AllocateOne(), Slot(3));
    EXPECT_EQ(heap.AllocateOne(), Slot(4));
    EXPECT_EQ(heap.FreeStack().Count(), 0u);
}

TEST_F(SmallHeap, AnAscendingPushClearsInOrder) {
    AllocateSlots(6);
    heap.FreeOne(Slot(1));
    EXPECT_TRUE(heap.FreeStack().InOrder());
    EXPECT_EQ(heap.FreeStack().FirstAddress(), Slot(1));
    heap.FreeOne(Slot(3));
    EXPECT_FALSE(heap.FreeStack().InOrder());
    EXPECT_EQ(heap.FreeStack().LastAddress(), Slot(3));
}

TEST_F(SmallHeap, OptimizeAbsorbsSingleSlotsBelowTop) {
    AllocateSlots(6);
    heap.FreeOne(Slot(3));
    heap.FreeOne(Slot(4));  // a separate single: 3 - 1 slot is 2, not 4
    heap.FreeOne(Slot(5));  // just below top: top sinks to slot 5
    ASSERT_EQ(heap.Top(), Slot(5));
    ASSERT_EQ(heap.GetHolesInHeap(), 2u);
    heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(heap.Top(), Slot(3));
    EXPECT_EQ(heap.GetHolesInHeap(), 0u);
}

TEST_F(SmallHeap, OptimizeLeavesARunOfTwoBelowTop) {
    AllocateSlots(6);
    heap.FreeOne(Slot(4));
    heap.FreeOne(Slot(3));  // {slot 4, 2}
    heap.FreeOne(Slot(5));  // top sinks to slot 5, right above the run
    heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(heap.Top(), Slot(5));
    ASSERT_EQ(heap.FreeStack().Count(), 1u);
    EXPECT_EQ(heap.FreeStack().EntryAt(0).m_pAddress, Slot(4));
    EXPECT_EQ(heap.FreeStack().EntryAt(0).m_uiRunLength, 2u);
}

TEST_F(SmallHeap, OptimizeSortsDescendingAndMergesNeighbours) {
    AllocateSlots(6);
    heap.FreeOne(Slot(3));
    heap.FreeOne(Slot(1));
    heap.FreeOne(Slot(2));
    ASSERT_EQ(heap.FreeStack().Count(), 3u);
    heap.L2_OptimizeFreeElementStack();
    const VukHeap_FreeElementStack& stack = heap.FreeStack();
    EXPECT_TRUE(stack.InOrder());
    ASSERT_EQ(stack.Count(), 3u);  // merged entries stay behind as dead ones
    EXPECT_EQ(stack.EntryAt(0).m_pAddress, Slot(3));
    EXPECT_EQ(stack.EntryAt(0).m_uiRunLength, 3u);
    EXPECT_EQ(stack.EntryAt(1).m_uiRunLength, 0u);
    EXPECT_EQ(stack.EntryAt(2).m_uiRunLength, 0u);
    // The lowest hole is refilled first; the dead entries are dropped on the way.
    EXPECT_EQ(heap.AllocateOne(), Slot(1));
    EXPECT_EQ(heap.FreeStack().Count(), 1u);
    EXPECT_EQ(heap.AllocateOne(), Slot(2));
    EXPECT_EQ(heap.AllocateOne(), Slot(3));
    EXPECT_EQ(heap.AllocateOne(), Slot(6));
}

TEST(FreeElementStack, PagesOfTheEntryRangeFollowTheCount) {
    // 256 entries of 16 bytes fill one page.
    VukHeap_FreeElementStack stack(8, 4096);
    static uint8_t slots[8 * 4096];
    EXPECT_EQ(stack.CommittedPages(), 0u);
    // Pushing every other slot upward makes one entry each.
    for (uint32_t i = 0; i < 257; ++i) stack.Push(slots + 16 * i);
    EXPECT_EQ(stack.Count(), 257u);
    EXPECT_EQ(stack.CommittedPages(), 2u);
    uint8_t* out;
    ASSERT_TRUE(stack.Pop(&out));
    EXPECT_EQ(out, slots + 16 * 256);
    // Back on the boundary: the second page goes at the next tidy, not at once.
    EXPECT_EQ(stack.CommittedPages(), 2u);
    stack.ReleaseUnusedPages();
    EXPECT_EQ(stack.CommittedPages(), 1u);
    stack.Push(slots + 16 * 300);
    EXPECT_EQ(stack.CommittedPages(), 2u);
    while (stack.Pop(&out)) {
    }
    stack.ReleaseUnusedPages();
    EXPECT_EQ(stack.CommittedPages(), 0u);
}

// ---- pages -------------------------------------------------------------------------------------

TEST(VukHeapPages, APageStaysCommittedUntilItsLastElementGoes) {
    WorkingFolder folder;
    VukHeap heap(1024, 64, "PageHeap");  // four elements per page
    uint8_t* a = heap.AllocateOne();
    uint8_t* b = heap.AllocateOne();
    EXPECT_EQ(heap.PageUse(0), 2u);
    EXPECT_EQ(heap.ChainCommittedPages(), 1u);
    std::memset(a, 0x5A, 1024);
    std::memset(b, 0x5A, 1024);
    heap.FreeOne(a);
    EXPECT_EQ(heap.PageUse(0), 1u);
    heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(heap.ChainCommittedPages(), 1u);
    EXPECT_TRUE(Resident(heap.Base()));
    heap.FreeOne(b);
    EXPECT_EQ(heap.PageUse(0), 0u);
    heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(heap.ChainCommittedPages(), 0u);
    EXPECT_FALSE(Resident(heap.Base()));
}

TEST(VukHeapPages, APageThatFillsAgainBeforeTheTidyStaysCommitted) {
    WorkingFolder folder;
    VukHeap heap(1024, 64, "RefillHeap");
    uint8_t* a = heap.AllocateOne();
    std::memset(a, 0x5A, 1024);
    heap.FreeOne(a);
    EXPECT_EQ(heap.PageUse(0), 0u);
    uint8_t* again = heap.AllocateOne();
    EXPECT_EQ(again, a);
    EXPECT_EQ(heap.PageUse(0), 1u);
    heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(heap.ChainCommittedPages(), 1u);
    EXPECT_TRUE(Resident(heap.Base()));
    heap.FreeOne(again);
}

TEST(VukHeapPages, AStraddlingElementKeepsBothPages) {
    WorkingFolder folder;
    VukHeap heap(3000, 16, "StraddleHeap");
    uint8_t* first = heap.AllocateOne();   // bytes 0 to 2999: page 0
    uint8_t* second = heap.AllocateOne();  // bytes 3000 to 5999: pages 0 and 1
    EXPECT_EQ(heap.PageUse(0), 2u);
    EXPECT_EQ(heap.PageUse(1), 1u);
    heap.FreeOne(first);
    EXPECT_EQ(heap.PageUse(0), 1u);
    heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(heap.ChainCommittedPages(), 2u);
    heap.FreeOne(second);
    EXPECT_EQ(heap.PageUse(0), 0u);
    EXPECT_EQ(heap.PageUse(1), 0u);
    heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(heap.ChainCommittedPages(), 0u);
}

TEST(VukHeapPages, PageCountRoundsUp) {
    WorkingFolder folder;
    VukHeap heap(100, 41, "RoundHeap");  // 4100 bytes
    EXPECT_EQ(heap.PageCount(), 2u);
}

// ---- chaining ------------------------------------------------------------------------------------

TEST(VukHeapChain, OneMoreThanTheCountChainsAPoolAndFreeingItDeletesIt) {
    WorkingFolder folder;
    VukHeap heap(16, 4, "ChainHeap");
    uint8_t* slots[4];
    for (auto& s : slots) s = heap.AllocateOne();
    EXPECT_EQ(heap.Next(), nullptr);
    uint8_t* fifth = heap.AllocateOne();
    ASSERT_NE(heap.Next(), nullptr);
    EXPECT_EQ(heap.Next()->Name(), "ChainHeap");
    EXPECT_TRUE(heap.Next()->IsIn(fifth));
    EXPECT_TRUE(heap.IsIn(fifth));
    EXPECT_EQ(heap.LiveCount(), 4u);
    EXPECT_EQ(heap.ChainLiveCount(), 5u);
    EXPECT_EQ(folder.CountInLog("VukHeap: DEBUG INFO: Additional heap created for ChainHeap objects.\r\n"), 1);

    heap.FreeOne(fifth);
    EXPECT_EQ(heap.Next(), nullptr);
    EXPECT_EQ(folder.CountInLog("VukHeap: DEBUG INFO: Deleted extra heap for ChainHeap objects\r\n"), 1);
    for (auto& s : slots) heap.FreeOne(s);
    EXPECT_TRUE(heap.CanBeFreed());
}

TEST(VukHeapChain, TheChainedPoolStaysWhileItHoldsElements) {
    WorkingFolder folder;
    VukHeap heap(16, 2, "KeepHeap");
    uint8_t* a = heap.AllocateOne();
    uint8_t* b = heap.AllocateOne();
    uint8_t* c = heap.AllocateOne();
    uint8_t* d = heap.AllocateOne();
    heap.FreeOne(c);
    EXPECT_NE(heap.Next(), nullptr);
    EXPECT_FALSE(heap.CanBeFreed());
    heap.FreeOne(d);
    EXPECT_EQ(heap.Next(), nullptr);
    heap.FreeOne(a);
    heap.FreeOne(b);
}

TEST(VukHeapChain, HolesAreCountedOverTheChain) {
    WorkingFolder folder;
    VukHeap heap(16, 3, "HoleHeap");
    uint8_t* s[6];
    for (auto& p : s) p = heap.AllocateOne();
    heap.FreeOne(s[0]);
    heap.FreeOne(s[3]);
    EXPECT_EQ(heap.GetHolesInHeap(), 2u);
    for (int i : {1, 2, 4, 5}) heap.FreeOne(s[i]);
}

// ---- handles -------------------------------------------------------------------------------------

TEST(VukHeapHandles, HandlesRoundTripOverTheChain) {
    WorkingFolder folder;
    VukHeap heap(24, 2, "HandleHeap");
    uint8_t* a = heap.AllocateOne();
    uint8_t* b = heap.AllocateOne();
    uint8_t* c = heap.AllocateOne();
    EXPECT_EQ(heap.HandleOf(nullptr), 0u);
    EXPECT_EQ(heap.FromHandle(0), nullptr);
    EXPECT_EQ(heap.HandleOf(a), 1u);
    EXPECT_EQ(heap.HandleOf(b), 2u);
    EXPECT_EQ(heap.HandleOf(c), 3u);  // first slot of the chained pool
    EXPECT_EQ(heap.FromHandle(3), c);
    EXPECT_THROW(heap.HandleOf(a + 1), WorldFatalError);
    int outside = 0;
    EXPECT_THROW(heap.HandleOf(&outside), WorldFatalError);
    heap.FreeOne(c);
    heap.FreeOne(b);
    heap.FreeOne(a);
}

TEST(VukHeapHandles, HandlesFollowTheChainAsItEmptiesAndGrowsAgain) {
    WorkingFolder folder;
    VukHeap heap(24, 2, "HandleChainHeap");
    std::vector<uint8_t*> p;
    for (int i = 0; i < 6; ++i) p.push_back(heap.AllocateOne()); // three pools of two
    EXPECT_EQ(heap.HandleOf(p[5]), 6u);
    EXPECT_EQ(heap.FromHandle(6), p[5]);
    EXPECT_EQ(heap.FromHandle(4), p[3]);
    // Emptying the last two pools deletes them: their handles are stale.
    for (int i = 5; i >= 2; --i) heap.FreeOne(p[size_t(i)]);
    EXPECT_EQ(heap.Next(), nullptr);
    EXPECT_THROW(heap.FromHandle(3), WorldFatalError);
    EXPECT_THROW(heap.HandleOf(p[4]), WorldFatalError);
    // A new chained pool takes depth 1 again.
    uint8_t* again = heap.AllocateOne();
    EXPECT_EQ(heap.HandleOf(again), 3u);
    EXPECT_EQ(heap.FromHandle(3), again);
    heap.FreeOne(again);
    heap.FreeOne(p[1]);
    heap.FreeOne(p[0]);
}

// ---- errors --------------------------------------------------------------------------------------

TEST(VukHeapErrors, DeletingAPoolWithLiveElementsReportsAndThrows) {
    WorkingFolder folder;
    auto* heap = new VukHeap(32, 8, "LeakyHeap");
    heap->AllocateOne();
    try {
        delete heap;
        FAIL() << "no exception";
    } catch (const WorldFatalError& e) {
        EXPECT_STREQ(e.what(), "Heap Deletion Error: Objects Left Over in LeakyHeap..");
    }
    EXPECT_EQ(folder.CountInLog("VukHeap: Heap Deletion Error: Objects Left Over in LeakyHeap..\r\n"), 1);
}

TEST(VukHeapErrors, AnImpossibleReservationReportsAndThrows) {
    WorkingFolder folder;
    try {
        VukHeap heap(1u << 31, 1u << 31, "HugeHeap");
        FAIL() << "no exception";
    } catch (const WorldFatalError& e) {
        EXPECT_STREQ(e.what(), "Heap Creation Error: Out of virtual (reserved) addressing space HugeHeap..");
    }
    EXPECT_EQ(folder.CountInLog("VukHeap: Heap Creation Error: Out of virtual (reserved) addressing space HugeHeap..\r\n"), 1);
}

// ---- the file-mapped pool -------------------------------------------------------------------------

TEST(VukHeapFileMapped, TheBackingFileIsUnlinkedOnceMapped) {
    WorkingFolder folder;
    VukHeap_FileMapped heap(64, 16, "Mapped");
    EXPECT_EQ(heap.FilePath(), "temp_VukEntityDatabase/Mapped_0");
    EXPECT_TRUE(folder.Exists("temp_VukEntityDatabase"));
    EXPECT_FALSE(folder.Exists("temp_VukEntityDatabase/Mapped_0"));
    uint8_t* p = heap.AllocateOne();
    std::memset(p, 0x33, 64);
    EXPECT_EQ(p, heap.Base());
    heap.FreeOne(p);
    EXPECT_EQ(heap.Top(), heap.Base());
}

TEST(VukHeapFileMapped, AFullPoolChainsTheNextSequence) {
    WorkingFolder folder;
    VukHeap_FileMapped heap(32, 2, "MappedChain");
    uint8_t* a = heap.AllocateOne();
    uint8_t* b = heap.AllocateOne();
    uint8_t* c = heap.AllocateOne();
    ASSERT_NE(heap.Next(), nullptr);
    EXPECT_EQ(heap.Next()->Sequence(), 1);
    EXPECT_EQ(folder.CountInLog(
                  "VukHeap: DEBUG INFO: Additional file mapped heap created for temp_VukEntityDatabase/MappedChain_1 objects.\r\n"),
              1);
    heap.FreeOne(c);
    EXPECT_EQ(heap.Next(), nullptr);
    EXPECT_EQ(folder.CountInLog("VukHeap: DEBUG INFO: Deleted a file mapped heap for MappedChain objects\r\n"), 1);
    heap.FreeOne(a);
    heap.FreeOne(b);
}

TEST(VukHeapFileMapped, FreeRunsWorkAsInTheMemoryPool) {
    WorkingFolder folder;
    VukHeap_FileMapped heap(16, 8, "MappedRuns");
    uint8_t* s[5];
    for (auto& p : s) p = heap.AllocateOne();
    heap.FreeOne(s[3]);
    heap.FreeOne(s[2]);
    heap.FreeOne(s[1]);
    EXPECT_EQ(heap.GetHolesInHeap(), 1u);
    EXPECT_EQ(heap.AllocateOne(), s[1]);
    EXPECT_EQ(heap.AllocateOne(), s[2]);
    EXPECT_EQ(heap.AllocateOne(), s[3]);
    for (auto& p : s) heap.FreeOne(p);
}

// ---- the global pools ---------------------------------------------------------------------------

TEST(GlobalPools, HaveTheirNamesAndCounts) {
    EXPECT_EQ(g_VukHeap_ServerEntity.Name(), "g_VukHeap_ServerEntity");
    EXPECT_EQ(g_VukHeap_ServerEntity.ElementCount(), 65'536u);
    EXPECT_EQ(g_VukHeap_ServerZorbinCube.ElementCount(), 65'536u);
    EXPECT_EQ(g_VukHeap_ServerPalaceCube.ElementCount(), 65'536u);
    EXPECT_EQ(g_VukHeap_ServerClientEntity.ElementCount(), 1'048'576u);
    EXPECT_EQ(g_VukHeap_Links.ElementCount(), 2'097'152u);
    EXPECT_EQ(g_VukHeap_SCEPlayer.ElementCount(), 16'384u);
    EXPECT_EQ(g_VukHeap_PFAE_Info.ElementCount(), 4'194'304u);
    EXPECT_EQ(g_VukHeap_VukZone.ElementCount(), 131'072u);
    EXPECT_EQ(g_VukHeap_VukZoneLine.ElementCount(), 16'384u);
    EXPECT_EQ(g_VukHeap_PFA_LinkBacks.ElementCount(), 2'097'152u);
    EXPECT_EQ(g_VukHeap_PFA_LinkBacks.ElementSize(), 4u);
    EXPECT_EQ(g_VukHeap_PFAE_Info.Name(), "g_VukHeap_PFAE_Info");
}
