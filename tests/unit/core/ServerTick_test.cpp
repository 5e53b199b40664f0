// The server tick's schedule and client bookkeeping, with time on the clock seam.
#include <gtest/gtest.h>

#include "support/ClientRecords.h"
#include "support/ServerHarness.h"
#include "support/WorkingFolder.h"
#include "world/Entity.h"

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

// A tick over three quarters of its period lowers the rate by one, down to 15; a pass without a
// tick raises it by one, back up to 30.
TEST_F(TickRate, SlowTicksLowerTheRateAndPassesWithoutATickRaiseIt) {
    std::vector<int> rates;
    for (double cost : {0.8, 0.74, 0.5, 0.76}) {
        TickPass(cost);
        rates.push_back(m_Server->m_iGameTicksPerSecond);
    }
    for (int i = 0; i < 16; ++i) {
        TickPass(0.8);
        rates.push_back(m_Server->m_iGameTicksPerSecond);
    }
    EXPECT_EQ(rates,
              (std::vector<int>{29, 29, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 15, 15, 15}));
    EXPECT_EQ(m_Server->m_GameTickTimer.m_iPeriod, 1'000'000'000 / 15);
    EXPECT_EQ(m_Server->m_uiTickCount, 20u);
    TickPass(0.0); // a quick tick neither lowers nor raises it
    rates = {m_Server->m_iGameTicksPerSecond};
    for (int i = 0; i < 16; ++i) {
        QuickPass();
        rates.push_back(m_Server->m_iGameTicksPerSecond);
    }
    EXPECT_EQ(rates, (std::vector<int>{15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 30}));
    EXPECT_EQ(m_Server->m_GameTickTimer.m_iPeriod, 1'000'000'000 / 30);
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

// Dropping takes out one client a pass: the one that moved into the gap waits for the next.
// Numbers come back last-returned-first, and the byte budget is shared again at each connection
// and each drop.
TEST_F(ClientBookkeeping, DroppedClientsLeaveOneAPassAndGiveBackTheirNumbersAndBudget) {
    Server& server = m_Harness->server();
    server.m_uiServerByteSendLimit = 1000;
    auto a = m_Harness->Connect();
    auto b = m_Harness->Connect();
    auto c = m_Harness->Connect();
    auto d = m_Harness->Connect();
    EXPECT_EQ(
        std::tuple(a.client->Slot(), b.client->Slot(), c.client->Slot(), d.client->Slot(), c.client->m_uiRateLimit),
        std::tuple(0u, 1u, 2u, 3u, 250u));
    a.Disconnect();
    b.Disconnect();
    m_Harness->Pass();
    EXPECT_EQ(std::tuple(server.m_Clients.Length(), c.client->m_uiRateLimit), std::tuple(3u, 333u));
    m_Harness->Pass();
    EXPECT_EQ(
        std::tuple(server.m_Clients.Length(), server.m_Clients[0], c.client->m_uiRateLimit, d.client->m_uiRateLimit),
        std::tuple(2u, c.client, 500u, 500u));
    for (int i = 0; i < 5 && !server.m_ClientsBeingDeleted.Empty(); ++i) m_Harness->Pass();
    EXPECT_TRUE(server.m_ClientsBeingDeleted.Empty());
    auto e = m_Harness->Connect();
    auto f = m_Harness->Connect();
    auto g = m_Harness->Connect();
    EXPECT_EQ(std::tuple(e.client->Slot(), f.client->Slot(), g.client->Slot()), std::tuple(1u, 0u, 4u));
}

// Past the cap a new address gets no client record, until a dropped one is wholly gone.
TEST_F(ClientBookkeeping, NewAddressesAreRefusedWhileTheClientTableIsFull) {
    Server& server = m_Harness->server();
    server.m_uiMaxClients = 2;
    auto a = m_Harness->Connect();
    m_Harness->Connect();
    EXPECT_EQ(m_Harness->Connect().client, nullptr);
    a.Disconnect();
    for (int i = 0; i < 5 && (server.m_Clients.Length() + server.m_ClientsBeingDeleted.Length()) > 1; ++i)
        m_Harness->Pass();
    auto c = m_Harness->Connect();
    ASSERT_NE(c.client, nullptr);
    EXPECT_EQ(c.client->Slot(), 0u);
    EXPECT_EQ(m_Harness->Connect().client, nullptr);
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

// The server thread rests until the game tick is due (rounded up to the microsecond, at most
// kMaxRest), but not while a message waits, a ready client is owed an update it has room for, or
// a player's zones are still being filed. A far cube stays pending for good: turns that find
// nothing to send do not keep the thread awake, until the next game tick may have changed that.
TEST_F(ClientBookkeeping, RestsOnlyWhileNothingIsOwedAndUntilTheGameTickIsDue) {
    using std::chrono::microseconds;
    Server& server = m_Harness->server();
    server.m_bPrincessesRunning = false;
    auto rest = [&] {
        ServerLockGuard lock(server.m_ServerLock);
        return server.RestAllowance();
    };
    EXPECT_EQ(rest(), Server::kMaxRest);
    m_Harness->clock().AdvanceNanoseconds(10'000'000); // of a period of 33,333,335
    const microseconds untilTick(23'334);
    EXPECT_EQ(rest(), untilTick);

    auto a = m_Harness->Connect();
    a.Send(0, {29, 0});
    EXPECT_EQ(rest(), microseconds(0));
    m_Harness->Pass();
    EXPECT_EQ(rest(), untilTick);
    a.client->m_bReadyForUpdates = true;
    EXPECT_EQ(rest(), microseconds(0));
    a.client->m_Pipe.SetUnackedCount(0, g_uiUdpSendBufferLimit);
    EXPECT_EQ(rest(), untilTick);
    a.client->m_Pipe.SetUnackedCount(0, 0);
    m_Harness->Pass();
    EXPECT_EQ(rest(), untilTick);

    Server_Entity* cube = server.ProperAddByType(kKindTalvyCube);
    cube->m_vPosition.Set(90000.0f, 200.0f, 0.0f);
    server.UpdateGroupsAndZonesEntityIsIn(cube);
    auto b = m_Harness->Connect();
    b.Send(0, records::Concat(records::Concat(records::Version(84), records::NewLogin("ann", "pw")), {6}));
    m_Harness->Pass();
    int passes = 0;
    for (; passes < 1000 && rest() == microseconds(0); ++passes) m_Harness->Pass();
    EXPECT_TRUE(b.client->m_bZonesFilled && b.client->HasReplicationWork());
    EXPECT_EQ(std::tuple(b.client->m_PendingEntities.Count(), rest()), std::tuple(1u, untilTick));
    m_Harness->GameTick();
    EXPECT_EQ(rest(), microseconds(0));
    m_Harness->Pass();
    m_Harness->Pass();
    EXPECT_GT(rest(), microseconds(0));
}

} // namespace
