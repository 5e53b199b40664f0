// Acknowledgements, ordering and duplicates against the real server, seen datagram by datagram.
#include <gtest/gtest.h>

#include "support/TransportServer.h"

namespace {

using namespace std::chrono_literals;
using headless::Datagram;
using headless::DatagramKind;

const std::string kCount = "KRV_HOW_MANY_LOGGED_IN";

auto AckOf(unsigned channel, uint8_t seq) {
    return [=](const Datagram& d) { return d.kind == DatagramKind::Ack && d.channel == channel && d.seq == seq; };
}
auto AnyData(unsigned channel) {
    return [=](const Datagram& d) { return IsDataOf(d, channel); };
}

class TransportDelivery : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_Server.Ready()) << m_Server.Process().Output(); }
    TransportServer m_Server;
};

TEST_F(TransportDelivery, ChannelZeroDataIsAckedWith6AndAnsweredOnChannelZero) {
    auto c = m_Server.NewClient();
    c->SendRaw(QueryDatagram(1, kCount));
    long ack = c->WaitForDatagram(AckOf(0, 1), 5s);
    ASSERT_GE(ack, 0);
    EXPECT_EQ(c->m_Received[size_t(ack)].bytes, (Bytes{6, 1}));
    long answer = c->WaitForDatagram(AnyData(0), 5s);
    ASSERT_GE(answer, 0);
    // 76, the name as received, then no visible player + 1.
    EXPECT_EQ(c->m_Received[size_t(answer)].bytes,
              (Bytes{5, 1, 76, 22, 0, 0, 0, 'K', 'R', 'V', '_', 'H', 'O', 'W', '_', 'M', 'A', 'N', 'Y',
                     '_', 'L', 'O', 'G', 'G', 'E', 'D', '_', 'I', 'N', 1}));
}

TEST_F(TransportDelivery, ChannelCDataIsAckedWith22PlusC) {
    auto c = m_Server.NewClient();
    c->SendRaw(Bytes{10, 1, 29, 4});  // channel 3
    c->SendRaw(Bytes{22, 1, 29, 5});  // channel 15
    c->SendRaw(Bytes{8, 200, 29, 6}); // channel 1, beyond the expected number: held, still acked
    long a3 = c->WaitForDatagram(AckOf(3, 1), 5s);
    long a15 = c->WaitForDatagram(AckOf(15, 1), 5s);
    long a1 = c->WaitForDatagram(AckOf(1, 200), 5s);
    ASSERT_GE(a3, 0);
    ASSERT_GE(a15, 0);
    ASSERT_GE(a1, 0);
    EXPECT_EQ(c->m_Received[size_t(a3)].bytes, (Bytes{25, 1}));
    EXPECT_EQ(c->m_Received[size_t(a15)].bytes, (Bytes{37, 1}));
    EXPECT_EQ(c->m_Received[size_t(a1)].bytes, (Bytes{23, 200}));
}

TEST_F(TransportDelivery, ReorderedDatagramsAreDeliveredInOrder) {
    auto c = m_Server.NewClient();
    c->SendRaw(QueryDatagram(2, "SECOND"));
    c->SendRaw(QueryDatagram(1, kCount));
    headless::Message first, second;
    ASSERT_TRUE(c->NextMessage(&first, 5s));
    ASSERT_TRUE(c->NextMessage(&second, 5s));
    EXPECT_EQ(first.body, (Bytes{76, 22, 0, 0, 0, 'K', 'R', 'V', '_', 'H', 'O', 'W', '_', 'M', 'A', 'N', 'Y', '_',
                                 'L', 'O', 'G', 'G', 'E', 'D', '_', 'I', 'N', 1}));
    EXPECT_EQ(second.body, (Bytes{76, 6, 0, 0, 0, 'S', 'E', 'C', 'O', 'N', 'D', 0}));
}

TEST_F(TransportDelivery, DuplicatesAreAckedEachTimeAndDeliveredOnce) {
    auto c = m_Server.NewClient();
    c->SendRaw(QueryDatagram(1, "ONE"));
    c->SendRaw(QueryDatagram(1, "ONE"));
    c->SendRaw(QueryDatagram(2, "TWO"));
    headless::Message first, second;
    ASSERT_TRUE(c->NextMessage(&first, 5s));
    ASSERT_TRUE(c->NextMessage(&second, 5s));
    EXPECT_EQ(first.body, (Bytes{76, 3, 0, 0, 0, 'O', 'N', 'E', 0}));
    EXPECT_EQ(second.body, (Bytes{76, 3, 0, 0, 0, 'T', 'W', 'O', 0}));
    size_t acksOfOne = 0;
    for (const Datagram& d : c->m_Received) acksOfOne += AckOf(0, 1)(d) ? 1 : 0;
    EXPECT_EQ(acksOfOne, 2u);
}

TEST_F(TransportDelivery, LostAcknowledgementIsRepairedByTheResend) {
    auto c = m_Server.NewClient();
    c->m_bAutoAck = false;
    c->SendRaw(QueryDatagram(1, "LOST"));
    long sent = c->WaitForDatagram(AnyData(0), 5s);
    ASSERT_GE(sent, 0);
    // Answers to queries are resent every 2 s (rate 0.5) until acknowledged.
    long again = c->WaitForDatagram(AnyData(0), 5s, size_t(sent) + 1);
    ASSERT_GE(again, 0);
    const Datagram& a = c->m_Received[size_t(sent)];
    const Datagram& b = c->m_Received[size_t(again)];
    EXPECT_EQ(a.bytes, b.bytes);
    EXPECT_EQ(a.bytes, (Bytes{5, 1, 76, 4, 0, 0, 0, 'L', 'O', 'S', 'T', 0}));
    const double gap = double(b.counter - a.counter) / 1e9;
    EXPECT_GT(gap, 1.9);
    EXPECT_LT(gap, 2.6);
    c->SendAck(0, 1);
    // Acknowledged: the next resend would have come 2 s later; nothing comes.
    EXPECT_LT(c->WaitForDatagram(AnyData(0), 2500ms, size_t(again) + 1), 0);
}

TEST_F(TransportDelivery, SevenUnackedMessagesInFlightWithTheDefaultLimit) {
    auto c = m_Server.NewClient();
    c->m_bAutoAck = false;
    for (uint8_t i = 1; i <= 10; ++i) c->SendRaw(QueryDatagram(i, std::string(1, char('A' + i - 1))));
    ASSERT_GE(c->WaitForDatagram([](const Datagram& d) { return IsDataOf(d, 0) && d.seq == 7; }, 5s), 0);
    // Half a second more: the server has answered all ten by now, and resends start only after 2 s.
    c->WaitUntil([] { return false; }, 500ms);
    std::vector<uint8_t> numbers;
    for (const Datagram& d : c->m_Received)
        if (IsDataOf(d, 0)) numbers.push_back(d.seq);
    EXPECT_EQ(numbers, (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7}));
    const size_t mark = c->m_Received.size();
    c->SendRaw(Bytes{6, 1, 2, 3, 4, 5, 6, 7});
    long last = c->WaitForDatagram([](const Datagram& d) { return IsDataOf(d, 0) && d.seq == 10; }, 5s, mark);
    ASSERT_GE(last, 0);
    EXPECT_EQ(c->m_Received[size_t(last)].bytes, (Bytes{5, 10, 76, 1, 0, 0, 0, 'J', 0}));
}

} // namespace
