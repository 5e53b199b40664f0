// What headless clients are told about the world by the real binary, read back the way a game
// client reads the update stream: the first update, a world loaded from its file, the far
// entity, tick marks and their channel, client-side movement, another player, and a client
// that leaves and comes back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <tuple>

#include "base/LogChat.h"
#include "headless/ClientWorld.h"
#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;
using headless::ClientWorld;
using headless::Object;
using Clock = std::chrono::steady_clock;

// ---- the world file, written by hand ----

// A pad has two more words, a Talvy cube its start point.
Bytes PadRecord(float x, float y, float z) {
    return Concat(SavedEntity(4, {x, y, z, 50, 50, 50, 0, 128, 128, 128}, 42, 1), Bytes(8, 0));
}
Bytes TalvyRecord(float x, float y, float z) {
    Bytes b = SavedEntity(8, {x, y, z, 100, 100, 100, 0, 128, 128, 128}, 9, 1);
    for (float f : {x, y, z}) PutFloat(b, f);
    return b;
}
// Record 24: the client's own position, yaw and velocity while client-side movement is on.
Bytes ClientMove(uint8_t sequence, float x, float y, float z) {
    Bytes b{24, sequence};
    for (float f : {x, y, z, 0.0f, 0.0f, 0.0f, 0.0f}) PutFloat(b, f);
    return b;
}

// ---- a player at a headless client that speaks the multi-channel extension ----

struct Player {
    Player(GameServer& server, const std::string& name, bool existing = false) : m_pClient(server.NewClient()) {
        m_pClient->Send(0, Declare("KRV_MULTI_UDP_CHANNEL", 1));
        Bytes welcome = GameServer::Login(*m_pClient, Login(existing ? 4 : 5, name, "pw"));
        loggedIn = !welcome.empty() && welcome[0] == 100;
        m_pClient->Send(0, {6});
    }

    // Applies everything that has arrived: windows come on channel 2, tick marks alone on 4.
    void Drain() {
        m_pClient->Poll();
        for (; !m_pClient->m_Inbox.empty(); m_pClient->m_Inbox.pop_front()) {
            const headless::Message& m = m_pClient->m_Inbox.front();
            if (m.channel == 4) {
                marks.push_back(Clock::now());
                strayOnFour += m.body != Bytes{0x3B};
                continue;
            }
            if (m.channel == 0 && firstUpdate.empty()) firstUpdate = m.body;
            unreadable += !(m.channel == 2 ? windows : world).Apply(m.body);
            if (world.switches.size() == 1 && marksBeforeMovement < 0) {
                marksBeforeMovement = int(marks.size());
                closesBeforeMovement = windows.counts[0x66];
            }
        }
    }
    bool WaitFor(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
        return m_pClient->WaitUntil(
            [&] {
                Drain();
                return done();
            },
            timeout);
    }
    // Waits for the next count tick marks.
    bool WaitForMarks(size_t count) {
        const size_t target = marks.size() + count;
        return WaitFor([&] { return marks.size() >= target; }, 5s);
    }
    bool MovementOn() const { return !world.switches.empty() && world.switches.back().first == 1; }
    void MoveTo(float x, float y, float z) {
        m_pClient->Send(0, ClientMove(world.switches.back().second, x, y, z));
        last[0] = x, last[1] = y, last[2] = z;
    }
    bool loggedIn = false;
    ClientWorld world, windows;
    Bytes firstUpdate;
    std::vector<Clock::time_point> marks;
    int unreadable = 0, strayOnFour = 0, marksBeforeMovement = -1, closesBeforeMovement = -1;
    float last[3] = {};
    std::unique_ptr<headless::HeadlessClient> m_pClient;
};

bool Near(const float a[3], const float b[3], float tolerance) {
    return std::equal(a, a + 3, b, [&](float x, float y) { return std::fabs(x - y) <= tolerance; });
}

// One server, a world of 1,200 pads around the start, one far pad and one far Talvy cube.
TEST(ReplicationOverUdp, WorldTickMarksMovementAnotherPlayerAndAReturn) {
    GameServer server([](const TempDir& dir) {
        Bytes world{11};
        for (int i = 0; i < 40; ++i)
            for (int j = 0; j < 30; ++j)
                world = Concat(world, PadRecord(-1600.0f + 100.0f * float(i), 0.0f, -1600.0f + 100.0f * float(j)));
        world = Concat(Concat(world, PadRecord(90000.0f, 0.0f, 90000.0f)), TalvyRecord(20000.0f, 200.0f, -200.0f));
        dir.Write("KRV1_Data.krv", std::string(world.begin(), world.end()));
    });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    Player ann(server, "ann");
    ASSERT_TRUE(ann.loggedIn);

    // Client-side movement comes after the 60-update hold-off and once the world nearby has
    // loaded: the please-wait window (on its own channel) opened and closed before.
    ASSERT_TRUE(ann.WaitFor([&] { return ann.MovementOn(); }, 60s));
    EXPECT_EQ(ann.world.switches.front(), (std::pair<uint8_t, uint8_t>{1, 1}));
    EXPECT_GE(ann.windows.counts[0x65], 1);
    EXPECT_GE(ann.closesBeforeMovement, 1);
    EXPECT_GE(ann.marksBeforeMovement, 55);
    // The two buttons on channel 0; every box, the far one too; the far cube waits for the player.
    EXPECT_EQ(
        std::tuple(ann.world.counts[0x65], ann.world.counts[0x66], ann.world.CountKind(4), ann.world.CountKind(8)),
        std::tuple(2, 0, 1201, 0));

    // A tick mark per game tick (15 to 30 a second), alone on channel 4 and never on the others.
    auto start = Clock::now();
    ASSERT_TRUE(ann.WaitForMarks(30));
    double rate = 30.0 / std::chrono::duration<double>(Clock::now() - start).count();
    EXPECT_TRUE(rate >= 10.0 && rate <= 32.0) << rate;
    EXPECT_EQ(std::tuple(ann.strayOnFour, ann.world.counts[0x3B]), std::tuple(0, 0));

    // Near the far cube: it arrives. Left to itself since the load, it has been falling to the
    // ground (its centre at half its height of 100) and hopping about near where it was put.
    ann.MoveTo(19000.0f, 200.0f, -200.0f);
    ASSERT_TRUE(ann.WaitFor([&] { return ann.world.CountKind(8) == 1; }, 10s));
    auto cube =
        std::find_if(ann.world.objects.begin(), ann.world.objects.end(), [](auto& e) { return e.second.kind == 8; });
    const float* cubeAt = cube->second.pos;
    EXPECT_LT(std::hypot(cubeAt[0] - 20000.0f, cubeAt[2] + 200.0f), 2000.0f);
    EXPECT_TRUE(cubeAt[1] >= 50.0f && cubeAt[1] <= 200.0f) << cubeAt[1];

    // Far away, ann is a score entry to bob; walking in next to bob, one step a tick, ann
    // becomes a moving object in that slot, without an add, and ends up where ann really is.
    Player bob(server, "bob");
    ASSERT_TRUE(bob.loggedIn);
    ASSERT_TRUE(bob.WaitFor([&] { return bob.world.Named("ann") != nullptr; }, 10s));
    EXPECT_TRUE(bob.world.Named("ann")->scoreEntry);
    // The score entry's view starts at the origin, near bob, so ann's place went once; ann's
    // moves while far do not.
    ann.MoveTo(19100.0f, 200.0f, -200.0f);
    ASSERT_TRUE(ann.m_pClient->WaitUntil([&] { return ann.m_pClient->AllAcknowledged(); }, 5s));
    ASSERT_TRUE(bob.WaitForMarks(5));
    EXPECT_EQ(bob.world.Named("ann")->pos[0], 19000.0f);
    ann.MoveTo(1400.0f, 200.0f, -200.0f);
    for (int i = 1; i <= 20; ++i) {
        ASSERT_TRUE(ann.WaitForMarks(1));
        ann.MoveTo(1400.0f + 10.0f * float(i), 200.0f, -200.0f);
        bob.Drain();
    }
    EXPECT_TRUE(bob.WaitFor([&] { return Near(bob.world.Named("ann")->pos, ann.last, 0.15f); }, 10s))
        << bob.world.Named("ann")->pos[0];
    EXPECT_EQ(bob.world.Named("ann")->adds, 0);
    EXPECT_GT(bob.world.counts[0x25], 0); // steady walking costs the one-byte repeat
    EXPECT_EQ(ann.unreadable + bob.unreadable, 0);

    // Ann leaves: bob keeps getting its tick marks, and ann comes back at once to a fresh record.
    ann.m_pClient->SendLeave();
    ASSERT_TRUE(bob.WaitFor(
        [&] { return server.Folder().Read(ChatLogFileName()).find("ann has disconnected.") != std::string::npos; },
        10s));
    const size_t before = bob.marks.size();
    ASSERT_TRUE(bob.WaitForMarks(20));
    for (size_t i = before + 1; i < bob.marks.size(); ++i) EXPECT_LT(bob.marks[i] - bob.marks[i - 1], 400ms);
    Player again(server, "ann", true);
    ASSERT_TRUE(again.loggedIn);
    EXPECT_TRUE(again.WaitFor([&] { return again.world.Named("ann") != nullptr; }, 5s));
}

// Client number 65 once made every entity grow its per-client storage within one pass, and
// every player froze meanwhile. Now the 65th gets its first update while the others keep their
// tick marks coming.
TEST(ReplicationOverUdp, SixtyFifthClientIsServedWhileTheOthersKeepTheirPace) {
    GameServer server([](const TempDir& dir) {
        Bytes world{11};
        for (int i = 0; i < 500; ++i)
            world = Concat(world, PadRecord(100.0f * float(i % 25), 0.0f, 100.0f * float(i / 25)));
        dir.Write("KRV1_Data.krv", std::string(world.begin(), world.end()));
    });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    std::vector<std::unique_ptr<Player>> players;
    for (int i = 0; i < 64; ++i) {
        players.push_back(std::make_unique<Player>(server, "p" + std::to_string(i)));
        ASSERT_TRUE(players.back()->loggedIn) << i;
    }
    auto drainAll = [&] {
        for (auto& p : players) p->Drain();
    };
    // The pace before the join, as this machine manages it with 64 players (marks are stamped when
    // this process reads them, so its own load counts too).
    auto waitForTwoMoreEach = [&] {
        for (auto& p : players) {
            const size_t seen = p->marks.size();
            if (!p->WaitFor(
                    [&] {
                        drainAll();
                        return p->marks.size() >= seen + 2;
                    },
                    30s))
                return false;
        }
        return true;
    };
    auto longestGapSince = [&](Clock::time_point since) {
        Clock::duration longest{};
        for (auto& p : players)
            for (size_t m = 1; m < p->marks.size(); ++m)
                if (p->marks[m - 1] >= since) longest = std::max(longest, p->marks[m] - p->marks[m - 1]);
        return longest;
    };
    const Clock::time_point steady = Clock::now();
    ASSERT_TRUE(waitForTwoMoreEach());
    const Clock::duration before = longestGapSince(steady);
    const Clock::time_point joined = Clock::now();
    Player last(server, "p64");
    ASSERT_TRUE(last.loggedIn);
    ASSERT_TRUE(last.WaitFor(
        [&] {
            drainAll();
            return !last.firstUpdate.empty();
        },
        10s));
    ASSERT_TRUE(waitForTwoMoreEach());
    // A join that stalled every player would stand out against the pace before it.
    EXPECT_LT(longestGapSince(joined), 2 * before + 500ms);
}

} // namespace
