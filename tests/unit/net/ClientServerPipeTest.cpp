#include <gtest/gtest.h>

#include "net/ClientServerPipe.h"

namespace {

Packet* Make(uint8_t v) {
    Packet* p = new Packet;
    p->AppendByte(v);
    return p;
}

uint8_t FirstByteAndDelete(Packet* p) {
    uint8_t v = p ? p->Data()[0] : 0xFF;
    delete p;
    return v;
}

TEST(ClientServerPipe, StartsConnectedWithEmptyQueues) {
    ClientServerPipe pipe;
    EXPECT_TRUE(pipe.IsConnected());
    EXPECT_FALSE(pipe.IsStopSending());
    EXPECT_EQ(pipe.Backlog(), 0u);
    for (unsigned c = 0; c < kChannelCount; ++c) {
        EXPECT_EQ(pipe.TakeToServer(c), nullptr);
        EXPECT_EQ(pipe.TakeToClient(c), nullptr);
    }
}

TEST(ClientServerPipe, QueuesKeepOrderPerChannel) {
    ClientServerPipe pipe;
    pipe.PushToServer(3, Make(1));
    pipe.PushToServer(4, Make(9));
    pipe.PushToServer(3, Make(2));
    EXPECT_EQ(FirstByteAndDelete(pipe.TakeToServer(3)), 1);
    EXPECT_EQ(FirstByteAndDelete(pipe.TakeToServer(3)), 2);
    EXPECT_EQ(pipe.TakeToServer(3), nullptr);
    EXPECT_EQ(FirstByteAndDelete(pipe.TakeToServer(4)), 9);
}

TEST(ClientServerPipe, OrderSurvivesLongInterleavedUse) {
    ClientServerPipe pipe;
    uint8_t next = 0, expected = 0;
    for (int round = 0; round < 50; ++round) {
        for (int i = 0; i < 7; ++i) pipe.PushToClient(0, Make(next++));
        for (int i = 0; i < 5; ++i) ASSERT_EQ(FirstByteAndDelete(pipe.TakeToClient(0)), expected++);
    }
    EXPECT_EQ(pipe.m_ToClient[0].Length(), 100u);
    while (Packet* p = pipe.TakeToClient(0)) ASSERT_EQ(FirstByteAndDelete(p), expected++);
    EXPECT_EQ(expected, next);
}

TEST(ClientServerPipe, BacklogIsUnackedPlusQueuedOnChannelZero) {
    ClientServerPipe pipe;
    pipe.SetUnackedCount(0, 4);
    pipe.SetUnackedCount(1, 7);
    pipe.PushToClient(0, Make(1));
    pipe.PushToClient(0, Make(2));
    pipe.PushToClient(2, Make(3));
    EXPECT_EQ(pipe.Backlog(), 6u);
}

TEST(ClientServerPipe, FlagsChangeOneWay) {
    ClientServerPipe pipe;
    pipe.SetStopSending();
    pipe.SetDisconnected();
    EXPECT_TRUE(pipe.IsStopSending());
    EXPECT_FALSE(pipe.IsConnected());
}

TEST(ClientServerPipe, ChannelOutOfRangeIsRefused) {
    ClientServerPipe pipe;
    pipe.PushToClient(16, Make(1));
    pipe.PushToServer(99, Make(1));
    EXPECT_EQ(pipe.TakeToClient(16), nullptr);
    EXPECT_EQ(pipe.TakeToServer(99), nullptr);
    EXPECT_EQ(pipe.Backlog(), 0u);
}

} // namespace
