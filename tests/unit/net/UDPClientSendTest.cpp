#include <gtest/gtest.h>

#include "PeerHarness.h"
#include "base/Settings.h"

namespace {

TEST(PeerSend, FirstMessageOfChannelZeroIsSentAs5Then1ThenBody) {
    PeerHarness h;
    h.Queue(0, {'a', 'b'});
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{5, 1, 'a', 'b'}}));
    EXPECT_EQ(h.m_Pipe.UnackedCount(0), 1u);
}

TEST(PeerSend, ChatOnChannelOneTravelsAsOneDatagramAndItsAckClearsIt) {
    PeerHarness h;
    // 49, sender name "VuK" as a string, text "hi" as a string
    const Bytes chat{49, 3, 0, 0, 0, 'V', 'u', 'K', 2, 0, 0, 0, 'h', 'i'};
    h.Queue(1, chat);
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{8, 1, 49, 3, 0, 0, 0, 'V', 'u', 'K', 2, 0, 0, 0, 'h', 'i'}}));
    EXPECT_EQ(h.m_Pipe.UnackedCount(1), 1u);
    h.Receive({23, 1});
    EXPECT_EQ(h.m_Pipe.UnackedCount(1), 0u);
    EXPECT_TRUE(h.m_pPeer->m_Channels[1].m_Unacked.Empty());
}

TEST(PeerSend, SevenInFlightWithTheDefaultLimitAndTheRestStayQueued) {
    ASSERT_EQ(g_uiUdpSendBufferLimit, 6u);
    PeerHarness h;
    for (uint8_t i = 0; i < 10; ++i) h.Queue(0, {i});
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{5, 1, 0}, {5, 2, 1}, {5, 3, 2}, {5, 4, 3}, {5, 5, 4}, {5, 6, 5}, {5, 7, 6}}));
    EXPECT_EQ(h.m_Pipe.UnackedCount(0), 7u);
    EXPECT_EQ(h.m_Pipe.m_ToClient[0].Length(), 3u);
    EXPECT_EQ(h.m_Pipe.Backlog(), 10u);
    h.Serve();
    EXPECT_TRUE(h.Sent().empty());
}

TEST(PeerSend, OneAckDatagramMayListSeveralNumbers) {
    PeerHarness h;
    for (uint8_t i = 0; i < 5; ++i) h.Queue(0, {i});
    h.Serve();
    h.Sent();
    h.Receive({6, 1, 2, 3});
    EXPECT_EQ(h.m_Pipe.UnackedCount(0), 2u);
    ASSERT_EQ(h.m_pPeer->m_Channels[0].m_Unacked.Length(), 2u);
    EXPECT_EQ(h.m_pPeer->m_Channels[0].m_Unacked[0]->m_uiSeq, 4u);
    EXPECT_EQ(h.m_pPeer->m_Channels[0].m_Unacked[1]->m_uiSeq, 5u);
}

TEST(PeerSend, AcksForUnknownNumbersChangeNothing) {
    PeerHarness h;
    h.Queue(0, {1});
    h.Serve();
    h.Sent();
    h.Receive({6, 9, 200, 0});
    h.Receive({24, 1}); // channel 2 has nothing in flight
    EXPECT_EQ(h.m_Pipe.UnackedCount(0), 1u);
}

TEST(PeerSend, WindowSpanHoldsBackUntilTheOldestTwoAreAcked) {
    PeerHarness h;
    for (uint8_t i = 0; i < 10; ++i) h.Queue(0, {i});
    h.Serve();
    h.Sent();
    // The base trails the oldest unacknowledged number by one once the first ack moved it.
    h.Receive({6, 1});
    h.Serve();
    EXPECT_TRUE(h.Sent().empty());
    h.Receive({6, 2});
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{5, 8, 7}}));
    EXPECT_EQ(h.m_Pipe.UnackedCount(0), 6u);
}

TEST(PeerSend, AllAckedOpensTheWholeWindowAgain) {
    PeerHarness h;
    for (uint8_t i = 0; i < 10; ++i) h.Queue(0, {i});
    h.Serve();
    h.Sent();
    h.Receive({6, 7, 6, 5, 4, 3, 2, 1});
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{5, 8, 7}, {5, 9, 8}, {5, 10, 9}}));
    EXPECT_EQ(h.m_Pipe.Backlog(), 3u);
}

TEST(PeerSend, OutgoingNumbersWrapFrom255ToZero) {
    PeerHarness h;
    std::vector<uint8_t> seen;
    for (int i = 0; i < 258; ++i) {
        h.Queue(3, {uint8_t(i)});
        h.Serve();
        std::vector<Bytes> sent = h.Sent();
        ASSERT_EQ(sent.size(), 1u) << "message " << i;
        ASSERT_EQ(sent[0][0], 10);
        seen.push_back(sent[0][1]);
        h.Receive({25, sent[0][1]});
    }
    EXPECT_EQ(seen[0], 1);
    EXPECT_EQ(seen[254], 255);
    EXPECT_EQ(seen[255], 0);
    EXPECT_EQ(seen[256], 1);
}

TEST(PeerSend, EmptyMessagesAreDroppedWithoutANumber) {
    PeerHarness h;
    h.Queue(0, {});
    h.Queue(0, {'x'});
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{5, 1, 'x'}}));
    EXPECT_EQ(h.m_Pipe.Backlog(), 1u);
}

TEST(PeerSend, ChannelsAreNumberedIndependently) {
    PeerHarness h;
    h.Queue(0, {'a'});
    h.Queue(4, {'b'});
    h.Queue(0, {'c'});
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{5, 1, 'a'}, {5, 2, 'c'}, {11, 1, 'b'}}));
}

TEST(PeerResend, EachMessageIsResentAtItsOwnRate) {
    PeerHarness h;
    h.Queue(0, {'h'}, 2.0f);
    h.Queue(1, {'o'}, 1.0f);
    h.Queue(2, {'q'}, 0.5f);
    h.Serve();
    h.Sent();
    h.m_Clock.AdvanceSeconds(0.5);
    h.Serve();
    EXPECT_TRUE(h.Sent().empty()); // "more than" the period, not equal to it
    h.m_Clock.AdvanceNanoseconds(1);
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{5, 1, 'h'}}));
    h.m_Clock.AdvanceSeconds(0.6);
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{5, 1, 'h'}, {8, 1, 'o'}}));
    h.m_Clock.AdvanceSeconds(1.0);
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{5, 1, 'h'}, {9, 1, 'q'}}));
}

TEST(PeerResend, AckedMessagesAreNotResent) {
    PeerHarness h;
    h.Queue(0, {'h'});
    h.Serve();
    h.Sent();
    h.Receive({6, 1});
    h.Sent();
    h.m_Clock.AdvanceSeconds(0.9);
    h.Serve();
    EXPECT_TRUE(h.Sent().empty());
}

TEST(PeerKeepAlive, SentAfterOneSecondWithoutSending) {
    PeerHarness h;
    h.m_Clock.AdvanceSeconds(1.0);
    h.Serve();
    EXPECT_TRUE(h.Sent().empty());
    h.m_Clock.AdvanceNanoseconds(1);
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{3}}));
    h.m_Clock.AdvanceSeconds(0.9);
    h.Serve();
    EXPECT_TRUE(h.Sent().empty());
    h.m_Clock.AdvanceSeconds(0.2);
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{3}}));
}

TEST(PeerKeepAlive, AcksAndDataPostponeIt) {
    PeerHarness h;
    h.m_Clock.AdvanceSeconds(0.8);
    h.Receive({5, 1});
    h.m_Clock.AdvanceSeconds(0.8);
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{6, 1}}));
    h.Queue(0, {'d'}, 0.1f);
    h.Serve();
    h.Sent();
    h.m_Clock.AdvanceSeconds(0.9);
    h.Serve();
    EXPECT_TRUE(h.Sent().empty());
    h.m_Clock.AdvanceSeconds(0.2);
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{3}}));
}

TEST(PeerStopSending, NothingLeavesButMessagesStillGoIntoFlight) {
    PeerHarness h;
    h.m_Pipe.SetStopSending();
    h.Queue(0, {'k'});
    h.Serve();
    h.m_Clock.AdvanceSeconds(5);
    h.Serve();
    h.Receive({5, 1});
    EXPECT_TRUE(h.Sent().empty());
    EXPECT_EQ(h.m_Pipe.UnackedCount(0), 1u);
}

} // namespace
