// The once-a-minute tidy of a pool, run again and again: the same arrangement whichever way the
// free stack was ordered before.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "support/WorkingFolder.h"
#include "world/VUKHeap.h"

namespace {

using Entries = std::vector<std::pair<int, uint32_t>>; // slot index, run length (live entries)

class Tidy : public ::testing::Test {
protected:
    Tidy() : m_pHeap(std::make_unique<VukHeap>(16, 64, "TidyTest")), m_Heap(*m_pHeap) {
        for (int i = 0; i < 10; ++i) m_Slots.push_back(m_Heap.AllocateOne());
    }
    ~Tidy() override {
        for (uint8_t* p : m_Slots)
            if (p) m_Heap.FreeOne(p);
    }
    void Free(int i) {
        m_Heap.FreeOne(m_Slots[size_t(i)]);
        m_Slots[size_t(i)] = nullptr;
    }
    Entries Live() {
        Entries out;
        VukHeap_FreeElementStack& stack = m_Heap.FreeStack();
        for (uint32_t i = 0; i < stack.Count(); ++i) {
            const auto& e = stack.EntryAt(i);
            if (e.m_uiRunLength) out.emplace_back(int((e.m_pAddress - m_Heap.Base()) / 16), e.m_uiRunLength);
        }
        return out;
    }
    int TopSlot() const { return int((m_Heap.Top() - m_Heap.Base()) / 16); }

    WorkingFolder m_Folder;
    std::unique_ptr<VukHeap> m_pHeap; // its destructor may throw; the fixture's may not
    VukHeap& m_Heap;
    std::vector<uint8_t*> m_Slots;
};

TEST_F(Tidy, RepeatedTidiesKeepDescendingRunsAndAbsorbSingleSlotsIntoTop) {
    for (int i : {5, 1, 7, 3}) Free(i);
    m_Heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(Live(), (Entries{{7, 1}, {5, 1}, {3, 1}, {1, 1}}));
    EXPECT_EQ(TopSlot(), 10);

    Free(9); // just below top: top sinks
    Free(8);
    EXPECT_EQ(TopSlot(), 8);
    Free(6); // above the last entry: the stack is out of order now
    m_Heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(TopSlot(), 5);
    EXPECT_EQ(Live(), (Entries{{3, 1}, {1, 1}}));

    // Nothing changed since: the stack is already in order and comes out the same.
    m_Heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(Live(), (Entries{{3, 1}, {1, 1}}));
    EXPECT_TRUE(m_Heap.FreeStack().InOrder());

    // Freed in descending order the stack stays in order; neighbours merge into one run.
    Free(2);
    Free(0);
    m_Heap.L2_OptimizeFreeElementStack();
    EXPECT_EQ(Live(), (Entries{{3, 4}}));
    uint8_t* first = m_Heap.AllocateOne();
    EXPECT_EQ(first, m_Heap.Base()); // the lowest free slot goes first
    m_Slots[0] = first;
}

} // namespace
