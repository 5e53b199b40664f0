// The 256 client-side reference slots and the bind and select messages.
#include "unit/replication/Fixtures.h"

namespace {

class ClientSlots : public EncoderTest {
protected:
    // The bytes written by selecting the view.
    Bytes Select(Server_Client_Entity* view) {
        m_Client->m_pView = view;
        m_Client->SendIDChange();
        return Written();
    }
};

// Slots are bound in order, and selected again by their slot alone. Once all 256 are bound, the
// least recently selected is taken over; a slot freed by a removal is bound next, even to a view
// made in the storage of the selected one just removed.
TEST_F(ClientSlots, SlotsAreBoundInOrderAndTheLeastRecentlySelectedIsTakenOver) {
    std::vector<Server_Client_Entity*> views;
    for (int i = 0; i < 256; ++i) {
        views.push_back(Keep(new Server_Client_Entity));
        EXPECT_EQ(Select(views.back()), Bind(uint8_t(i), views.back()));
    }
    EXPECT_TRUE(Select(views[255]).empty());
    EXPECT_EQ(Select(views[0]), (Bytes{0x2E, 0x00}));
    Server_Client_Entity* extra = Keep(new Server_Client_Entity);
    EXPECT_EQ(Select(extra), Bind(1, extra));
    EXPECT_EQ(m_Client->LinkOf(views[1]), nullptr);
    EXPECT_EQ(Select(views[1]), Bind(2, views[1]));
    std::erase(m_Views, views[1]);
    m_Client->ReleaseView(views[1]);
    Server_Client_Entity* reborn = Keep(new Server_Client_Entity);
    EXPECT_EQ(Select(reborn), Bind(2, reborn));
}

// An update message is full past the client's update size or, when it has one, its rate limit.
TEST_F(ClientSlots, FullMessageTestUsesBothByteLimits) {
    m_Client->m_uiMaxUpdateSize = 100;
    for (uint32_t limit : {0u, 80u}) {
        m_Client->m_uiRateLimit = limit;
        m_Client->m_pPacket->Clear();
        m_Client->m_pPacket->m_Data.resize(limit ? limit : 100, 'x');
        EXPECT_TRUE(m_Client->HandleFullPacket());
        m_Client->m_pPacket->AppendByte(0);
        EXPECT_FALSE(m_Client->HandleFullPacket());
    }
}

} // namespace
