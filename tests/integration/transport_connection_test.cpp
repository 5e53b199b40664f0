// Connections against the real server: keep-alives, leaving, ports, the idle drop, bind retries.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/TransportServer.h"

namespace {

using namespace std::chrono_literals;
using headless::Datagram;
using headless::DatagramKind;

bool IsKeepAlive(const Datagram& d) { return d.kind == DatagramKind::KeepAlive && d.bytes == Bytes{3}; }

// The answer (a data datagram of channel 0) with the given number, or -1.
long WaitForAnswer(headless::HeadlessClient& c, uint8_t seq, std::chrono::milliseconds timeout, size_t from = 0) {
    return c.WaitForDatagram([=](const Datagram& d) { return IsDataOf(d, 0) && d.seq == seq; }, timeout, from);
}

TEST(TransportConnection, KeepAlivesComeEverySecondOfSilence) {
    TransportServer server;
    ASSERT_TRUE(server.Ready());
    auto c = server.NewClient();
    c->SendKeepAlive();
    long first = c->WaitForDatagram(IsKeepAlive, 3s);
    ASSERT_GE(first, 0);
    long second = c->WaitForDatagram(IsKeepAlive, 3s, size_t(first) + 1);
    ASSERT_GE(second, 0);
    const double gap = double(c->m_Received[size_t(second)].counter - c->m_Received[size_t(first)].counter) / 1e9;
    EXPECT_GT(gap, 0.95);
    EXPECT_LT(gap, 1.25);
}

TEST(TransportConnection, TwoClientsBehindOneAddressAreTwoConnections) {
    TransportServer server;
    ASSERT_TRUE(server.Ready());
    auto a = server.NewClient();
    auto b = server.NewClient();
    ASSERT_NE(a->LocalPort(), b->LocalPort());
    a->SendRaw(QueryDatagram(1, "A"));
    b->SendRaw(QueryDatagram(1, "BB"));
    long fromA = WaitForAnswer(*a, 1, 5s);
    long fromB = WaitForAnswer(*b, 1, 5s);
    ASSERT_GE(fromA, 0);
    ASSERT_GE(fromB, 0);
    EXPECT_EQ(a->m_Received[size_t(fromA)].bytes, (Bytes{5, 1, 76, 1, 0, 0, 0, 'A', 0}));
    EXPECT_EQ(b->m_Received[size_t(fromB)].bytes, (Bytes{5, 1, 76, 2, 0, 0, 0, 'B', 'B', 0}));
}

TEST(TransportConnection, LeaveThenTheSamePortStartsANewClient) {
    TransportServer server;
    ASSERT_TRUE(server.Ready());
    auto c = server.NewClient();
    c->SendRaw(QueryDatagram(1, "X"));
    ASSERT_GE(WaitForAnswer(*c, 1, 5s), 0);
    c->SendAck(0, 1);
    c->SendLeave();
    // Number 1 again: the old connection would drop it as a duplicate; a new one answers it
    // with its own first number.
    const size_t mark = c->m_Received.size();
    c->WaitUntil([] { return false; }, 200ms);
    c->SendRaw(QueryDatagram(1, "Y"));
    long answer = WaitForAnswer(*c, 1, 5s, mark);
    ASSERT_GE(answer, 0);
    EXPECT_EQ(c->m_Received[size_t(answer)].bytes, (Bytes{5, 1, 76, 1, 0, 0, 0, 'Y', 0}));
}

TEST(TransportConnection, SilentClientIsDroppedAfterTheIdlePeriod) {
    TransportServer server({"--peer-timeout", "1.5"});
    ASSERT_TRUE(server.Ready());
    auto c = server.NewClient();
    c->SendRaw(QueryDatagram(1, "X"));
    ASSERT_GE(WaitForAnswer(*c, 1, 5s), 0);
    c->SendAck(0, 1);
    c->WaitUntil([] { return false; }, 2500ms); // silent: only the server's keep-alives arrive
    const size_t mark = c->m_Received.size();
    c->SendRaw(QueryDatagram(1, "Z"));
    long answer = WaitForAnswer(*c, 1, 5s, mark);
    ASSERT_GE(answer, 0);
    EXPECT_EQ(c->m_Received[size_t(answer)].bytes, (Bytes{5, 1, 76, 1, 0, 0, 0, 'Z', 0}));
}

TEST(TransportConnection, KeepAlivesAloneKeepTheConnection) {
    TransportServer server({"--peer-timeout", "1.5"});
    ASSERT_TRUE(server.Ready());
    auto c = server.NewClient();
    c->m_bAutoKeepAlive = true; // one every second, inside the 1.5 s idle period
    c->SendRaw(QueryDatagram(1, "X"));
    ASSERT_GE(WaitForAnswer(*c, 1, 5s), 0);
    c->SendAck(0, 1);
    c->WaitUntil([] { return false; }, 3500ms);
    // Still the same connection: number 2 is the next it expects.
    const size_t mark = c->m_Received.size();
    c->SendRaw(QueryDatagram(2, "W"));
    long answer = WaitForAnswer(*c, 2, 5s, mark);
    ASSERT_GE(answer, 0);
    EXPECT_EQ(c->m_Received[size_t(answer)].bytes, (Bytes{5, 2, 76, 1, 0, 0, 0, 'W', 0}));
}

TEST(TransportConnection, BusyPortIsRetriedEveryTwoSecondsUntilFree) {
    TempDir dir;
    const int port = FreeUdpPort();
    // Close-on-exec, or the server would inherit the port it waits for.
    int blocker = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(uint16_t(port));
    a.sin_addr.s_addr = htonl(INADDR_ANY);
    ASSERT_EQ(bind(blocker, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
    ServerProcess server(ServerProcess::Unattended(dir.Path(), port));
    ASSERT_NE(server.WaitForOutput("bind() did not work... trying again in 2 seconds.  (4 attempts left)\n", 60s),
              std::string::npos);
    close(blocker);
    headless::HeadlessClient probe;
    ASSERT_TRUE(probe.Connect("127.0.0.1", uint16_t(port)));
    probe.Send(0, Bytes{29, 1});
    EXPECT_TRUE(probe.WaitUntil([&] { return probe.AllAcknowledged(); }, 10s)) << server.Output();
    server.Signal(SIGTERM);
    server.WaitForExit(20s);
}

} // namespace
