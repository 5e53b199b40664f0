// The reliable layer through a relay that drops, duplicates and reorders datagrams both ways:
// every message on every channel arrives exactly once and in order, in each direction.
#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <thread>

#include "PeerHarness.h"
#include "base/Settings.h"
#include "headless/HeadlessClient.h"
#include "lossy_relay/LossyRelay.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;

constexpr uint32_t kMessagesPerChannel = 10'000;
// Fast resends keep a soak of many losses short; the rule under test is the same.
constexpr float kResendRate = 100.0f;

Bytes Numbered(uint32_t n) { return {uint8_t(n), uint8_t(n >> 8), uint8_t(n >> 16), uint8_t(n >> 24)}; }
uint32_t NumberOf(const uint8_t* b) { return b[0] | b[1] << 8 | b[2] << 16 | uint32_t(b[3]) << 24; }

// Counts what arrives per channel; any gap, repeat or stray turns it bad.
struct InOrder {
    uint32_t next[kChannelCount] = {};
    std::atomic<bool> ok{true};
    std::atomic<uint64_t> total{0};
    void Take(unsigned channel, const uint8_t* body, size_t length) {
        ok = ok && length == 4 && NumberOf(body) == next[channel];
        ++next[channel];
        ++total;
    }
};

TEST(RelaySoak, EveryMessageArrivesOnceInOrderOnEveryChannelBothWays) {
    const bool savedMode = g_bUDPThreadMode;
    const uint32_t savedPort = g_uiCurrentPort;
    g_bUDPThreadMode = true;
    g_uiCurrentPort = uint32_t(FreeUdpPort());
    std::mutex lock;
    std::unique_ptr<ClientServerPipe> pipe;
    auto udp = std::make_unique<UDPServerInterface>(UDPServerInterface::OneByOne([&]() -> ClientServerPipe* {
                                                        std::lock_guard<std::mutex> guard(lock);
                                                        if (pipe) return nullptr;
                                                        pipe = std::make_unique<ClientServerPipe>();
                                                        return pipe.get();
                                                    }),
                                                    16);
    LossyRelay relay(uint16_t(g_uiCurrentPort), {.drop = 0.05, .duplicate = 0.05, .reorder = 0.05}, 7);
    ASSERT_TRUE(relay.Ok());

    // The stand-in server thread: queues the server's side of the soak once the peer exists,
    // takes what arrives and gives the UDP thread its passes.
    std::atomic<bool> stop{false};
    InOrder atServer;
    std::thread server([&] {
        bool queued = false;
        while (!stop) {
            ClientServerPipe* p = nullptr;
            {
                std::lock_guard<std::mutex> guard(lock);
                p = pipe.get();
            }
            if (p && !queued) {
                for (uint32_t n = 0; n < kMessagesPerChannel; ++n)
                    for (unsigned c = 0; c < kChannelCount; ++c) {
                        Packet* packet = new Packet;
                        packet->AppendBytes(Numbered(n).data(), 4);
                        packet->m_fResendRate = kResendRate;
                        p->PushToClient(c, packet);
                    }
                queued = true;
            }
            if (p)
                for (unsigned c = 0; c < kChannelCount; ++c)
                    while (Packet* packet = p->TakeToServer(c)) {
                        atServer.Take(c, packet->Data(), packet->Length());
                        delete packet;
                    }
            udp->m_hTickEvent.Set();
            udp->m_hDoneEvent.Wait(5);
            udp->m_hDoneEvent.Reset();
        }
    });

    headless::HeadlessClient client;
    ASSERT_TRUE(client.Connect("127.0.0.1", relay.ClientPort()));
    for (uint32_t n = 0; n < kMessagesPerChannel; ++n)
        for (unsigned c = 0; c < kChannelCount; ++c) client.Send(c, Numbered(n), kResendRate);
    InOrder atClient;
    const uint64_t all = uint64_t(kMessagesPerChannel) * kChannelCount;
    client.WaitUntil(
        [&] {
            for (; !client.m_Inbox.empty(); client.m_Inbox.pop_front())
                atClient.Take(client.m_Inbox.front().channel, client.m_Inbox.front().body.data(),
                              client.m_Inbox.front().body.size());
            return atClient.total == all && atServer.total == all && client.AllAcknowledged();
        },
        180s);
    stop = true;
    server.join();
    udp.reset();
    relay.Stop();

    EXPECT_TRUE(atClient.ok);
    EXPECT_TRUE(atServer.ok);
    EXPECT_EQ(atClient.total, all);
    EXPECT_EQ(atServer.total, all);
    const LossyRelay::Counts counts = relay.Stats();
    EXPECT_GT(counts.dropped, 0u);
    EXPECT_GT(counts.duplicated, 0u);
    EXPECT_GT(counts.reordered, 0u);
    g_bUDPThreadMode = savedMode;
    g_uiCurrentPort = savedPort;
}

} // namespace
