// The 256 client-side reference slots and the bind and select messages.
#include <gtest/gtest.h>

#include <vector>

#include "net/Packet.h"
#include "replication/Server_Client.h"
#include "world/Server_Client_Entity.h"
#include "world/VUKHeap.h"

namespace {

class ClientSlots : public ::testing::Test {
protected:
    ClientSlots() : m_Client(new Server_Client) { m_Client->m_pPacket = new Packet; }
    ~ClientSlots() override {
        for (Server_Client_Entity* v : m_Views) m_Client->ReleaseView(v);
        delete m_Client;
    }

    Server_Client_Entity* NewView() {
        m_Views.push_back(new Server_Client_Entity);
        return m_Views.back();
    }
    // The bytes written by selecting the view.
    std::vector<uint8_t> Select(Server_Client_Entity* view) {
        m_Client->m_pPacket->Clear();
        m_Client->m_pView = view;
        m_Client->SendIDChange();
        return m_Client->m_pPacket->m_Data;
    }
    static std::vector<uint8_t> Bind(uint8_t slot, const Server_Client_Entity* view) {
        uint32_t h = g_VukHeap_ServerClientEntity.HandleOf(view);
        return {0x2F, slot, uint8_t(h), uint8_t(h >> 8), uint8_t(h >> 16), uint8_t(h >> 24)};
    }

    Server_Client* m_Client;
    std::vector<Server_Client_Entity*> m_Views;
};

TEST_F(ClientSlots, FreshClientBindsSlotsInOrder) {
    Server_Client_Entity* a = NewView();
    Server_Client_Entity* b = NewView();
    Server_Client_Entity* c = NewView();
    EXPECT_EQ(Select(a), Bind(0, a));
    EXPECT_EQ(Select(b), Bind(1, b));
    EXPECT_EQ(Select(c), Bind(2, c));
}

TEST_F(ClientSlots, SelectingTheSelectedViewWritesNothingAndAnotherBoundViewIsSelected) {
    Server_Client_Entity* a = NewView();
    Server_Client_Entity* b = NewView();
    Select(a);
    Select(b);
    EXPECT_TRUE(Select(b).empty());
    EXPECT_EQ(Select(a), (std::vector<uint8_t>{0x2E, 0x00}));
}

TEST_F(ClientSlots, ViewsGetDistinctNonZeroHandles) {
    Server_Client_Entity* a = NewView();
    Server_Client_Entity* b = NewView();
    EXPECT_NE(m_Client->HandleOf(a), 0u);
    EXPECT_NE(m_Client->HandleOf(a), m_Client->HandleOf(b));
}

TEST_F(ClientSlots, The257thViewTakesTheLeastRecentlySelectedSlot) {
    std::vector<Server_Client_Entity*> views;
    for (int i = 0; i < 256; ++i) {
        views.push_back(NewView());
        Select(views.back());
    }
    // Slot 0's view is used again, so slot 1 becomes the least recently selected.
    EXPECT_EQ(Select(views[0]), (std::vector<uint8_t>{0x2E, 0x00}));
    Server_Client_Entity* extra = NewView();
    EXPECT_EQ(Select(extra), Bind(1, extra));
    EXPECT_EQ(views[1]->m_pIndexLink, nullptr);
    // The view that lost its slot is bound again, to the then oldest slot (2).
    EXPECT_EQ(Select(views[1]), Bind(2, views[1]));
    EXPECT_EQ(views[2]->m_pIndexLink, nullptr);
}

TEST_F(ClientSlots, SlotReleasedByARemovalIsTheNextOneBound) {
    Server_Client_Entity* a = NewView();
    Server_Client_Entity* b = NewView();
    Server_Client_Entity* c = NewView();
    Select(a);
    Select(b);
    Select(c);
    m_Views.erase(m_Views.begin() + 1);
    m_Client->ReleaseView(b);
    Server_Client_Entity* d = NewView();
    EXPECT_EQ(Select(d), Bind(1, d));
}

TEST_F(ClientSlots, ViewMadeAfterTheSelectedViewWentIsStillBound) {
    Server_Client_Entity* a = NewView();
    Select(a);
    m_Views.clear();
    m_Client->ReleaseView(a);
    // The pool hands the same storage out again at once.
    Server_Client_Entity* b = NewView();
    EXPECT_EQ(Select(b), Bind(0, b));
}

TEST_F(ClientSlots, FullMessageTestUsesBothByteLimits) {
    m_Client->m_uiMaxUpdateSize = 100;
    m_Client->m_uiRateLimit = 0;
    std::vector<uint8_t> bytes(100, 0);
    m_Client->m_pPacket->AppendBytes(bytes.data(), 100);
    EXPECT_TRUE(m_Client->HandleFullPacket());
    m_Client->m_pPacket->AppendByte(0);
    EXPECT_FALSE(m_Client->HandleFullPacket());
    m_Client->m_pPacket->Clear();
    m_Client->m_uiRateLimit = 80;
    m_Client->m_pPacket->AppendBytes(bytes.data(), 80);
    EXPECT_TRUE(m_Client->HandleFullPacket());
    m_Client->m_pPacket->AppendByte(0);
    EXPECT_FALSE(m_Client->HandleFullPacket());
}

} // namespace
