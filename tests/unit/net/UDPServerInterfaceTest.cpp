#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <vector>

#include "base/Settings.h"
#include "headless/HeadlessClient.h"
#include "net/ClientServerPipe.h"
#include "net/UDPServerInterface.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<uint8_t>;

// The interface on a free loopback port, with pipes owned here in place of server clients.
class InterfaceHarness {
public:
    explicit InterfaceHarness(bool threadMode, bool refuse = false) : m_bRefuse(refuse) {
        m_bSavedMode = g_bUDPThreadMode;
        m_uiSavedPort = g_uiCurrentPort;
        g_bUDPThreadMode = threadMode;
        g_uiCurrentPort = uint32_t(FreeUdpPort());
        m_pUdp = std::make_unique<UDPServerInterface>([this]() -> ClientServerPipe* {
            std::lock_guard<std::mutex> lock(m_Lock);
            if (m_bRefuse) return nullptr;
            m_Pipes.push_back(std::make_unique<ClientServerPipe>());
            return m_Pipes.back().get();
        });
    }
    ~InterfaceHarness() {
        m_pUdp.reset();
        g_bUDPThreadMode = m_bSavedMode;
        g_uiCurrentPort = m_uiSavedPort;
    }

    uint16_t Port() const { return uint16_t(g_uiCurrentPort); }
    // One lock-step pass, as the server's main loop hands it out.
    void Pass() {
        m_pUdp->m_hTickEvent.Set();
        ASSERT_TRUE(m_pUdp->m_hDoneEvent.Wait(5000));
        m_pUdp->m_hDoneEvent.Reset();
    }
    size_t PipeCount() {
        std::lock_guard<std::mutex> lock(m_Lock);
        return m_Pipes.size();
    }
    ClientServerPipe& Pipe(size_t i) {
        std::lock_guard<std::mutex> lock(m_Lock);
        return *m_Pipes.at(i);
    }
    std::vector<Bytes> Delivered(size_t pipe, unsigned channel) {
        std::vector<Bytes> out;
        while (Packet* p = Pipe(pipe).TakeToServer(channel)) {
            out.emplace_back(p->Data(), p->Data() + p->Length());
            delete p;
        }
        return out;
    }

    std::mutex m_Lock;
    bool m_bRefuse;
    std::vector<std::unique_ptr<ClientServerPipe>> m_Pipes; // outlive the interface
    std::unique_ptr<UDPServerInterface> m_pUdp;
    bool m_bSavedMode = true;
    uint32_t m_uiSavedPort = 0;
};

headless::HeadlessClient* Open(std::vector<std::unique_ptr<headless::HeadlessClient>>& clients, uint16_t port) {
    clients.push_back(std::make_unique<headless::HeadlessClient>());
    headless::HeadlessClient* c = clients.back().get();
    c->m_bRecordDatagrams = true;
    c->m_bAutoKeepAlive = false;
    EXPECT_TRUE(c->Connect("127.0.0.1", port));
    return c;
}

bool IsAck(const headless::Datagram& d, unsigned channel, uint8_t seq) {
    return d.kind == headless::DatagramKind::Ack && d.channel == channel && d.seq == seq && d.bytes.size() == 2;
}

TEST(UDPServerInterface, NewSourceBecomesAPeerWithItsOwnPipe) {
    InterfaceHarness h(false);
    std::vector<std::unique_ptr<headless::HeadlessClient>> clients;
    auto* a = Open(clients, h.Port());
    a->SendRaw(Bytes{5, 1, 'x'});
    h.Pass();
    ASSERT_EQ(h.PipeCount(), 1u);
    EXPECT_EQ(h.Delivered(0, 0), (std::vector<Bytes>{{'x'}}));
    EXPECT_GE(a->WaitForDatagram([](const headless::Datagram& d) { return IsAck(d, 0, 1); }, 2s), 0);
}

TEST(UDPServerInterface, TwoPortsOfOneAddressAreTwoClients) {
    InterfaceHarness h(false);
    std::vector<std::unique_ptr<headless::HeadlessClient>> clients;
    auto* a = Open(clients, h.Port());
    auto* b = Open(clients, h.Port());
    a->SendRaw(Bytes{5, 1, 'a'});
    b->SendRaw(Bytes{5, 1, 'b'});
    a->SendRaw(Bytes{5, 2, 'A'});
    h.Pass();
    ASSERT_EQ(h.PipeCount(), 2u);
    EXPECT_EQ(h.Delivered(0, 0), (std::vector<Bytes>{{'a'}, {'A'}}));
    EXPECT_EQ(h.Delivered(1, 0), (std::vector<Bytes>{{'b'}}));
}

TEST(UDPServerInterface, ALeaveAsFirstDatagramMakesAClientThatEndsInTheSamePass) {
    InterfaceHarness h(false);
    std::vector<std::unique_ptr<headless::HeadlessClient>> clients;
    Open(clients, h.Port())->SendLeave();
    h.Pass();
    ASSERT_EQ(h.PipeCount(), 1u);
    EXPECT_FALSE(h.Pipe(0).IsConnected());
}

TEST(UDPServerInterface, SamePortAfterLeaveIsANewClient) {
    InterfaceHarness h(false);
    std::vector<std::unique_ptr<headless::HeadlessClient>> clients;
    auto* a = Open(clients, h.Port());
    a->SendRaw(Bytes{5, 1, 'x'});
    h.Pass();
    a->SendLeave();
    h.Pass();
    ASSERT_EQ(h.PipeCount(), 1u);
    EXPECT_FALSE(h.Pipe(0).IsConnected());
    a->SendRaw(Bytes{5, 1, 'y'});
    h.Pass();
    ASSERT_EQ(h.PipeCount(), 2u);
    EXPECT_TRUE(h.Pipe(1).IsConnected());
    EXPECT_EQ(h.Delivered(1, 0), (std::vector<Bytes>{{'y'}}));
}

TEST(UDPServerInterface, EmptyDatagramsCreateNothing) {
    InterfaceHarness h(false);
    std::vector<std::unique_ptr<headless::HeadlessClient>> clients;
    auto* a = Open(clients, h.Port());
    a->SendRaw(Bytes{});
    a->SendRaw(Bytes{});
    a->SendRaw(Bytes{5, 1, 'z'});
    h.Pass();
    ASSERT_EQ(h.PipeCount(), 1u);
    EXPECT_EQ(h.Delivered(0, 0), (std::vector<Bytes>{{'z'}}));
}

TEST(UDPServerInterface, RefusedPeerGetsNoAnswer) {
    InterfaceHarness h(false, true);
    std::vector<std::unique_ptr<headless::HeadlessClient>> clients;
    auto* a = Open(clients, h.Port());
    a->SendRaw(Bytes{5, 1, 'x'});
    h.Pass();
    h.Pass();
    a->Poll();
    EXPECT_TRUE(a->m_Received.empty());
    EXPECT_EQ(h.m_pUdp->m_Peers.Length(), 0u);
}

TEST(UDPServerInterface, ServerMessagesReachTheClientAndAcksClearThem) {
    InterfaceHarness h(false);
    std::vector<std::unique_ptr<headless::HeadlessClient>> clients;
    auto* a = Open(clients, h.Port());
    a->SendKeepAlive();
    h.Pass();
    ASSERT_EQ(h.PipeCount(), 1u);
    Packet* p = new Packet;
    p->AppendBytes("hello", 5);
    h.Pipe(0).PushToClient(2, p);
    h.Pass();
    headless::Message m;
    ASSERT_TRUE(a->NextMessage(&m, 2s));
    EXPECT_EQ(m.channel, 2u);
    EXPECT_EQ(m.body, (Bytes{'h', 'e', 'l', 'l', 'o'}));
    EXPECT_EQ(a->m_Received.back().bytes, (Bytes{9, 1, 'h', 'e', 'l', 'l', 'o'}));
    EXPECT_EQ(h.Pipe(0).UnackedCount(2), 1u);
    h.Pass(); // takes the client's acknowledgement
    EXPECT_EQ(h.Pipe(0).UnackedCount(2), 0u);
}

TEST(UDPServerInterface, DestroyingTheInterfaceDisconnectsEveryPipe) {
    auto h = std::make_unique<InterfaceHarness>(false);
    std::vector<std::unique_ptr<headless::HeadlessClient>> clients;
    Open(clients, h->Port())->SendKeepAlive();
    Open(clients, h->Port())->SendKeepAlive();
    h->Pass();
    ASSERT_EQ(h->PipeCount(), 2u);
    h->m_pUdp.reset();
    EXPECT_FALSE(h->Pipe(0).IsConnected());
    EXPECT_FALSE(h->Pipe(1).IsConnected());
}

TEST(UDPServerInterface, ThreadModeAnswersWithoutServerTicks) {
    InterfaceHarness h(true);
    std::vector<std::unique_ptr<headless::HeadlessClient>> clients;
    auto* a = Open(clients, h.Port());
    a->SendRaw(Bytes{12, 7});
    EXPECT_GE(a->WaitForDatagram([](const headless::Datagram& d) { return IsAck(d, 5, 7); }, 2s), 0);
}

TEST(UDPServerInterface, SwitchesFromLockStepToThreadModeAtRunTime) {
    InterfaceHarness h(false);
    std::vector<std::unique_ptr<headless::HeadlessClient>> clients;
    auto* a = Open(clients, h.Port());
    g_bUDPThreadMode = true;
    h.Pass(); // releases the thread from its wait for a tick
    a->SendRaw(Bytes{5, 1, 'x'});
    EXPECT_GE(a->WaitForDatagram([](const headless::Datagram& d) { return IsAck(d, 0, 1); }, 2s), 0);
}

TEST(UDPServerInterface, SilentPeerIsDroppedAfterTheIdlePeriod) {
    const float saved = g_fPeerIdleSeconds;
    g_fPeerIdleSeconds = 0.3f;
    {
        InterfaceHarness h(true);
        std::vector<std::unique_ptr<headless::HeadlessClient>> clients;
        auto* a = Open(clients, h.Port());
        a->SendKeepAlive();
        ASSERT_TRUE(a->WaitUntil([&] { return h.PipeCount() == 1; }, 2s));
        EXPECT_TRUE(a->WaitUntil([&] { return !h.Pipe(0).IsConnected(); }, 3s));
    }
    g_fPeerIdleSeconds = saved;
}

} // namespace
