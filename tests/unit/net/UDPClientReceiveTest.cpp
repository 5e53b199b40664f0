#include <gtest/gtest.h>

#include "PeerHarness.h"

namespace {

TEST(UdpSeqWindow, AcceptsTheNext129NumbersAcrossTheWrap) {
    for (uint32_t s = 0; s < 256; ++s) {
        const bool expected = s >= 200 || s <= 72;
        EXPECT_EQ(UdpSeqInWindow(200, s), expected) << "s = " << s;
    }
}

TEST(UdpSeqWindow, AcceptsExpectedThroughExpectedPlus128WithoutWrap) {
    for (uint32_t s = 0; s < 256; ++s) EXPECT_EQ(UdpSeqInWindow(10, s), s >= 10 && s <= 138) << "s = " << s;
    EXPECT_TRUE(UdpSeqInWindow(127, 255));
    EXPECT_FALSE(UdpSeqInWindow(127, 0));
    EXPECT_TRUE(UdpSeqInWindow(128, 0));
    EXPECT_FALSE(UdpSeqInWindow(128, 1));
    EXPECT_FALSE(UdpSeqInWindow(0, 255));
    EXPECT_TRUE(UdpSeqInWindow(0, 128));
}

TEST(PeerReceive, FirstDataOfChannelZeroIsAckedAndDelivered) {
    PeerHarness h;
    h.Receive({5, 1, 'h', 'i'});
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{6, 1}}));
    EXPECT_EQ(h.Delivered(0), (std::vector<Bytes>{{'h', 'i'}}));
}

TEST(PeerReceive, ChannelDataUsesItsOwnKindsAndQueue) {
    PeerHarness h;
    h.Receive({8, 1, 49, 0, 0, 0, 0, 0, 0, 0, 0}); // channel 1
    h.Receive({22, 1, 0xAB});                      // channel 15
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{23, 1}, {37, 1}}));
    EXPECT_EQ(h.Delivered(1), (std::vector<Bytes>{{49, 0, 0, 0, 0, 0, 0, 0, 0}}));
    EXPECT_EQ(h.Delivered(15), (std::vector<Bytes>{{0xAB}}));
    EXPECT_TRUE(h.Delivered(0).empty());
}

TEST(PeerReceive, AckRepeatsForDuplicates) {
    PeerHarness h;
    h.Receive({5, 1, 'a'});
    h.Receive({5, 1, 'a'});
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{6, 1}, {6, 1}}));
    EXPECT_EQ(h.Delivered(0), (std::vector<Bytes>{{'a'}}));
}

TEST(PeerReceive, NumberJustDeliveredIsAckedAndDropped) {
    PeerHarness h;
    h.Receive({5, 1, 'a'});
    h.Receive({5, 2, 'b'});
    h.Receive({5, 1, 'x'});
    h.Serve();
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{6, 1}, {6, 2}, {6, 1}}));
    EXPECT_EQ(h.Delivered(0), (std::vector<Bytes>{{'a'}, {'b'}}));
}

TEST(PeerReceive, ReorderedNumbersAreHeldUntilTheEndOfThePass) {
    PeerHarness h;
    h.Receive({5, 3, 'c'});
    h.Receive({5, 2, 'b'});
    h.Receive({5, 1, 'a'});
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{6, 3}, {6, 2}, {6, 1}}));
    EXPECT_EQ(h.Delivered(0), (std::vector<Bytes>{{'a'}}));
    h.Serve();
    EXPECT_EQ(h.Delivered(0), (std::vector<Bytes>{{'b'}, {'c'}}));
    EXPECT_EQ(h.m_pPeer->m_Channels[0].m_uiExpectedSeq, 4u);
}

TEST(PeerReceive, HeldDuplicatesAreDeliveredOnce) {
    PeerHarness h;
    h.Receive({5, 3, 'c'});
    h.Receive({5, 3, 'C'});
    h.Receive({5, 2, 'b'});
    h.Receive({5, 1, 'a'});
    h.Serve();
    EXPECT_EQ(h.Delivered(0), (std::vector<Bytes>{{'a'}, {'b'}, {'c'}}));
    EXPECT_TRUE(h.m_pPeer->m_Channels[0].m_Held.Empty());
}

TEST(PeerReceive, NumbersWrapFrom255ToZero) {
    PeerHarness h;
    h.m_pPeer->m_Channels[2].m_uiExpectedSeq = 255;
    h.Receive({9, 255, 'y'});
    h.Receive({9, 0, 'z'});
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{24, 255}, {24, 0}}));
    EXPECT_EQ(h.Delivered(2), (std::vector<Bytes>{{'y'}, {'z'}}));
    EXPECT_EQ(h.m_pPeer->m_Channels[2].m_uiExpectedSeq, 1u);
}

TEST(PeerReceive, WindowAtTheWrapHoldsInsideAndDropsOutside) {
    PeerHarness h;
    h.m_pPeer->m_Channels[0].m_uiExpectedSeq = 200;
    h.Receive({5, 73, 'o'});
    h.Receive({5, 72, 'i'});
    h.Receive({5, 0, 'j'});
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{6, 73}, {6, 72}, {6, 0}}));
    ASSERT_EQ(h.m_pPeer->m_Channels[0].m_Held.Length(), 2u);
    EXPECT_EQ(h.m_pPeer->m_Channels[0].m_Held[0]->m_uiSeq, 72u);
    EXPECT_EQ(h.m_pPeer->m_Channels[0].m_Held[1]->m_uiSeq, 0u);
}

TEST(PeerReceive, EmptyBodyIsAMessageToo) {
    PeerHarness h;
    h.Receive({5, 1});
    EXPECT_EQ(h.Sent(), (std::vector<Bytes>{{6, 1}}));
    EXPECT_EQ(h.Delivered(0), (std::vector<Bytes>{{}}));
}

TEST(PeerReceive, ShortAndUnknownDatagramsAreIgnored) {
    PeerHarness h;
    for (const Bytes& d : std::vector<Bytes>{{}, {5}, {6}, {8}, {23}, {0, 1, 2}, {1}, {2, 1}, {4, 1}, {38, 1}, {255, 1, 1}})
        h.Receive(d);
    h.Serve();
    EXPECT_TRUE(h.Sent().empty());
    for (unsigned c = 0; c < kChannelCount; ++c) EXPECT_TRUE(h.Delivered(c).empty());
    EXPECT_FALSE(h.m_pPeer->IsFinished());
}

TEST(PeerReceive, LeaveEndsThePeer) {
    PeerHarness h;
    EXPECT_FALSE(h.m_pPeer->IsFinished());
    h.Receive({7});
    EXPECT_TRUE(h.m_pPeer->m_bLeaving);
    EXPECT_TRUE(h.m_pPeer->IsFinished());
}

TEST(PeerReceive, StopSendingSilencesAcksButStillDelivers) {
    PeerHarness h;
    h.m_Pipe.SetStopSending();
    h.Receive({5, 1, 'k'});
    EXPECT_TRUE(h.Sent().empty());
    EXPECT_EQ(h.Delivered(0), (std::vector<Bytes>{{'k'}}));
}

TEST(PeerIdle, SilenceOfThirtySecondsEndsThePeer) {
    PeerHarness h;
    h.m_Clock.AdvanceSeconds(29.9);
    EXPECT_FALSE(h.m_pPeer->IsFinished());
    h.m_Clock.AdvanceSeconds(0.1);
    EXPECT_TRUE(h.m_pPeer->IsFinished());
}

TEST(PeerIdle, AnyDatagramRestartsTheIdleTimer) {
    PeerHarness h;
    h.m_Clock.AdvanceSeconds(20);
    h.Receive({3});
    h.m_Clock.AdvanceSeconds(20);
    h.Receive({0x99, 1, 2});
    h.m_Clock.AdvanceSeconds(20);
    h.Receive({});
    h.m_Clock.AdvanceSeconds(29.9);
    EXPECT_FALSE(h.m_pPeer->IsFinished());
    h.m_Clock.AdvanceSeconds(0.2);
    EXPECT_TRUE(h.m_pPeer->IsFinished());
}

TEST(PeerIdle, DestroyingThePeerDisconnectsThePipe) {
    PeerHarness h;
    EXPECT_TRUE(h.m_Pipe.IsConnected());
    h.m_pPeer.reset();
    EXPECT_FALSE(h.m_Pipe.IsConnected());
}

} // namespace
