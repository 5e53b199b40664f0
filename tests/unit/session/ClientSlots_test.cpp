// The 256 client-side reference slots and the bind and select messages.
#include <gtest/gtest.h>

#include <string>
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

// Slots are bound in order, and selected again by their slot alone. Once all 256 are bound, the
// least recently selected is taken over; a slot freed by a removal is bound next, even to a view
// made in the storage of the selected one just removed.
TEST_F(ClientSlots, SlotsAreBoundInOrderAndTheLeastRecentlySelectedIsTakenOver) {
    std::vector<Server_Client_Entity*> views;
    for (int i = 0; i < 256; ++i) {
        views.push_back(NewView());
        EXPECT_EQ(Select(views.back()), Bind(uint8_t(i), views.back()));
    }
    EXPECT_TRUE(Select(views[255]).empty());
    EXPECT_EQ(Select(views[0]), (std::vector<uint8_t>{0x2E, 0x00}));
    Server_Client_Entity* extra = NewView();
    EXPECT_EQ(Select(extra), Bind(1, extra));
    EXPECT_FALSE(views[1]->m_bLinked);
    EXPECT_EQ(Select(views[1]), Bind(2, views[1]));
    std::erase(m_Views, views[1]);
    m_Client->ReleaseView(views[1]);
    Server_Client_Entity* reborn = NewView();
    EXPECT_EQ(Select(reborn), Bind(2, reborn));
}

// An update message is full past the client's update size or, when it has one, its rate limit.
TEST_F(ClientSlots, FullMessageTestUsesBothByteLimits) {
    m_Client->m_uiMaxUpdateSize = 100;
    for (uint32_t limit : {0u, 80u}) {
        m_Client->m_uiRateLimit = limit;
        std::string fits(limit ? limit : 100, 'x');
        m_Client->m_pPacket->Clear();
        m_Client->m_pPacket->AppendBytes(fits.data(), fits.size());
        EXPECT_TRUE(m_Client->HandleFullPacket());
        m_Client->m_pPacket->AppendByte(0);
        EXPECT_FALSE(m_Client->HandleFullPacket());
    }
}

} // namespace
