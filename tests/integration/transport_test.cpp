// The transport against the real server, datagram by datagram: acknowledgements, order,
// duplicates, resends, the idle drop, bind retries and garbage. The peer's rules
// themselves are the unit tests' business.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include <random>

#include "base/LogChat.h"
#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using headless::Datagram;
using headless::DatagramKind;
using records::Bytes;

const std::string kCount = "KRV_HOW_MANY_LOGGED_IN";

// Record 12 as one raw data datagram of channel 0 with the given number.
Bytes QueryDatagram(uint8_t seq, const std::string& name) {
    return records::Concat(Bytes{5, seq}, headless::QueryExtensionRecord(name));
}
auto DataOf(unsigned channel, int seq = -1) {
    return [=](const Datagram& d) {
        return d.kind == DatagramKind::Data && d.channel == channel && (seq < 0 || d.seq == seq);
    };
}
auto AckOf(unsigned channel, uint8_t seq) {
    return [=](const Datagram& d) { return d.kind == DatagramKind::Ack && d.channel == channel && d.seq == seq; };
}

// A client that records every datagram and leaves keep-alives to the test.
std::unique_ptr<headless::HeadlessClient> RawClient(GameServer& server) {
    auto client = server.NewClient();
    client->m_bRecordDatagrams = true;
    client->m_bAutoKeepAlive = false;
    return client;
}
// The bytes of the first datagram at or after from that matches, waiting up to 5 s.
Bytes Received(headless::HeadlessClient& c, const std::function<bool(const Datagram&)>& match, size_t from = 0) {
    long at = c.WaitForDatagram(match, 5s, from);
    return at < 0 ? Bytes{} : c.m_Received[size_t(at)].bytes;
}
double SecondsBetween(const Datagram& a, const Datagram& b) { return double(b.counter - a.counter) / 1e9; }

class Transport : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_Server.Ready()) << m_Server.Process().Output(); }
    GameServer m_Server;
};

TEST_F(Transport, EveryDataDatagramIsAckedOnItsChannelAndDeliveredOnceInOrder) {
    auto c = RawClient(m_Server);
    c->SendRaw(QueryDatagram(2, "TWO"));
    c->SendRaw(QueryDatagram(1, kCount));
    c->SendRaw(QueryDatagram(1, kCount)); // a duplicate: acked again, delivered once
    c->SendRaw(Bytes{8, 200, 29, 6});     // channel 1, beyond the expected number: held, still acked
    c->SendRaw(QueryDatagram(3, "END"));
    EXPECT_EQ(Received(*c, AckOf(1, 200)), (Bytes{23, 200}));
    EXPECT_EQ(Received(*c, AckOf(0, 1)), (Bytes{6, 1}));
    EXPECT_EQ(std::count_if(c->m_Received.begin(), c->m_Received.end(), AckOf(0, 1)), 2);
    // The answers in order: 76, the name as received, then the visible players + 1.
    EXPECT_EQ(Received(*c, DataOf(0, 1)),
              (Bytes{5,   1,   76,  22,  0,   0,   0,   'K', 'R', 'V', '_', 'H', 'O', 'W', '_',
                     'M', 'A', 'N', 'Y', '_', 'L', 'O', 'G', 'G', 'E', 'D', '_', 'I', 'N', 1}));
    EXPECT_EQ(Received(*c, DataOf(0, 2)), (Bytes{5, 2, 76, 3, 0, 0, 0, 'T', 'W', 'O', 0}));
    EXPECT_EQ(Received(*c, DataOf(0, 3)), (Bytes{5, 3, 76, 3, 0, 0, 0, 'E', 'N', 'D', 0}));
}

TEST_F(Transport, LostAcknowledgementIsRepairedByTheResend) {
    auto c = RawClient(m_Server);
    c->m_bAutoAck = false;
    c->SendRaw(QueryDatagram(1, "LOST"));
    long sent = c->WaitForDatagram(DataOf(0), 5s);
    ASSERT_GE(sent, 0);
    // Answers to queries are resent every 2 s (rate 0.5) until acknowledged.
    long again = c->WaitForDatagram(DataOf(0), 5s, size_t(sent) + 1);
    ASSERT_GE(again, 0);
    const Datagram& a = c->m_Received[size_t(sent)];
    const Datagram& b = c->m_Received[size_t(again)];
    EXPECT_EQ(a.bytes, (Bytes{5, 1, 76, 4, 0, 0, 0, 'L', 'O', 'S', 'T', 0}));
    EXPECT_EQ(b.bytes, a.bytes);
    EXPECT_GT(SecondsBetween(a, b), 1.9);
    EXPECT_LT(SecondsBetween(a, b), 2.6);
    c->SendAck(0, 1);
    // Acknowledged: the next resend would have come 2 s later; nothing comes.
    EXPECT_LT(c->WaitForDatagram(DataOf(0), 2500ms, size_t(again) + 1), 0);
}

TEST(TransportIdle, SilentClientIsDroppedAndOneSendingOnlyKeepAlivesIsKept) {
    GameServer server({}, {"--peer-timeout", "1.5"});
    ASSERT_TRUE(server.Ready());
    auto silent = RawClient(server);
    auto alive = RawClient(server);
    alive->m_bAutoKeepAlive = true; // one every second, inside the 1.5 s idle period
    ASSERT_FALSE(GameServer::Login(*silent, records::NewLogin("silent", "pw")).empty());
    ASSERT_FALSE(GameServer::Login(*alive, records::NewLogin("alive", "pw")).empty());
    // The drop logs the silent player out; the other one has been as quiet but for keep-alives.
    ASSERT_TRUE(alive->WaitUntil(
        [&] { return server.Folder().Read(ChatLogFileName()).find("silent has disconnected.") != std::string::npos; },
        10s));
    EXPECT_EQ(server.Folder().Read(ChatLogFileName()).find("alive has disconnected."), std::string::npos);
    // Number 1 is new to a new connection; the kept one expects its next number.
    const size_t mark = silent->m_Received.size();
    silent->SendRaw(QueryDatagram(1, "Z"));
    EXPECT_EQ(Received(*silent, DataOf(0, 1), mark), (Bytes{5, 1, 76, 1, 0, 0, 0, 'Z', 0}));
    alive->SendRaw(QueryDatagram(alive->NextSeq(0), "W"));
    headless::Message answer;
    do ASSERT_TRUE(alive->NextMessage(&answer, 5s));
    while (answer.body[0] != 76);
    EXPECT_EQ(answer.body, (Bytes{76, 1, 0, 0, 0, 'W', 0}));
}

TEST(TransportPort, BusyPortIsRetriedEveryTwoSecondsUntilFree) {
    TempDir dir;
    const int port = FreeUdpPort();
    // Close-on-exec, or the server would inherit the port it waits for.
    int blocker = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(uint16_t(port));
    ASSERT_EQ(bind(blocker, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
    ServerProcess server(ServerProcess::Unattended(dir.Path(), port));
    ASSERT_NE(server.WaitForOutput("bind() did not work... trying again in 2 seconds.  (4 attempts left)\n", 60s),
              std::string::npos);
    close(blocker);
    headless::HeadlessClient probe;
    ASSERT_TRUE(probe.Connect("127.0.0.1", uint16_t(port)));
    probe.Send(0, Bytes{29, 1});
    EXPECT_TRUE(probe.WaitUntil([&] { return probe.AllAcknowledged(); }, 10s)) << server.Output();
}

// Garbage from many ports must neither crash the server nor keep it from answering.
TEST(TransportFuzz, RandomDatagramsFromManyPortsLeaveTheServerAnswering) {
    GameServer server({}, {"--peer-timeout", "2"});
    ASSERT_TRUE(server.Ready());
    std::mt19937 random(20240607);
    std::vector<std::unique_ptr<headless::HeadlessClient>> senders;
    for (int i = 0; i < 48; ++i) senders.push_back(server.NewClient());
    Bytes datagram;
    for (int round = 0; round < 3000; ++round) {
        // Mostly short datagrams of every kind, now and then one of any length up to the maximum.
        const uint32_t pick = random() % 100;
        datagram.resize(pick < 80 ? random() % 16 : pick < 97 ? random() % 1500 : random() % 65508);
        for (uint8_t& b : datagram) b = uint8_t(random());
        if (!datagram.empty() && random() % 2) datagram[0] = uint8_t(random() % 40); // the kinds that mean something
        senders[random() % senders.size()]->SendRaw(datagram);
        if (round % 200 == 0) senders.push_back(server.NewClient());
    }
    auto c = RawClient(server);
    c->SendRaw(QueryDatagram(1, "STILL_THERE"));
    headless::Message answer;
    ASSERT_TRUE(c->NextMessage(&answer, 10s));
    EXPECT_EQ(answer.body, (Bytes{76, 11, 0, 0, 0, 'S', 'T', 'I', 'L', 'L', '_', 'T', 'H', 'E', 'R', 'E', 0}));
    EXPECT_TRUE(server.Process().Running());
}

// A flood of more source ports than the peer table holds, each sending one keep-alive: a real
// player still logs in, and the one already playing keeps being served.
TEST(TransportFlood, ALoginIsWelcomedAfterMorePortsThanThePeerTableHolds) {
    GameServer server;
    ASSERT_TRUE(server.Ready());
    auto resident = server.NewClient();
    ASSERT_FALSE(GameServer::Login(*resident, records::NewLogin("resident", "pw")).empty());

    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(uint16_t(server.Port()));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::vector<int> open;
    for (int i = 0; i < 10'000; ++i) {
        const int s = socket(AF_INET, SOCK_DGRAM, 0);
        ASSERT_GE(s, 0);
        sendto(s, "\x03", 1, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
        open.push_back(s);
        // Kept open in batches so that most senders get a port of their own.
        if (open.size() == 500) {
            for (int fd : open) close(fd);
            open.clear();
        }
    }
    for (int fd : open) close(fd);

    // The server may still be working through the flood's backlog: a generous bound.
    auto late = server.NewClient();
    late->Send(0, records::Concat(records::Version(84), records::NewLogin("late", "pw")));
    headless::Message welcome;
    ASSERT_TRUE(late->NextMessage(&welcome, 60s));
    EXPECT_EQ(welcome.body.at(0), 100);
    resident->Send(0, headless::MovementSequenceRecord(0));
    EXPECT_TRUE(resident->WaitUntil([&] { return resident->AllAcknowledged(); }, 10s));
    EXPECT_TRUE(server.Process().Running());
}

} // namespace
