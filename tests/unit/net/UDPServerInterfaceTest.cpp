// The interface on a free loopback port, spoken to by headless clients over real sockets. In
// lock-step mode it works one pass per Pass(), which also orders the test's reads of the pipes
// after the UDP thread's writes; every wait is bounded.
#include <gtest/gtest.h>

#include "PeerHarness.h"
#include "base/Settings.h"
#include "headless/HeadlessClient.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;

// The pipes are owned here in place of the server's clients.
class InterfaceHarness {
public:
    explicit InterfaceHarness(uint32_t maxPeers = 4096) {
        g_bUDPThreadMode = false;
        g_uiCurrentPort = uint32_t(FreeUdpPort());
        m_pUdp = std::make_unique<UDPServerInterface>(
            UDPServerInterface::OneByOne([this]() -> ClientServerPipe* {
                return m_bRefuse ? nullptr : m_Pipes.emplace_back(std::make_unique<ClientServerPipe>()).get();
            }),
            maxPeers);
    }
    ~InterfaceHarness() {
        m_pUdp.reset();
        g_bUDPThreadMode = m_bSavedMode;
        g_uiCurrentPort = m_uiSavedPort;
    }
    void Pass() {
        m_pUdp->m_hTickEvent.Set();
        ASSERT_TRUE(m_pUdp->m_hDoneEvent.Wait(5000));
        m_pUdp->m_hDoneEvent.Reset();
    }
    headless::HeadlessClient* Open() {
        auto* c = m_Clients.emplace_back(std::make_unique<headless::HeadlessClient>()).get();
        c->m_bRecordDatagrams = true;
        c->m_bAutoKeepAlive = false;
        EXPECT_TRUE(c->Connect("127.0.0.1", uint16_t(g_uiCurrentPort)));
        return c;
    }

    const bool m_bSavedMode = g_bUDPThreadMode;
    const uint32_t m_uiSavedPort = g_uiCurrentPort;
    bool m_bRefuse = false;
    std::vector<std::unique_ptr<ClientServerPipe>> m_Pipes; // outlive the interface
    std::vector<std::unique_ptr<headless::HeadlessClient>> m_Clients;
    std::unique_ptr<UDPServerInterface> m_pUdp;
};

bool Got(headless::HeadlessClient* c, const Bytes& datagram) {
    return c->WaitForDatagram([&](const headless::Datagram& d) { return d.bytes == datagram; }, 2s) >= 0;
}

TEST(UDPServerInterface, EachSourceAddressAndPortIsAPeerWithItsOwnPipe) {
    InterfaceHarness h;
    auto *a = h.Open(), *b = h.Open(), *quiet = h.Open();
    quiet->SendRaw(Bytes{}); // an empty datagram is not even a sign of life
    a->SendRaw(Bytes{});
    a->SendRaw(Bytes{5, 1, 'a'});
    b->SendRaw(Bytes{5, 1, 'b'});
    a->SendRaw(Bytes{5, 2, 'A'});
    h.Pass();
    ASSERT_EQ(h.m_Pipes.size(), 2u);
    EXPECT_EQ(TakeBodies(*h.m_Pipes[0], 0), (Datagrams{{'a'}, {'A'}}));
    EXPECT_EQ(TakeBodies(*h.m_Pipes[1], 0), (Datagrams{{'b'}}));
    EXPECT_TRUE(Got(a, {6, 2}));

    Packet* p = new Packet;
    p->AppendBytes("hello", 5);
    h.m_Pipes[1]->PushToClient(2, p);
    h.Pass();
    EXPECT_TRUE(Got(b, {9, 1, 'h', 'e', 'l', 'l', 'o'}));
    EXPECT_EQ(h.m_Pipes[1]->UnackedCount(2), 1u);
    h.Pass(); // takes the client's acknowledgement
    EXPECT_EQ(h.m_Pipes[1]->UnackedCount(2), 0u);

    h.m_bRefuse = true;
    quiet->SendRaw(Bytes{5, 1, 'x'});
    h.Pass();
    quiet->Poll();
    EXPECT_TRUE(quiet->m_Received.empty());
    EXPECT_EQ(h.m_pUdp->PeerCount(), 2u);
}

TEST(UDPServerInterface, APeerEndsOnLeaveSilenceOrShutdownAndItsPortMayComeBackAsANewClient) {
    FakeClock clock;
    InterfaceHarness h;
    auto *a = h.Open(), *b = h.Open();
    a->SendRaw(Bytes{5, 1, 'x'});
    b->SendKeepAlive();
    h.Pass();
    a->SendLeave();
    h.Pass();
    ASSERT_EQ(h.m_Pipes.size(), 2u);
    EXPECT_FALSE(h.m_Pipes[0]->IsConnected());
    a->SendRaw(Bytes{5, 1, 'y'});
    h.Pass();
    ASSERT_EQ(h.m_Pipes.size(), 3u);
    EXPECT_EQ(TakeBodies(*h.m_Pipes[2], 0), (Datagrams{{'y'}}));
    clock.AdvanceSeconds(29);
    a->SendKeepAlive();
    h.Pass();
    clock.AdvanceSeconds(1.1); // b has been silent for more than thirty seconds now
    h.Pass();
    EXPECT_FALSE(h.m_Pipes[1]->IsConnected());
    EXPECT_TRUE(h.m_Pipes[2]->IsConnected());
    h.m_pUdp.reset();
    EXPECT_FALSE(h.m_Pipes[2]->IsConnected());
}

// A full table makes room for a new address by dropping the peer without a logged-in player
// that was heard from longest ago (any datagram counts); peers with players are never dropped,
// and with only such peers the new address is refused and its record given back.
TEST(UDPServerInterface, AFullTableEvictsTheLongestSilentGuestNeverAPlayer) {
    FakeClock clock;
    InterfaceHarness h(3);
    auto *player = h.Open(), *older = h.Open(), *newer = h.Open(), *late = h.Open(), *later = h.Open();
    player->SendKeepAlive();
    older->SendKeepAlive();
    h.Pass();
    clock.AdvanceSeconds(1);
    newer->SendKeepAlive();
    h.Pass();
    h.m_Pipes[0]->MarkPlayerLoggedIn();
    clock.AdvanceSeconds(1);
    older->SendKeepAlive(); // heard again: now newer has been silent longest
    h.Pass();
    clock.AdvanceSeconds(1);
    late->SendRaw(Bytes{5, 1, 'x'});
    h.Pass();
    auto connected = [&] {
        std::vector<bool> out;
        for (auto& pipe : h.m_Pipes) out.push_back(pipe->IsConnected());
        return out;
    };
    ASSERT_EQ(connected(), (std::vector<bool>{true, true, false, true}));
    EXPECT_EQ(TakeBodies(*h.m_Pipes[3], 0), (Datagrams{{'x'}}));
    clock.AdvanceSeconds(1);
    later->SendKeepAlive();
    h.Pass();
    EXPECT_EQ(connected(), (std::vector<bool>{true, false, false, true, true}));
    EXPECT_EQ(h.m_pUdp->PeersEvicted(), 2u);

    for (auto& pipe : h.m_Pipes) pipe->MarkPlayerLoggedIn();
    newer->SendKeepAlive(); // its new record goes back at once
    h.Pass();
    EXPECT_EQ(connected(), (std::vector<bool>{true, false, false, true, true, false}));
    EXPECT_EQ(h.m_pUdp->PeerCount(), 3u);
}

TEST(UDPServerInterface, ThreadModeTakenUpAtRunTimeAnswersWithoutPasses) {
    InterfaceHarness h;
    auto* a = h.Open();
    g_bUDPThreadMode = true;
    h.Pass(); // releases the thread from its wait for a pass
    a->SendRaw(Bytes{5, 1, 'x'});
    EXPECT_TRUE(Got(a, {6, 1}));
}

} // namespace
