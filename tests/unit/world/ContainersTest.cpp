#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/WorkingFolder.h"
#include "world/LinkedList.h"
#include "base/PointerStringList.h"
#include "world/Server_EntityKinds.h"
#include "base/VUKFastArray.h"
#include "world/VUKFastArray_Entity.h"
#include "world/VUKFastArray_WithLinkBacks.h"
#include "world/WorldFatalError.h"

namespace {

// Unfiled normal pads; their own group link lists take the test arrays' link records, and
// their destructors take them out of the arrays again.
class Pads {
public:
    explicit Pads(int n) {
        for (int i = 0; i < n; ++i) m_Pads.push_back(new Server_Entity());
    }
    ~Pads() {
        for (Server_Entity* e : m_Pads) delete e;
    }
    Server_Entity* operator[](size_t i) const { return m_Pads[i]; }

private:
    std::vector<Server_Entity*> m_Pads;
};

} // namespace

// ---- VUKFastArray ----------------------------------------------------------------------------------

TEST(FastArrayGrowth, CapacityOneGrowsToTwoOnTheFirstAppend) {
    VUKFastArray<int> a(1);
    a.Append(7);
    EXPECT_EQ(a.Count(), 1u);
    EXPECT_EQ(a.Capacity(), 2u);
    EXPECT_EQ(a[0], 7);
}

TEST(FastArrayGrowth, GrowsWhenTheLastFreeSlotIsTaken) {
    VUKFastArray<int> a(4);
    for (int i = 0; i < 3; ++i) a.Append(i);
    EXPECT_EQ(a.Capacity(), 4u);
    a.Append(3);
    EXPECT_EQ(a.Capacity(), 8u);
    EXPECT_EQ(a[3], 3);
    a.Clear();
    EXPECT_EQ(a.Count(), 0u);
    EXPECT_EQ(a.Capacity(), 8u);
}

TEST(FastArrayGrowth, LinkListsKeepTheSameRule) {
    VUKFastArray_Entity array(4);
    Pads pads(1);
    VUKFastArray<PFAE_Info*> links(1);
    array.AddEntity(pads[0], &links);
    EXPECT_EQ(links.Capacity(), 2u);
    EXPECT_EQ(links[0], array.GetLink(0));
    array.RawRemoveItem(0);
}

TEST(FastArrayGrowth, LinkListsHoldTwoRecordsWithoutStorage) {
    VUKFastArray_Entity array(16);
    Pads pads(3);
    VUKFastArray<PFAE_Info*> links(8);
    array.AddEntity(pads[0], &links);
    array.AddEntity(pads[1], &links);
    EXPECT_EQ(links.HeapBytes(), 0u);
    EXPECT_EQ(links.Capacity(), 8u);
    array.AddEntity(pads[2], &links);
    EXPECT_EQ(links.HeapBytes(), 32u);
    for (uint32_t i = 0; i < 3; ++i) EXPECT_EQ(links[i], array.GetLink(i));
    links.RemoveAt(0);
    EXPECT_EQ(links[0], array.GetLink(2));
    array.RawRemoveItem(2);
    array.RawRemoveItem(1);
    array.RawRemoveItem(0);
}

// ---- VUKFastArray_Entity -----------------------------------------------------------------------

TEST(EntityArray, CapacityOneGrowsToTwoOnTheFirstAddition) {
    VUKFastArray_Entity array(1);
    Pads pads(1);
    EXPECT_FALSE(array.HasStorage());
    array.AddEntity(pads[0], &pads[0]->m_GroupLinks);
    EXPECT_TRUE(array.HasStorage());
    EXPECT_EQ(array.Count(), 1u);
    EXPECT_EQ(array.Capacity(), 2u);
    PFAE_Info* info = pads[0]->m_GroupLinks[0];
    EXPECT_EQ(info->GetArray(), &array);
    EXPECT_EQ(info->m_uiIndex, 0u);
}

TEST(EntityArray, RemovingTheMiddleOfThreeMovesTheThirdAndFixesItsIndex) {
    VUKFastArray_Entity array(8);
    Pads pads(3);
    for (int i = 0; i < 3; ++i) array.AddEntity(pads[i], &pads[i]->m_GroupLinks);
    uint64_t recordsBefore = g_VukHeap_PFAE_Info.ChainLiveCount();
    PFAE_Info* third = pads[2]->m_GroupLinks[0];
    array.RawRemoveItem(1);
    pads[1]->m_GroupLinks.Clear();
    EXPECT_EQ(array.Count(), 2u);
    EXPECT_EQ(array.GetEntity(0), pads[0]);
    EXPECT_EQ(array.GetEntity(1), pads[2]);
    EXPECT_EQ(third->m_uiIndex, 1u);
    EXPECT_EQ(array.GetLink(1), third);
    EXPECT_EQ(g_VukHeap_PFAE_Info.ChainLiveCount(), recordsBefore - 1);
}

TEST(EntityArray, RemovingTheLastEntryFreesTheStorageUntilTheNextAddition) {
    VUKFastArray_Entity array(2);
    Pads pads(1);
    array.AddEntity(pads[0], &pads[0]->m_GroupLinks);
    uint32_t id = array.GetArrayId();
    EXPECT_EQ(VUKFastArray_Entity::FromId(id), &array);
    array.RawRemoveItem(0);
    pads[0]->m_GroupLinks.Clear();
    EXPECT_FALSE(array.HasStorage());
    EXPECT_EQ(array.GetDisorder(), 0u);
    EXPECT_EQ(VUKFastArray_Entity::FromId(id), nullptr);
    array.AddEntity(pads[0], &pads[0]->m_GroupLinks);
    EXPECT_TRUE(array.HasStorage());
}

TEST(EntityArray, DisorderCountsChangesAndStopsAt64) {
    VUKFastArray_Entity array(1);
    Pads pads(70);
    for (int i = 0; i < 70; ++i) array.AddEntity(pads[i], &pads[i]->m_GroupLinks);
    EXPECT_EQ(array.GetDisorder(), 64u);
}

namespace {
// Adds the pads in descending address order, so that the array starts out unsorted.
void AddDescending(VUKFastArray_Entity& array, const Pads& pads, int n) {
    std::vector<Server_Entity*> order;
    for (int i = 0; i < n; ++i) order.push_back(pads[size_t(i)]);
    std::sort(order.begin(), order.end(), [](Server_Entity* a, Server_Entity* b) { return a > b; });
    for (Server_Entity* e : order) array.AddEntity(e, &e->m_GroupLinks);
}
} // namespace

TEST(EntityArray, SortWaitsForMoreThan31Changes) {
    VUKFastArray_Entity array(1);
    Pads pads(31);
    AddDescending(array, pads, 31);
    Server_Entity* first = array.GetEntity(0);
    array.SortByAddresses();
    EXPECT_EQ(array.GetEntity(0), first);
    EXPECT_EQ(array.GetDisorder(), 31u);
}

TEST(EntityArray, SortAfter32ChangesOrdersByAddressAndRewritesLinks) {
    VUKFastArray_Entity array(1);
    Pads pads(32);
    AddDescending(array, pads, 32);
    array.SortByAddresses();
    EXPECT_EQ(array.GetDisorder(), 0u);
    for (uint32_t i = 0; i < 32; ++i) {
        if (i > 0) {
            EXPECT_LT(array.GetEntity(i - 1), array.GetEntity(i));
        }
        Server_Entity* e = array.GetEntity(i);
        EXPECT_EQ(e->m_GroupLinks[0]->m_uiIndex, i);
        EXPECT_EQ(array.GetLink(i), e->m_GroupLinks[0]);
    }
}

TEST(EntityArray, DestroyingANonEmptyArrayIsReportedAndItsRecordsNameNoArray) {
    WorkingFolder folder;
    Pads pads(1);
    auto* array = new VUKFastArray_Entity(4);
    array->AddEntity(pads[0], &pads[0]->m_GroupLinks);
    PFAE_Info* orphan = pads[0]->m_GroupLinks[0];
    delete array;
    EXPECT_EQ(folder.CountInLog("CRASH: VUKFastArray_Entity destroyed while it still holds entries\r\n"), 1);
    EXPECT_EQ(orphan->GetArray(), nullptr);
    delete orphan;
    pads[0]->m_GroupLinks.Clear();
}

// ---- VUKFastArray_WithLinkBacks ------------------------------------------------------------------

TEST(LinkBackArray, AppendHandsBackACellHoldingTheIndex) {
    uint64_t cellsBefore = g_VukHeap_PFA_LinkBacks.ChainLiveCount();
    VUKFastArray_WithLinkBacks<int> a(4);
    uint32_t* c0 = a.Append(10);
    uint32_t* c1 = a.Append(11);
    EXPECT_EQ(*c0, 0u);
    EXPECT_EQ(*c1, 1u);
    EXPECT_EQ(a.ValueOf(c1), 11);
    EXPECT_EQ(g_VukHeap_PFA_LinkBacks.ChainLiveCount(), cellsBefore + 2);
    a.Remove(c0);
    a.Remove(c1);
    EXPECT_EQ(g_VukHeap_PFA_LinkBacks.ChainLiveCount(), cellsBefore);
}

TEST(LinkBackArray, RemovingByCellMovesTheLastElementAndItsCell) {
    VUKFastArray_WithLinkBacks<int> a(8);
    uint32_t* c0 = a.Append(10);
    uint32_t* c1 = a.Append(11);
    uint32_t* c2 = a.Append(12);
    a.Remove(c1);
    EXPECT_EQ(a.Count(), 2u);
    EXPECT_EQ(a[1], 12);
    EXPECT_EQ(*c2, 1u);
    EXPECT_EQ(a.GetCell(1), c2);
    a.Remove(c0);
    EXPECT_EQ(a[0], 12);
    EXPECT_EQ(*c2, 0u);
    a.Remove(c2);
    EXPECT_EQ(a.Count(), 0u);
}

TEST(LinkBackArray, GrowsWhenTheCountReachesTheCapacity) {
    VUKFastArray_WithLinkBacks<int> a(2);
    uint32_t* c0 = a.Append(1);
    EXPECT_EQ(a.Capacity(), 2u);
    uint32_t* c1 = a.Append(2);
    EXPECT_EQ(a.Capacity(), 4u);
    EXPECT_EQ(a[0], 1);
    EXPECT_EQ(a[1], 2);
    a.Remove(c0);
    a.Remove(c1);
}

TEST(LinkBackArray, ReserveEnoughForAddsExactlyTheShortfall) {
    VUKFastArray_WithLinkBacks<int> a(8);
    uint32_t* c0 = a.Append(1);
    uint32_t* c1 = a.Append(2);
    a.ReserveEnoughFor(6);
    EXPECT_EQ(a.Capacity(), 8u);
    a.ReserveEnoughFor(10);  // 6 free: 4 short
    EXPECT_EQ(a.Capacity(), 12u);
    EXPECT_EQ(a[1], 2);
    a.Grow();
    EXPECT_EQ(a.Capacity(), 24u);
    EXPECT_EQ(a[0], 1);
    EXPECT_EQ(a.GetCell(1), c1);
    a.Remove(c0);
    a.Remove(c1);
}

TEST(LinkBackArray, DestroyingItReturnsTheRemainingCells) {
    uint64_t cellsBefore = g_VukHeap_PFA_LinkBacks.ChainLiveCount();
    {
        VUKFastArray_WithLinkBacks<int> a(2);
        a.Append(1);
        a.Append(2);
    }
    EXPECT_EQ(g_VukHeap_PFA_LinkBacks.ChainLiveCount(), cellsBefore);
}

// ---- LinkedList -----------------------------------------------------------------------------

TEST(LinkedLists, NewestIsAtTheHead) {
    LinkedList<int> list;
    list.Add(1);
    list.Add(2);
    list.Add(3);
    std::vector<int> order;
    for (Link<int>* l = list.Head(); l; l = l->m_pNext) order.push_back(l->m_Value);
    EXPECT_EQ(order, (std::vector<int>{3, 2, 1}));
    EXPECT_EQ(list.Tail()->m_Value, 1);
    EXPECT_EQ(list.Head()->m_pPrevious, nullptr);
    EXPECT_EQ(list.Tail()->m_pNext, nullptr);
}

TEST(LinkedLists, RemovingFromTheMiddleAndTheEndsRelinks) {
    uint64_t linksBefore = g_VukHeap_Links.ChainLiveCount();
    LinkedList<int> list;
    Link<int>* a = list.Add(1);
    Link<int>* b = list.Add(2);
    Link<int>* c = list.Add(3);
    EXPECT_EQ(b->m_uiReferenceCount, 1u);
    EXPECT_EQ(g_VukHeap_Links.ChainLiveCount(), linksBefore + 3);
    list.Remove(b);
    EXPECT_EQ(c->m_pNext, a);
    EXPECT_EQ(a->m_pPrevious, c);
    list.Remove(c);
    EXPECT_EQ(list.Head(), a);
    EXPECT_EQ(a->m_pPrevious, nullptr);
    list.Remove(a);
    EXPECT_TRUE(list.Empty());
    EXPECT_EQ(list.Tail(), nullptr);
    EXPECT_EQ(g_VukHeap_Links.ChainLiveCount(), linksBefore);
}

TEST(LinkedLists, AHeldLinkOutlivesItsRemoval) {
    LinkedList<int> list;
    Link<int>* a = list.Add(5);
    a->m_uiReferenceCount = 2;
    list.Remove(a);
    EXPECT_TRUE(list.Empty());
    EXPECT_EQ(a->m_uiReferenceCount, 1u);
    EXPECT_EQ(a->m_Value, 5);
    delete a;
}

TEST(LinkedLists, RemoveValueTakesTheNewestOccurrence) {
    LinkedList<int> list;
    list.Add(4);
    list.Add(9);
    list.Add(4);
    EXPECT_TRUE(list.RemoveValue(4));
    EXPECT_EQ(list.Head()->m_Value, 9);
    EXPECT_EQ(list.Length(), 2u);
    EXPECT_FALSE(list.RemoveValue(7));
}

// ---- PointerStringList ---------------------------------------------------------------------

namespace {
struct Counted {
    explicit Counted(int* deaths) : m_pDeaths(deaths) {}
    ~Counted() { ++*m_pDeaths; }
    int* m_pDeaths;
};
} // namespace

TEST(OwningLists, DestructionDeletesEveryElement) {
    int deaths = 0;
    {
        PointerStringList<Counted> list;
        list.Append(new Counted(&deaths));
        list.Append(new Counted(&deaths));
        EXPECT_EQ(list.Length(), 2u);
    }
    EXPECT_EQ(deaths, 2);
}

TEST(OwningLists, RemoveAtHandsOwnershipBack) {
    int deaths = 0;
    Counted* kept = nullptr;
    {
        PointerStringList<Counted> list;
        list.Append(new Counted(&deaths));
        list.Append(new Counted(&deaths));
        kept = list.RemoveAt(0);
        list.DeleteAt(0);
        EXPECT_TRUE(list.Empty());
        EXPECT_EQ(deaths, 1);
    }
    EXPECT_EQ(deaths, 1);
    delete kept;
}

TEST(OwningLists, AnEmptyListIteratesNothing) {
    ArrayOfStrings strings;
    int n = 0;
    for (std::string* s : strings) n += int(s->size());
    EXPECT_EQ(n, 0);
    strings.Append(new std::string("abc"));
    EXPECT_EQ(*strings[0], "abc");
    EXPECT_EQ(*strings.Front(), "abc");
}
