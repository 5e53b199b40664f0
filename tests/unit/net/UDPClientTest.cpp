// One peer of the reliable transport and its pipe, driven by hand on the fake clock (see
// PeerHarness.h).
#include <gtest/gtest.h>

#include <tuple>

#include "PeerHarness.h"
#include "base/Settings.h"

namespace {

// ---- the pipe ------------------------------------------------------------------------------

// The queues reclaim their taken slots as they go; the order must survive that.
TEST(ClientServerPipe, QueuesKeepTheirOrderThroughLongInterleavedUseAndRefuseChannelsOutOfRange) {
    PeerHarness h;
    uint8_t next = 0, expected = 0;
    auto takesNext = [&] {
        std::unique_ptr<Packet> p(h.m_Pipe.TakeToClient(0));
        return p && p->Data()[0] == expected++;
    };
    for (int round = 0; round < 50; ++round) {
        for (int i = 0; i < 7; ++i) h.Queue(0, {next++});
        for (int i = 0; i < 5; ++i) ASSERT_TRUE(takesNext());
    }
    // The backlog is what channel 0 has in flight and queued; other channels do not count.
    h.m_Pipe.SetUnackedCount(0, 4);
    h.m_Pipe.SetUnackedCount(1, 7);
    h.Queue(2, {0});
    EXPECT_EQ(h.m_Pipe.Backlog(), 104u);
    while (expected != next) ASSERT_TRUE(takesNext());
    // Channels out of range are refused.
    h.Queue(16, {1});
    h.m_Pipe.PushToServer(99, new Packet);
    EXPECT_EQ(h.m_Pipe.TakeToClient(16), nullptr);
    EXPECT_EQ(h.m_Pipe.TakeToServer(99), nullptr);
}

// ---- receiving -----------------------------------------------------------------------------

// Datagrams on one channel after its expected number was set: every one is acknowledged at
// once; in-order bodies are delivered at once, numbers ahead of a gap are held (each once) and
// delivered by the end of the pass when the gap has closed. Other channels get nothing.
TEST(PeerReceive, EveryDatagramIsAckedAndEachNumberDeliveredOnceInOrder) {
    struct Case {
        unsigned channel;
        uint32_t expected;
        Datagrams in, acks, atOnce, atPassEnd;
        std::vector<uint32_t> held;
    };
    // clang-format off
    const Case cases[] = {
        {0, 1, {{5, 1, 'h', 'i'}}, {{6, 1}}, {{'h', 'i'}}, {}, {}},
        {0, 1, {{5, 1}}, {{6, 1}}, {{}}, {}, {}},
        {1, 1, {{8, 1, 49, 0, 0}}, {{23, 1}}, {{49, 0, 0}}, {}, {}},
        {15, 1, {{22, 1, 0xAB}}, {{37, 1}}, {{0xAB}}, {}, {}},
        {0, 1, {{5, 1, 'a'}, {5, 1, 'a'}}, {{6, 1}, {6, 1}}, {{'a'}}, {}, {}},
        {0, 1, {{5, 1, 'a'}, {5, 2, 'b'}, {5, 1, 'x'}}, {{6, 1}, {6, 2}, {6, 1}}, {{'a'}, {'b'}}, {}, {}},
        {0, 1, {{5, 3, 'c'}, {5, 2, 'b'}, {5, 1, 'a'}}, {{6, 3}, {6, 2}, {6, 1}}, {{'a'}}, {{'b'}, {'c'}}, {3, 2}},
        {0, 1, {{5, 3, 'c'}, {5, 3, 'C'}, {5, 2, 'b'}, {5, 1, 'a'}}, {{6, 3}, {6, 3}, {6, 2}, {6, 1}}, {{'a'}}, {{'b'}, {'c'}}, {3, 2}},
        {2, 255, {{9, 255, 'y'}, {9, 0, 'z'}}, {{24, 255}, {24, 0}}, {{'y'}, {'z'}}, {}, {}},
        {2, 254, {{9, 0, 'z'}, {9, 255, 'y'}, {9, 254, 'x'}}, {{24, 0}, {24, 255}, {24, 254}}, {{'x'}}, {{'y'}, {'z'}}, {0, 255}},
        // A second copy of a held number that comes once its gap has closed is delivered, and the
        // held copy goes with it (kept, it would come out as the message 256 numbers on).
        {0, 1, {{5, 2, 'b'}, {5, 1, 'a'}, {5, 2, 'B'}}, {{6, 2}, {6, 1}, {6, 2}}, {{'a'}, {'B'}}, {}, {}},
        // At the wrap: 72 and 0 lie ahead of 200 and are held, 73 lies behind and is dropped.
        {0, 200, {{5, 73, 'o'}, {5, 72, 'i'}, {5, 0, 'j'}}, {{6, 73}, {6, 72}, {6, 0}}, {}, {}, {72, 0}},
    };
    // clang-format on
    for (const Case& c : cases) {
        PeerHarness h;
        UDPChannelState& channel = h.m_pPeer->m_Channels[c.channel];
        channel.m_uiExpectedSeq = c.expected;
        for (const Bytes& d : c.in) h.Receive(d);
        EXPECT_EQ(h.Sent(), c.acks);
        EXPECT_EQ(h.Delivered(c.channel), c.atOnce);
        std::vector<uint32_t> held;
        for (const UDPIncomingPacket* p : channel.m_Held.m_Items) held.push_back(p->m_uiSeq);
        EXPECT_EQ(held, c.held);
        h.Serve();
        EXPECT_EQ(h.Delivered(c.channel), c.atPassEnd);
        for (unsigned other = 0; other < kChannelCount; ++other) EXPECT_TRUE(h.Delivered(other).empty());
    }
}

// A peer may hold 256 KiB of messages that overtook a lost one; beyond that an early message is
// acknowledged and dropped, and the bytes are given back as the held ones are delivered.
TEST(PeerReceive, HeldMessagesAreCappedPerPeer) {
    PeerHarness h;
    Bytes body(60'000, 'x');
    for (uint8_t seq = 2; seq <= 6; ++seq) {
        Bytes d{5, seq};
        d.insert(d.end(), body.begin(), body.end());
        h.Receive(d);
    }
    EXPECT_EQ(h.Sent(), (Datagrams{{6, 2}, {6, 3}, {6, 4}, {6, 5}, {6, 6}}));
    EXPECT_EQ(std::tuple(h.m_pPeer->m_Channels[0].m_Held.Length(), UdpHeldBytesAllPeers()), std::tuple(4u, 240'000u));
    h.Receive({5, 1});
    h.Serve();
    EXPECT_EQ(std::tuple(h.Delivered(0).size(), UdpHeldBytesAllPeers()), std::tuple(5u, 0u));
}

TEST(PeerReceive, JunkOnlyPutsOffTheEndThatThirtySecondsOfSilenceBring) {
    PeerHarness h;
    for (const Bytes& d : Datagrams{{5}, {6}, {8}, {23}, {0, 1, 2}, {1}, {2, 1}, {4, 1}, {38, 1}, {255, 1}, {3}, {}}) {
        h.m_Clock.AdvanceSeconds(20);
        h.Receive(d);
    }
    h.m_Clock.AdvanceSeconds(29.9);
    EXPECT_FALSE(h.m_pPeer->IsFinished());
    h.Serve();
    EXPECT_EQ(h.Sent(), Datagrams{{3}}); // a keep-alive, nothing else
    for (unsigned c = 0; c < kChannelCount; ++c) EXPECT_TRUE(h.Delivered(c).empty());
    h.m_Clock.AdvanceSeconds(0.1);
    EXPECT_TRUE(h.m_pPeer->IsFinished());
}

// ---- sending -------------------------------------------------------------------------------

TEST(PeerSend, EachChannelNumbersItsMessagesFromOneAndEmptyOnesAreDropped) {
    PeerHarness h;
    h.Queue(0, {});
    h.Queue(0, {'a'});
    h.Queue(4, {'b'});
    h.Queue(0, {'c'});
    h.Queue(1, {49, 'h', 'i'});
    h.Serve();
    EXPECT_EQ(h.Sent(), (Datagrams{{5, 1, 'a'}, {5, 2, 'c'}, {8, 1, 49, 'h', 'i'}, {11, 1, 'b'}}));
    EXPECT_EQ(std::tuple(h.m_Pipe.Backlog(), h.m_Pipe.UnackedCount(1)), std::tuple(2u, 1u));
    h.Receive({23, 1});
    EXPECT_EQ(h.m_Pipe.UnackedCount(1), 0u);
}

// Ten messages on channel 0: seven go into flight (one more than the limit of six), the rest
// wait. Acknowledgements move the window on only from its oldest end, and the base trails the
// oldest unacknowledged number by one once the first acknowledgement moved it.
TEST(PeerSend, AcksOpenTheWindowFromItsOldestEndOnly) {
    ASSERT_EQ(g_uiUdpSendBufferLimit, 6u);
    struct Case {
        Datagrams acks, sentNext;
        uint32_t unacked;
    };
    const Case cases[] = {
        {{}, {}, 7},
        {{{6, 1}}, {}, 6},
        {{{6, 1}, {6, 2}}, {{5, 8, 7}}, 6},
        {{{6, 1, 2, 3}}, {{5, 8, 7}, {5, 9, 8}}, 6},
        {{{6, 7, 6, 5, 4, 3, 2, 1}}, {{5, 8, 7}, {5, 9, 8}, {5, 10, 9}}, 3},
        {{{6, 9, 200, 0}, {24, 1}}, {}, 7}, // numbers not in flight; a channel with nothing in flight
    };
    for (const Case& c : cases) {
        PeerHarness h;
        for (uint8_t i = 0; i < 10; ++i) h.Queue(0, {i});
        h.Serve();
        EXPECT_EQ(h.Sent(), (Datagrams{{5, 1, 0}, {5, 2, 1}, {5, 3, 2}, {5, 4, 3}, {5, 5, 4}, {5, 6, 5}, {5, 7, 6}}));
        for (const Bytes& ack : c.acks) h.Receive(ack);
        h.Serve();
        EXPECT_EQ(h.Sent(), c.sentNext);
        EXPECT_EQ(h.m_Pipe.UnackedCount(0), c.unacked);
    }
}

TEST(PeerSend, OutgoingNumbersWrapFrom255ToZero) {
    PeerHarness h;
    Datagrams last;
    for (int i = 0; i < 258; ++i) {
        h.Queue(3, {uint8_t(i)});
        h.Serve();
        Datagrams sent = h.Sent();
        ASSERT_EQ(sent.size(), 1u) << "message " << i;
        h.Receive({25, sent[0][1]});
        if (i >= 253) last.push_back(sent[0]);
    }
    EXPECT_EQ(last, (Datagrams{{10, 254, 253}, {10, 255, 254}, {10, 0, 255}, {10, 1, 0}, {10, 2, 1}}));
    EXPECT_EQ(h.m_Pipe.UnackedCount(3), 0u); // the acknowledgements of 0, 1 and 2 found their messages
}

TEST(PeerResend, EachMessageIsResentAtItsOwnRateUntilSendingStops) {
    PeerHarness h;
    h.Queue(0, {'h'}, 2.0f);
    h.Queue(2, {'q'}, 0.5f);
    h.Serve();
    h.Sent();
    h.m_Clock.AdvanceSeconds(0.5);
    h.Serve();
    EXPECT_TRUE(h.Sent().empty()); // "more than" the period, not equal to it
    h.m_Clock.AdvanceNanoseconds(1);
    h.Serve();
    EXPECT_EQ(h.Sent(), (Datagrams{{5, 1, 'h'}}));
    h.m_Clock.AdvanceSeconds(1.5);
    h.Serve();
    EXPECT_EQ(h.Sent(), (Datagrams{{5, 1, 'h'}, {9, 1, 'q'}}));
    // Told to stop sending, the peer sends nothing at all, yet delivers and takes messages.
    h.m_Pipe.SetStopSending();
    h.Receive({5, 1, 'k'});
    h.Queue(0, {'x'});
    h.m_Clock.AdvanceSeconds(5);
    h.Serve();
    EXPECT_EQ(std::tuple(h.Sent(), h.Delivered(0), h.m_Pipe.UnackedCount(0)),
              std::tuple(Datagrams{}, Datagrams{{'k'}}, 2u));
}

// A keep-alive goes after more than a second in which nothing was sent: not a keep-alive, not
// an acknowledgement, not a message (the resend test shows messages putting it off).
TEST(PeerKeepAlive, GoesAfterMoreThanASecondWithNothingSent) {
    PeerHarness h;
    h.m_Clock.AdvanceSeconds(1.0);
    h.Serve();
    EXPECT_TRUE(h.Sent().empty());
    h.m_Clock.AdvanceNanoseconds(1);
    h.Serve();
    h.Serve();
    EXPECT_EQ(h.Sent(), (Datagrams{{3}}));
    h.m_Clock.AdvanceSeconds(0.8);
    h.Receive({5, 1});
    h.m_Clock.AdvanceSeconds(0.8);
    h.Serve();
    EXPECT_EQ(h.Sent(), (Datagrams{{6, 1}}));
    h.m_Clock.AdvanceSeconds(0.3);
    h.Serve();
    EXPECT_EQ(h.Sent(), (Datagrams{{3}}));
    h.m_Pipe.SetStopSending(); // and none at all once sending stopped
    h.m_Clock.AdvanceSeconds(2);
    h.Serve();
    EXPECT_TRUE(h.Sent().empty());
}

} // namespace
