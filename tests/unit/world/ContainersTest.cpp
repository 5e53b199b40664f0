// The arrays and lists of the world.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "support/WorkingFolder.h"
#include "world/LinkedList.h"
#include "world/Server_EntityKinds.h"
#include "world/VUKFastArray_WithLinkBacks.h"

namespace {

// Unfiled normal pads; their destructors take them out of the test arrays again.
struct Pads : std::vector<std::unique_ptr<Server_Entity>> {
    explicit Pads(int n) {
        while (n--) emplace_back(new Server_Entity());
    }
    Server_Entity* operator[](size_t i) const { return at(i).get(); }
};

TEST(EntityArray, RemovingAnEntryMovesTheLastIntoItsPlaceAndFixesItsRecord) {
    VUKFastArray_Entity array(8);
    Pads pads(3);
    for (size_t i = 0; i < 3; ++i) array.AddEntity(pads[i], &pads[i]->m_GroupLinks);
    PFAE_Info* third = pads[2]->m_GroupLinks[0];
    EXPECT_EQ(std::tuple(third->GetArray(), third->m_uiIndex), std::tuple(&array, 2u));
    const uint64_t records = g_VukHeap_PFAE_Info.ChainLiveCount();
    array.RawRemoveItem(1);
    pads[1]->m_GroupLinks.Clear();
    EXPECT_EQ(std::tuple(array.Count(), array.GetEntity(0), array.GetEntity(1), third->m_uiIndex, array.GetLink(1)),
              std::tuple(2u, pads[0], pads[2], 1u, third));
    EXPECT_EQ(g_VukHeap_PFAE_Info.ChainLiveCount(), records - 1);
    // Emptied, it frees its storage and its id until the next addition.
    const uint32_t id = array.GetArrayId();
    EXPECT_EQ(VUKFastArray_Entity::FromId(id), &array);
    for (size_t i : {0, 2}) array.RawRemoveItem(0), pads[i]->m_GroupLinks.Clear();
    EXPECT_EQ(std::tuple(array.HasStorage(), array.GetDisorder(), VUKFastArray_Entity::FromId(id)),
              std::tuple(false, 0, nullptr));
}

// Changes are counted up to 64; a sort by address happens only after more than 31.
TEST(EntityArray, SortsByAddressOnlyAfterMoreThan31Changes) {
    VUKFastArray_Entity array(1);
    Pads pads(100);
    std::vector<Server_Entity*> order;
    for (size_t i = 0; i < 32; ++i) order.push_back(pads[i]);
    std::sort(order.begin(), order.end(), std::greater<>());
    for (Server_Entity* e : order) {
        array.AddEntity(e, &e->m_GroupLinks);
        array.SortByAddresses();
        EXPECT_EQ(array.GetEntity(0), array.Count() < 32 ? order[0] : order[31]);
    }
    for (uint32_t i = 0; i < 32; ++i) {
        Server_Entity* e = array.GetEntity(i);
        EXPECT_EQ(std::tuple(e, e->m_GroupLinks[0]->m_uiIndex, array.GetLink(i)),
                  std::tuple(order[31 - i], i, e->m_GroupLinks[0]));
    }
    for (size_t i = 32; i < 100; ++i) array.AddEntity(pads[i], &pads[i]->m_GroupLinks);
    EXPECT_EQ(array.GetDisorder(), 64u);
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

// Each element's cell holds its index; removal moves the last element and its cell into place.
TEST(LinkBackArray, CellsFollowTheirElementsAndGoBackToTheirPool) {
    const uint64_t cellsBefore = g_VukHeap_PFA_LinkBacks.ChainLiveCount();
    {
        VUKFastArray_WithLinkBacks<int> a(8);
        uint32_t *c0 = a.Append(10), *c1 = a.Append(11), *c2 = a.Append(12);
        EXPECT_EQ(std::tuple(*c0, *c1, *c2, a.ValueOf(c1)), std::tuple(0u, 1u, 2u, 11));
        EXPECT_EQ(g_VukHeap_PFA_LinkBacks.ChainLiveCount(), cellsBefore + 3);
        a.Remove(c1);
        EXPECT_EQ(std::tuple(a.Count(), a[1], *c2, a.GetCell(1)), std::tuple(2u, 12, 1u, c2));
        a.Remove(c0);
        EXPECT_EQ(std::tuple(a[0], *c2), std::tuple(12, 0u));
        a.ReserveEnoughFor(10); // 3 short
        EXPECT_EQ(std::tuple(a.Capacity(), a[0], a.GetCell(0)), std::tuple(11u, 12, c2));
    }
    EXPECT_EQ(g_VukHeap_PFA_LinkBacks.ChainLiveCount(), cellsBefore);
}

TEST(LinkedLists, AddAtTheHeadAndUnlinkFromAnywhere) {
    const uint64_t linksBefore = g_VukHeap_Links.ChainLiveCount();
    LinkedList<int> list;
    Link<int>*a = list.Add(1), *b = list.Add(2), *c = list.Add(3);
    list.Add(2);
    EXPECT_EQ(std::tuple(list.RemoveValue(2), list.RemoveValue(7)), std::tuple(true, false)); // the newest 2 goes
    EXPECT_EQ(std::tuple(list.Head(), list.Tail(), list.Length()), std::tuple(c, a, 3u));
    list.Remove(b);
    EXPECT_EQ(std::tuple(c->m_pPrevious, c->m_pNext, a->m_pPrevious, a->m_pNext), std::tuple(nullptr, a, c, nullptr));
    list.Remove(c);
    EXPECT_EQ(std::tuple(list.Head(), a->m_pPrevious), std::tuple(a, nullptr));
    a->m_uiReferenceCount = 2; // a held link outlives its removal
    list.Remove(a);
    EXPECT_EQ(std::tuple(list.Empty(), list.Tail(), a->m_uiReferenceCount), std::tuple(true, nullptr, 1u));
    delete a;
    EXPECT_EQ(g_VukHeap_Links.ChainLiveCount(), linksBefore);
}

// Each element holds a share of one token, so its use count tells how many are alive.
TEST(OwningLists, DeleteTheirElementsUnlessHandedBack) {
    auto token = std::make_shared<int>(0);
    std::unique_ptr<std::shared_ptr<int>> kept;
    {
        PointerStringList<std::shared_ptr<int>> list;
        for (int i = 0; i < 3; ++i) list.Append(new std::shared_ptr<int>(token));
        kept.reset(list.RemoveAt(0));
        list.DeleteAt(0);
        EXPECT_EQ(std::tuple(list.Length(), token.use_count()), std::tuple(size_t(1), 3L));
    }
    EXPECT_EQ(token.use_count(), 2);
}

} // namespace
