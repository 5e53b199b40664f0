// What headless clients are told about the world by the real binary: the first update, other
// players, far entities, tick marks, client-side movement and a client leaving.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <dirent.h>
#include <memory>
#include <string>

#include "integration/replication_stream.h"
#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;
using Clock = std::chrono::steady_clock;

// ---- the world file, written by hand ----

void PutVector(Bytes& b, float x, float y, float z) {
    PutFloat(b, x);
    PutFloat(b, y);
    PutFloat(b, z);
}

// Record 1: kind, position, size, yaw, texture scale, texture, texture mode.
Bytes EntityRecord(uint8_t kind, float x, float y, float z, float size, uint32_t texture) {
    Bytes b{1, kind};
    PutVector(b, x, y, z);
    PutVector(b, size, size, size);
    PutFloat(b, 0.0f);
    PutVector(b, 128.0f, 128.0f, 128.0f);
    PutU32(b, texture);
    PutU32(b, 1);
    return b;
}
Bytes PadRecord(float x, float y, float z) {
    Bytes b = EntityRecord(4, x, y, z, 50.0f, 42);
    b.insert(b.end(), {0, 0, 0, 0});
    PutU32(b, 0);
    return b;
}
Bytes TalvyRecord(float x, float y, float z) {
    Bytes b = EntityRecord(8, x, y, z, 100.0f, 9);
    PutVector(b, x, y, z);
    return b;
}
void WriteWorld(const TempDir& dir, const Bytes& records) {
    Bytes file{11};
    file.insert(file.end(), records.begin(), records.end());
    dir.Write("KRV1_Data.krv", std::string(file.begin(), file.end()));
}

// Record 24: the client's own motion while client-side movement is in force.
Bytes ClientMove(uint8_t sequence, float x, float y, float z) {
    Bytes b{24, sequence};
    PutVector(b, x, y, z);
    PutFloat(b, 0.0f);
    PutVector(b, 0.0f, 0.0f, 0.0f);
    return b;
}

// ---- a player at a headless client ----

class Player {
public:
    Player(GameServer& server, const std::string& name, const std::vector<std::string>& extensions = {},
           bool existing = false)
        : m_pClient(server.NewClient()), m_strName(name) {
        for (const std::string& ext : extensions) m_pClient->Send(0, Declare(ext, 1));
        m_Welcome = GameServer::Login(*m_pClient, existing ? ExistingLogin(name, "pw") : NewLogin(name, "pw"));
        m_pClient->Send(0, {6});
    }

    bool LoggedIn() const { return !m_Welcome.empty() && m_Welcome[0] == 100; }
    headless::HeadlessClient& Client() { return *m_pClient; }

    // Takes and applies everything that has arrived.
    void Drain() {
        m_pClient->Poll();
        while (!m_pClient->m_Inbox.empty()) {
            headless::Message m = std::move(m_pClient->m_Inbox.front());
            m_pClient->m_Inbox.pop_front();
            if (m.channel == 4 && m.body == Bytes{0x3B}) m_TickMarkTimes.push_back(Clock::now());
            if (!world.Apply(m.body)) ++m_iUnreadable;
            if (world.movementSwitches.size() == 1 && m_iMarksBeforeMovement < 0) {
                m_iMarksBeforeMovement = world.counts[0x3B];
                m_iClosesBeforeMovement = world.counts[0x66];
            }
            messages.push_back(std::move(m));
        }
    }
    bool WaitFor(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
        auto deadline = Clock::now() + timeout;
        for (;;) {
            Drain();
            if (done()) return true;
            if (Clock::now() >= deadline) return false;
            m_pClient->PollFor(5ms);
        }
    }
    // Keeps the connection served for a while.
    void Pump(std::chrono::milliseconds duration) {
        WaitFor([] { return false; }, duration);
    }
    // Waits until client-side movement is on; returns its sequence number (0 when it never came).
    uint8_t WaitForClientSideMovement(std::chrono::milliseconds timeout) {
        bool on = WaitFor([&] { return !world.movementSwitches.empty() && world.movementSwitches.back().first == 1; },
                          timeout);
        return on ? world.movementSwitches.back().second : 0;
    }
    void MoveTo(float x, float y, float z) {
        m_pClient->Send(0, ClientMove(world.movementSwitches.back().second, x, y, z));
        m_vLast[0] = x;
        m_vLast[1] = y;
        m_vLast[2] = z;
    }

    replication_stream::ClientWorld world;
    std::vector<headless::Message> messages;
    int m_iUnreadable = 0;
    int m_iMarksBeforeMovement = -1;
    int m_iClosesBeforeMovement = -1;
    std::vector<Clock::time_point> m_TickMarkTimes;
    float m_vLast[3] = {};

private:
    std::unique_ptr<headless::HeadlessClient> m_pClient;
    std::string m_strName;
    Bytes m_Welcome;
};

// The next message on channel 0 that is not a window message.
Bytes NextUpdate(headless::HeadlessClient& client) {
    for (;;) {
        Bytes m = GameServer::NextOn(client, 0);
        if (m.empty() || (m[0] != 0x65 && m[0] != 0x66)) return m;
    }
}

bool Near(const float a[3], const float b[3], float tolerance) {
    return std::fabs(a[0] - b[0]) <= tolerance && std::fabs(a[1] - b[1]) <= tolerance &&
           std::fabs(a[2] - b[2]) <= tolerance;
}

std::string ChatLogs(const TempDir& dir) {
    std::string all;
    if (DIR* d = opendir(dir.File("chat_logs").c_str())) {
        while (dirent* e = readdir(d))
            if (std::string(e->d_name).rfind("vuk_chat_", 0) == 0) all += dir.Read(std::string("chat_logs/") + e->d_name);
        closedir(d);
    }
    return all;
}

TEST(ReplicationOverUdp, FirstUpdateBringsTheOwnPlayerFirstBoundToSlotZero) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    Player ann(server, "ann");
    ASSERT_TRUE(ann.LoggedIn());
    Bytes first = NextUpdate(ann.Client());
    ASSERT_GE(first.size(), 6u);
    EXPECT_EQ(Bytes(first.begin(), first.begin() + 2), (Bytes{0x2F, 0}));
    Bytes rest(first.begin() + 6, first.end());
    Bytes expected{0x0B, 1, 0x09, 3, 0, 0, 0, 'a', 'n', 'n', 0x22, 1, 0x27, 0xA0, 0x0F, 0xD0, 0x07, 0x30, 0xF8,
                   0x16, 0xE8, 0x03, 0, 0, 0x0E, 0x88, 0x13, 0, 0, 0x3C};
    ASSERT_GE(rest.size(), expected.size());
    EXPECT_EQ(Bytes(rest.begin(), rest.begin() + long(expected.size())), expected);
    // Only a tick mark may follow.
    EXPECT_LE(rest.size(), expected.size() + 1);
}

TEST(ReplicationOverUdp, OtherPlayerIsAScoreEntryFirstAndLaterAMovingObject) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    Player bob(server, "bob");
    ASSERT_TRUE(bob.LoggedIn());
    ASSERT_NE(bob.WaitForClientSideMovement(20s), 0);
    bob.MoveTo(50000.0f, 200.0f, 50000.0f);
    ASSERT_TRUE(bob.Client().WaitUntil([&] { return bob.Client().AllAcknowledged(); }, 5s));
    bob.Pump(200ms);

    Player ann(server, "ann");
    ASSERT_TRUE(ann.LoggedIn());
    ASSERT_TRUE(ann.WaitFor([&] { return ann.world.Named("bob") != nullptr; }, 10s));
    replication_stream::Object* seen = ann.world.Named("bob");
    EXPECT_TRUE(seen->scoreEntry);
    EXPECT_EQ(seen->adds, 0);

    // Bob walks in next to ann, one step a tick; ann ends up where bob is, without an add.
    bob.MoveTo(1400.0f, 200.0f, -200.0f);
    for (int i = 1; i <= 20; ++i) {
        bob.MoveTo(1400.0f + 10.0f * float(i), 200.0f, -200.0f);
        bob.Pump(33ms);
        ann.Drain();
    }
    EXPECT_TRUE(ann.WaitFor([&] { return Near(ann.world.Named("bob")->pos, bob.m_vLast, 0.15f); }, 10s))
        << ann.world.Named("bob")->pos[0];
    seen = ann.world.Named("bob");
    EXPECT_EQ(seen->adds, 0);
    EXPECT_GE(seen->positionMessages, 2);
    // Steady walking costs the one-byte repeat.
    EXPECT_GT(ann.world.counts[0x25], 0);
    EXPECT_EQ(ann.m_iUnreadable, 0);
}

TEST(ReplicationOverUdp, FarEntityStaysPendingUntilThePlayerComesNear) {
    GameServer server([](const TempDir& dir) { WriteWorld(dir, TalvyRecord(20000.0f, 200.0f, -200.0f)); });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    Player ann(server, "ann");
    ASSERT_TRUE(ann.LoggedIn());
    ASSERT_NE(ann.WaitForClientSideMovement(20s), 0);
    EXPECT_EQ(ann.world.CountKind(8), 0);

    ann.MoveTo(19000.0f, 200.0f, -200.0f);
    ASSERT_TRUE(ann.WaitFor([&] { return ann.world.CountKind(8) == 1; }, 10s));
    for (auto& [handle, object] : ann.world.objects) {
        if (object.kind != 8) continue;
        const float where[3] = {20000.0f, 200.0f, -200.0f};
        EXPECT_TRUE(Near(object.pos, where, 0.0f));
    }
    EXPECT_EQ(ann.m_iUnreadable, 0);
}

TEST(ReplicationOverUdp, TickMarkTravelsAloneOncePerGameTick) {
    GameServer server;
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    Player ann(server, "ann", {"KRV_MULTI_UDP_CHANNEL"});
    ASSERT_TRUE(ann.LoggedIn());
    ann.Pump(300ms);
    size_t before = ann.m_TickMarkTimes.size();
    auto start = Clock::now();
    ann.Pump(2000ms);
    double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    double rate = double(ann.m_TickMarkTimes.size() - before) / seconds;
    // The game runs at 15 to 30 ticks per second; a mark per tick, never more.
    EXPECT_LE(rate, 32.0);
    EXPECT_GE(rate, 10.0);
    for (const headless::Message& m : ann.messages)
        if (m.channel == 0 && !m.body.empty()) {
            EXPECT_NE(m.body.back(), 0x3B);
        }
}

TEST(ReplicationOverUdp, ClientSideMovementWaitsForTheHoldOffAndTheWorldNearby) {
    GameServer server([](const TempDir& dir) {
        Bytes pads;
        for (int i = 0; i < 40; ++i)
            for (int j = 0; j < 30; ++j) {
                Bytes r = PadRecord(-1600.0f + 100.0f * float(i), 0.0f, -1600.0f + 100.0f * float(j));
                pads.insert(pads.end(), r.begin(), r.end());
            }
        WriteWorld(dir, pads);
    });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    Player ann(server, "ann");
    ASSERT_TRUE(ann.LoggedIn());
    ASSERT_NE(ann.WaitForClientSideMovement(60s), 0);
    EXPECT_EQ(ann.world.movementSwitches.front(), (std::pair<uint8_t, uint8_t>{1, 1}));
    // The please-wait window was open and closed before, and the 60-update hold-off ran out.
    EXPECT_GE(ann.world.counts[0x65], 1);
    EXPECT_GE(ann.m_iClosesBeforeMovement, 1);
    EXPECT_GE(ann.m_iMarksBeforeMovement, 55);
    EXPECT_EQ(ann.world.CountKind(4), 1200);
    EXPECT_EQ(ann.m_iUnreadable, 0);
}

TEST(ReplicationOverUdp, LeavingClientIsTornDownWithoutStallingTheOthers) {
    GameServer server([](const TempDir& dir) {
        Bytes pads;
        for (int i = 0; i < 20000; ++i) {
            Bytes r = PadRecord(50000.0f + 100.0f * float(i % 200), 0.0f, 50000.0f + 100.0f * float(i / 200));
            pads.insert(pads.end(), r.begin(), r.end());
        }
        WriteWorld(dir, pads);
    });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    Player bob(server, "bob", {"KRV_MULTI_UDP_CHANNEL"});
    ASSERT_TRUE(bob.LoggedIn());
    {
        Player ann(server, "ann");
        ASSERT_TRUE(ann.LoggedIn());
        ann.Pump(300ms);
        bob.Drain();
        ann.Client().SendLeave();
    }
    size_t before = bob.m_TickMarkTimes.size();
    ASSERT_TRUE(bob.WaitFor([&] { return ChatLogs(server.Folder()).find("ann has disconnected.") != std::string::npos; },
                            10s));
    bob.Pump(1000ms);
    ASSERT_GT(bob.m_TickMarkTimes.size(), before + 5);
    auto longest = std::chrono::milliseconds(0);
    for (size_t i = before + 1; i < bob.m_TickMarkTimes.size(); ++i)
        longest = std::max(longest, std::chrono::duration_cast<std::chrono::milliseconds>(bob.m_TickMarkTimes[i] -
                                                                                           bob.m_TickMarkTimes[i - 1]));
    EXPECT_LT(longest.count(), 400);

    // The player comes back at once and is served from a fresh record.
    Player again(server, "ann", {}, true);
    ASSERT_TRUE(again.LoggedIn());
    Bytes first = NextUpdate(again.Client());
    ASSERT_GE(first.size(), 8u);
    EXPECT_EQ(Bytes(first.begin(), first.begin() + 2), (Bytes{0x2F, 0}));
    EXPECT_EQ(Bytes(first.begin() + 6, first.begin() + 8), (Bytes{0x0B, 1}));
}

} // namespace
