// The server tick's schedule and client bookkeeping, with time on the clock seam.
#include <gtest/gtest.h>

#include <atomic>

#include "platform/Clock.h"
#include "support/ServerHarness.h"
#include "support/WorkingFolder.h"

namespace {

// ---- a clock on which a game tick costs a chosen share of its period ---------------------------
// Time moves when a pass starts (by as much as the test says) and once when a game tick has run,
// however often the pass reads the clock.

std::atomic<int64_t> g_now{1'000'000'000'000};
double g_tickCost = 0.0;
uint32_t g_ticksSeen = 0;
Server* g_pTicking = nullptr;

int64_t TickCostsTime() {
    if (g_pTicking && g_pTicking->m_uiTickCount != g_ticksSeen) {
        g_ticksSeen = g_pTicking->m_uiTickCount;
        g_now += int64_t(g_tickCost * double(g_pTicking->m_GameTickTimer.m_iPeriod));
    }
    return g_now.load();
}

class TickRate : public ::testing::Test {
protected:
    void SetUp() override {
        platform::SetCounterSource(&TickCostsTime);
        m_Server = std::make_unique<Server>();
        g_pTicking = m_Server.get();
        g_ticksSeen = 0;
    }
    void TearDown() override {
        m_Server.reset();
        g_pTicking = nullptr;
        platform::SetCounterSource(nullptr);
    }
    // A pass in which a game tick falls due and takes `cost` of its period.
    void TickPass(double cost) {
        g_tickCost = cost;
        g_now += m_Server->m_GameTickTimer.m_iPeriod + 1;
        Pass();
    }
    // A pass in which no game tick falls due.
    void QuickPass() { Pass(); }
    void Pass() {
        ServerLockGuard lock(m_Server->m_ServerLock);
        m_Server->Tick();
    }
    std::unique_ptr<Server> m_Server;
};

TEST_F(TickRate, SlowTicksLowerTheRateOnePerTickDownToFifteen) {
    std::vector<int> rates;
    for (int i = 0; i < 20; ++i) {
        TickPass(0.8);
        rates.push_back(m_Server->m_iGameTicksPerSecond);
    }
    EXPECT_EQ(rates,
              (std::vector<int>{29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 15, 15, 15, 15, 15}));
    EXPECT_EQ(m_Server->m_GameTickTimer.m_iPeriod, 1'000'000'000 / 15);
    EXPECT_EQ(m_Server->m_uiTickCount, 20u);
}

TEST_F(TickRate, PassesWithoutATickRaiseTheRateOnePerPassBackToThirty) {
    for (int i = 0; i < 15; ++i) TickPass(0.8);
    ASSERT_EQ(m_Server->m_iGameTicksPerSecond, 15);
    TickPass(0.0);
    EXPECT_EQ(m_Server->m_iGameTicksPerSecond, 15); // a quick tick neither lowers nor raises it
    for (int expected = 16; expected <= 30; ++expected) {
        QuickPass();
        EXPECT_EQ(m_Server->m_iGameTicksPerSecond, expected);
    }
    QuickPass();
    EXPECT_EQ(m_Server->m_iGameTicksPerSecond, 30);
    EXPECT_EQ(m_Server->m_GameTickTimer.m_iPeriod, 1'000'000'000 / 30);
}

TEST_F(TickRate, OnlyTicksOverThreeQuartersOfThePeriodCount) {
    TickPass(0.8);
    ASSERT_EQ(m_Server->m_iGameTicksPerSecond, 29);
    TickPass(0.74);
    TickPass(0.5);
    EXPECT_EQ(m_Server->m_iGameTicksPerSecond, 29);
    TickPass(0.76);
    EXPECT_EQ(m_Server->m_iGameTicksPerSecond, 28);
}

// ---- client numbers, dropping and dismantling --------------------------------------------------

class ClientBookkeeping : public ::testing::Test {
protected:
    ClientBookkeeping() : m_Harness(std::make_unique<ServerHarness>()) {}
    ~ClientBookkeeping() override {
        m_Harness.reset();
        g_uiAllocatedClientUINs = 32;
    }
    WorkingFolder m_Folder;
    std::unique_ptr<ServerHarness> m_Harness;
};

TEST_F(ClientBookkeeping, ReturnedNumberIsReusedFirst) {
    auto a = m_Harness->Connect();
    auto b = m_Harness->Connect();
    auto c = m_Harness->Connect();
    EXPECT_EQ(a.client->Slot(), 0u);
    EXPECT_EQ(b.client->Slot(), 1u);
    EXPECT_EQ(c.client->Slot(), 2u);
    b.Disconnect();
    m_Harness->Pass();
    EXPECT_EQ(m_Harness->server().m_Clients.Length(), 2u);
    for (int i = 0; i < 5 && !m_Harness->server().m_ClientsBeingDeleted.Empty(); ++i) m_Harness->Pass();
    EXPECT_TRUE(m_Harness->server().m_ClientsBeingDeleted.Empty());
    auto d = m_Harness->Connect();
    EXPECT_EQ(d.client->Slot(), 1u);
    auto e = m_Harness->Connect();
    EXPECT_EQ(e.client->Slot(), 3u);
}

TEST_F(ClientBookkeeping, ClientNumberReachingTheArrayLengthDoublesIt) {
    std::vector<ServerHarness::Peer> peers;
    for (int i = 0; i < 32; ++i) peers.push_back(m_Harness->Connect());
    EXPECT_EQ(g_uiAllocatedClientUINs, 32u);
    peers.push_back(m_Harness->Connect());
    EXPECT_EQ(peers.back().client->Slot(), 32u);
    EXPECT_EQ(g_uiAllocatedClientUINs, 64u);
}

TEST_F(ClientBookkeeping, ByteBudgetIsSharedEvenlyAndRecomputedOnDrop) {
    Server& server = m_Harness->server();
    server.m_uiServerByteSendLimit = 1000;
    auto a = m_Harness->Connect();
    auto b = m_Harness->Connect();
    auto c = m_Harness->Connect();
    EXPECT_EQ(a.client->m_uiRateLimit, 333u);
    EXPECT_EQ(c.client->m_uiRateLimit, 333u);
    b.Disconnect();
    m_Harness->Pass();
    EXPECT_EQ(a.client->m_uiRateLimit, 500u);
    EXPECT_EQ(c.client->m_uiRateLimit, 500u);
}

TEST_F(ClientBookkeeping, DroppingWalksOnPastTheClientThatMovedIntoTheGap) {
    auto a = m_Harness->Connect();
    auto b = m_Harness->Connect();
    auto c = m_Harness->Connect();
    a.Disconnect();
    b.Disconnect();
    m_Harness->Pass();
    // b slid into a's place and waits for the next pass.
    EXPECT_EQ(m_Harness->server().m_Clients.Length(), 2u);
    m_Harness->Pass();
    EXPECT_EQ(m_Harness->server().m_Clients.Length(), 1u);
    EXPECT_EQ(m_Harness->server().m_Clients[0], c.client);
}

TEST_F(ClientBookkeeping, NormalUpdateWaitsForTheNextGameTickAndForTheBacklog) {
    auto a = m_Harness->Connect();
    a.client->m_bReadyForUpdates = true;
    m_Harness->Pass();
    EXPECT_FALSE(a.client->m_bNeedsNormalUpdate);
    m_Harness->Pass();
    EXPECT_FALSE(a.client->m_bNeedsNormalUpdate);
    m_Harness->GameTick();
    // The tick sets the flag after the pass's update slot, so it waits for the next pass.
    EXPECT_TRUE(a.client->m_bNeedsNormalUpdate);
    // The backlog is what is unacknowledged plus what still waits in the queue.
    a.Take(0);
    a.client->m_Pipe.SetUnackedCount(0, g_uiUdpSendBufferLimit - 1);
    a.client->m_Pipe.PushToClient(0, new Packet);
    m_Harness->Pass();
    EXPECT_TRUE(a.client->m_bNeedsNormalUpdate);
    a.Take(0);
    m_Harness->Pass();
    EXPECT_FALSE(a.client->m_bNeedsNormalUpdate);
}

TEST_F(ClientBookkeeping, TaxFallsOnTheSixtiethMinute) {
    Server& server = m_Harness->server();
    std::vector<int32_t> countdown;
    for (int minute = 1; minute <= 61; ++minute) {
        m_Harness->clock().AdvanceSeconds(60.0);
        m_Harness->Pass();
        countdown.push_back(server.m_iTaxCountdown);
    }
    EXPECT_EQ(countdown[0], 106200);
    EXPECT_EQ(countdown[58], 1800);
    EXPECT_EQ(countdown[59], 108000);
    EXPECT_EQ(countdown[60], 106200);
}

TEST_F(ClientBookkeeping, ServerIsIdleOnlyWithoutPlayersOrClientsBeingDismantled) {
    Server& server = m_Harness->server();
    EXPECT_TRUE(server.IsIdle());
    auto a = m_Harness->Connect();
    EXPECT_TRUE(server.IsIdle());
    a.Send(0, std::vector<uint8_t>{9, 84, 5, 1, 0, 0, 0, 'P', 0, 0, 0, 0});
    m_Harness->Pass();
    ASSERT_NE(a.client->m_pPlayer, nullptr);
    EXPECT_FALSE(server.IsIdle());
}

} // namespace
