// Client replication under load, in process: a world of 100,000 normal pads and 1,000 Zorbin
// cubes moving at a steady velocity, and 64 clients logged in at spread positions (in groups of
// four, so that each sees three moving players near it) whose players move steadily too.
//
// The server runs in this process, driven as its main loop drives it (Server::Tick under the
// server lock), with the clients created and fed as the UDP thread creates and feeds them: their
// records go straight into their pipes and every queued message is taken out after each pass,
// as if acknowledged at once. In process rather than over UDP because the per-tick timings below
// need the server's own passes, which a separate binary cannot report, and because 64 UDP
// clients on this two-core machine would take the CPU the server is measured on. The moving
// entities are moved as the rules will move them: position, World::UpdateZonesEntityIsIn,
// Server::InformClients_EntityUpdated, once per game tick.
//
// 1. Login: the clients log in one per pass on the real clock; reports the attach time of one
//    login, the time from login until the please-wait window has closed (nearby zones sent, all
//    zones filed), and the longest pass meanwhile.
// 2. Steady state: time moves only when the benchmark says. Each game tick is one pass with the
//    game tick, the movement with its notices, and then passes until every client has had its
//    normal update (each pass also gives one client an extra update, as in the server). Reports
//    that CPU time per game tick (median, 99th percentile), bytes sent per client per tick, and
//    how the position messages of one client's stream are made up.
// 3. One more player joins the running server (the 65th when there are 64, the 129th when there
//    are 128): its login pass, the time until its please-wait window closes and the longest pass
//    meanwhile. Both logins also report their worst pass, login passes included, against the goal
//    that no pass exceeds 60 ms while any client logs in.
//
// Without --clients (or with --sweep 16,32,64,128) the benchmark runs itself once per count, each
// time as a fresh child process (this program again, with --clients N and --table-row) so that each
// count has its own peak resident memory (VmHWM: up to the late join's end, and with the server's
// teardown, which costs memory of its own), passes the children's reports on to stderr, and prints
// one table of them on stdout. A sweep up to 128 clients takes several minutes and about 8
// GB at the peak; --ticks 30 and a short list of small counts make a quick one.
//
// With --bots the players are bots instead: nothing is moved by the benchmark, and each player
// walks, jumps, shoots and builds through the records a game client sends (key records, the
// second key record, steering), pushed into its pipe before each game tick. Each bot repeats a
// 120-tick round (walk and jump, stop and shoot, build a BuildingBlock or a StoneBlock) from its
// own phase, heading and turn drawn from the benchmark's generator. The bots are given coins, stand
// far from the spawn spot and switch client-side movement off (the menu click a client sends), so
// the server's rules move them. The steady state then reports the game tick alone (the time spent
// in Game::Game_Tick inside the server's own pass: from the game-tick timer's check to the reading
// after the per-tick mod hook, split at the hook) and the whole tick with its updates, each as
// median and 99th percentile, and counts what the bots did. Login and settling are as above; there
// is no late join.
//
// --lifts N adds N lifts among the pads (straight ones up to 500 long and, every fourth, a spline of
// two curve segments) and --princesses N as many Talvy, Oriset and Quillhob cubes in turn; in the
// bots' steady state the rest of the game tick's pass (the slower timers, the lift and princess
// round robins, and the pass's few client steps) is reported beside Game_Tick and added to it as
// the rules' time per game tick.
//
// In the steady state every counter reading moves time on by one count, so the rules' draws (the
// counter modulo n) differ within a tick and repeat from run to run.
//
//   bench_replication [--clients N | --sweep N,N,...] [--bots] [--pads N] [--zorbins N] [--lifts N]
//                     [--princesses N] [--ticks N] [--update-size BYTES] [--settle SECONDS]
//   e.g. bench_replication --clients 128     one count, its full report
//        bench_replication                   the sweep over 16, 32, 64 and 128 clients, as a table
//
// --bots measures one count (64 unless --clients says otherwise); the sweep is of the moving players.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <vector>

#include "BenchProcess.h"
#include "core/Server.h"
#include "core/ServerLock.h"
#include "game/GameConstants.h"
#include "headless/ClientWorld.h"
#include "mod/VukServer_Mod_Interface.h"
#include "net/ClientServerPipe.h"
#include "net/Packet.h"
#include "platform/Clock.h"
#include "replication/Server_Client.h"
#include "world/Server_EntityKinds.h"
#include "world/VUKHeap.h"

namespace {

using Clock = std::chrono::steady_clock;

// This thread's CPU time as a time point of Clock: the passes are timed by what they cost the
// server's thread, so that other work on the machine does not stretch them.
Clock::time_point CpuNow() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return Clock::time_point(std::chrono::seconds(ts.tv_sec) + std::chrono::nanoseconds(ts.tv_nsec));
}

struct Options {
    int clients = 64;
    int pads = 100000;
    int zorbins = 1000;
    int lifts = 0;
    int princesses = 0;
    int ticks = 300;
    uint32_t updateSize = 1400;
    int settleSeconds = 5;
    bool bots = false;
    // The client counts of a sweep; empty when one count is measured in this process.
    std::vector<int> sweep;
    // One count measured for a sweep: the report ends with its table row, machine-readable.
    bool tableRow = false;
};

constexpr int kDefaultSweep[] = {16, 32, 64, 128};
// No pass should take longer than this while a client logs in, the login pass itself included.
constexpr double kLoginPassGoalMs = 60;
// The prefix of the machine-readable line a child of a sweep ends its report with.
constexpr char kRowPrefix[] = "table-row";

// What one count contributes to the sweep's table, in ms.
struct Measured {
    double tickMedian = 0, tickP99 = 0, noticesMedian = 0, passesMedian = 0;
    double loginWorst = 0; // the whole login phase, login passes included
    double lateLogin = 0, lateLongest = 0, lateWait = 0;
};

// A small deterministic generator, so that every run builds the same world.
struct Lcg {
    uint64_t state = 0x9E3779B97F4A7C15ull;
    Lcg() = default;
    explicit Lcg(uint64_t seed) : state(seed) {}
    float Next(float low, float high) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return low + (high - low) * float(double(state >> 11) / double(1ull << 53));
    }
};

struct Mover {
    Server_Entity* entity;
    VUKVector velocity;
};

// Real-time marks around Game::Game_Tick in the pass that runs it, taken from the counter
// readings: the last reading before the game-tick timer restarts is its check, right before the
// game tick; the per-tick mod hook comes just before the deferred lists are processed; the first
// reading after the hook is the one-second timer's check, right after them.
struct RulesProbe {
    const Timer* gameTickTimer = nullptr;
    int64_t startBefore = 0;
    bool hooked = false, ended = false;
    Clock::time_point start, hook, end;

    void Arm() {
        startBefore = gameTickTimer->m_iStart;
        hooked = ended = false;
    }
    void Reading() {
        if (gameTickTimer->m_iStart == startBefore)
            start = CpuNow();
        else if (hooked && !ended) {
            end = CpuNow();
            ended = true;
        }
    }
};
RulesProbe* g_pProbe = nullptr;
void ProbeHook() {
    if (!g_pProbe) return;
    g_pProbe->hook = CpuNow();
    g_pProbe->hooked = true;
}

int64_t g_BenchNow = 0;
int64_t BenchCounter() {
    if (g_pProbe) g_pProbe->Reading();
    return ++g_BenchNow;
}

// Real time again after the steady state, carried on from where the benchmark's time stopped, so
// that the server's timers neither jump nor wait.
int64_t g_RealOffset = 0;
int64_t RealNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}
int64_t ResumedCounter() { return RealNanoseconds() + g_RealOffset; }

double Ms(Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); }

double Percentile(std::vector<double> v, double p) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    size_t i = size_t(p * double(v.size() - 1) + 0.5);
    return v[std::min(i, v.size() - 1)];
}

// The rows of the per-tick tables: median, 99th percentile and maximum of each series.
void PrintRowHeader() { std::printf("%-58s %8s %8s %8s\n", "ms per game tick", "median", "99th", "max"); }
void PrintRow(const char* what, const std::vector<double>& v) {
    std::printf("%-58s %8.3f %8.3f %8.3f\n", what, Percentile(v, 0.5), Percentile(v, 0.99), Percentile(v, 1.0));
}

void PutU32(Packet* p, uint32_t v) { p->AppendU32(v); }

// The client records a bot sends, and the bits it uses in them. The first key record's bits are
// the key flags themselves.
constexpr uint8_t kRecordKeys = 1;
constexpr uint8_t kRecordMoreKeys = 11;
constexpr uint8_t kRecordMenuButton = 22;
constexpr uint8_t kRecordSteering = 23;
constexpr uint8_t kButtonClientSideMovement = 10;
constexpr uint8_t kMoreKeysStoneBlock = 1u << 3;

// One bot's round, in game ticks: walk (jumping twice), stop and shoot, then build.
constexpr int kRound = 120;
constexpr int kWalkTicks = 60;
constexpr int kJumpAt[] = {15, 45};
constexpr int kFireFrom = 70, kFireUntil = 80;
constexpr int kBuildAt = 100;

// What a bot holds in one tick; it sends records only when this changes.
struct BotInput {
    uint16_t keys = 0;
    uint8_t moreKeys = 0;
    float heading = 0;
    uint8_t throttle = 0;
};

struct Bot {
    int phase;
    float heading, turn;
    BotInput sent;
    // The rules' state after the last tick, to count what happened.
    VUKVector position;
    float verticalVelocity = 0;
    int16_t shotCooldown = 0;

    BotInput InputAt(int tick) const {
        int t = tick + phase, step = t % kRound, round = t / kRound;
        BotInput in;
        in.heading = heading + turn * float(round);
        if (step < kWalkTicks) {
            in.throttle = 255;
            in.keys |= uint16_t(kKeyMove0);
        }
        for (int at : kJumpAt)
            if (step == at) in.keys |= uint16_t(kKeyJump);
        if (step >= kFireFrom && step < kFireUntil) in.keys |= uint16_t(kKeyFire);
        if (step == kBuildAt) {
            // Build keys only set their flag, so a press is one record with the bit.
            if (round % 2 == 0)
                in.keys |= uint16_t(kKeyBuildBuildingBlock);
            else
                in.moreKeys |= kMoreKeysStoneBlock;
        }
        return in;
    }
};

// The records that take a bot from what it sent last to what it holds now; null when nothing
// changed.
Packet* BotRecords(Bot& bot, const BotInput& in) {
    Packet* p = nullptr;
    auto packet = [&] { return p ? p : (p = new Packet); };
    if (in.keys != bot.sent.keys) {
        packet()->AppendByte(kRecordKeys);
        p->AppendU16(in.keys);
    }
    if (in.moreKeys != bot.sent.moreKeys) {
        packet()->AppendByte(kRecordMoreKeys);
        p->AppendByte(in.moreKeys);
    }
    if (in.heading != bot.sent.heading || in.throttle != bot.sent.throttle) {
        packet()->AppendByte(kRecordSteering);
        p->AppendU16(0); // echo
        p->AppendU16(0);
        p->AppendFloat(in.heading); // yaw: the bot faces where it walks and shoots
        p->AppendFloat(in.heading);
        p->AppendByte(in.throttle);
    }
    bot.sent = in;
    return p;
}

class Bench {
public:
    explicit Bench(const Options& o) : m_Options(o) {}

    void BuildWorld() {
        Lcg rng;
        for (int i = 0; i < m_Options.pads; ++i) {
            Server_Entity* pad = m_Server.ProperAddByType(kKindNormalPad);
            pad->m_vPosition.Set(rng.Next(-100000, 100000), rng.Next(0, 3000), rng.Next(-100000, 100000));
            pad->m_vSize.Set(rng.Next(50, 400), rng.Next(10, 100), rng.Next(50, 400));
            m_Server.UpdateZonesEntityIsIn(pad);
        }
        for (int i = 0; i < m_Options.zorbins; ++i) {
            Server_Entity* cube = m_Server.ProperAddByType(kKindZorbinCube);
            cube->m_vPosition.Set(rng.Next(-100000, 100000), rng.Next(100, 2000), rng.Next(-100000, 100000));
            cube->m_vSize.Set(40, 40, 40);
            cube->SetLabel("owner");
            m_Server.UpdateZonesEntityIsIn(cube);
            VUKVector velocity(rng.Next(-4, 4), 0, rng.Next(-4, 4));
            if (!m_Options.bots) m_Movers.push_back({cube, velocity});
        }
        for (int i = 0; i < m_Options.lifts; ++i) AddLift(rng, i % 4 == 3);
        const uint8_t princessKinds[] = {kKindTalvyCube, kKindOrisetCube, kKindQuillhobCube};
        for (int i = 0; i < m_Options.princesses; ++i) {
            const uint8_t kind = princessKinds[i % 3];
            const float size = kind == kKindTalvyCube    ? kTalvyCubeSize
                               : kind == kKindOrisetCube ? kOrisetCubeSize
                                                         : kQuillhobCubeSize;
            Server_Entity* cube = m_Server.ProperAddByType(kind);
            cube->m_vPosition.Set(rng.Next(-100000, 100000), rng.Next(size, 3000), rng.Next(-100000, 100000));
            cube->m_vSize.Set(size, size, size);
            if (kind == kKindTalvyCube) static_cast<Server_TalvyCube*>(cube)->m_vHomePoint = cube->m_vPosition;
            if (kind == kKindOrisetCube) static_cast<Server_OrisetCube*>(cube)->m_vHomePoint = cube->m_vPosition;
            m_Server.UpdateGroupsAndZonesEntityIsIn(cube);
        }
    }

    void AddLift(Lcg& rng, bool spline) {
        Server_Entity* e = m_Server.ProperAddByType(kKindNormalPad);
        const VUKVector start(rng.Next(-100000, 100000), rng.Next(0, 3000), rng.Next(-100000, 100000));
        e->m_vPosition = start;
        e->m_vSize.Set(rng.Next(50, 200), 20, rng.Next(50, 200));
        LiftStuff* lift = e->GetOrCreateLift();
        lift->m_vStart = start;
        lift->m_vEnd = start + VUKVector(rng.Next(-500, 500), rng.Next(0, 500), rng.Next(-500, 500));
        lift->m_fSpeed = rng.Next(1, 20);
        lift->m_bRunning = true;
        if (spline) {
            lift->m_bSpline = lift->m_bFinalized = true;
            for (int p = 0; p < 7; ++p)
                lift->m_ControlPoints.Append(
                    new VUKVector(start + VUKVector(rng.Next(-300, 300), rng.Next(0, 300), rng.Next(-300, 300))));
        }
        m_Server.UpdateGroupsAndZonesEntityIsIn(e);
    }

    // The records a game client sends to log in and get going.
    void Connect(int i) {
        ClientServerPipe* pipe;
        {
            ServerLockGuard lock(m_Server.m_ServerLock);
            pipe = m_Server.CreateClientServerPipe();
        }
        Packet* p = new Packet;
        for (const char* ext : {"KRV_FASTADD_NORMALPADS", "KRV_CACHE_STRINGS", "KRV_MULTI_UDP_CHANNEL"}) {
            p->AppendByte(13);
            p->AppendString(ext);
            p->AppendByte(1);
        }
        p->AppendByte(9);
        p->AppendByte(84);
        p->AppendByte(5);
        p->AppendString("player" + std::to_string(i));
        p->AppendString("pw");
        p->AppendByte(6);
        p->AppendByte(10);
        PutU32(p, m_Options.updateSize);
        pipe->PushToServer(0, p);
        m_Pipes.push_back(pipe);
    }

    Server_Client* ClientOf(int i) {
        for (Server_Client* c : m_Server.m_Clients)
            if (&c->m_Pipe == m_Pipes[size_t(i)]) return c;
        return nullptr;
    }

    // Groups of four players around spread centres.
    void Place(int i, Server_Client* client) {
        int group = i / 4, member = i % 4;
        float cx = -70000.0f + 20000.0f * float(group % 8), cz = -70000.0f + 20000.0f * float(group / 8);
        Server_Player* player = client->m_pPlayer;
        player->m_vPosition.Set(cx + 500.0f * float(member), 200.0f, cz + 300.0f * float(member));
        m_Server.UpdateZonesEntityIsIn(player);
        m_Server.InformClients_EntityUpdated(player);
        if (!m_Options.bots) {
            m_Movers.push_back({player, VUKVector(3.0f, 0.0f, 2.0f)});
            return;
        }
        // Enough for a BuildingBlock every round, well below the net worth that stops building.
        player->m_i64PocketCoins = 20'000'000;
        Packet* p = new Packet;
        p->AppendByte(kRecordMenuButton);
        p->AppendByte(kButtonClientSideMovement);
        m_Pipes[size_t(i)]->PushToServer(0, p);
    }

    // The rules' part: positions and the world's own grid. Then the notices.
    void MoveInWorld() {
        for (Mover& m : m_Movers) {
            m.entity->m_vPosition += m.velocity;
            m_Server.UpdateZonesEntityIsIn(m.entity);
        }
    }
    void Notify() {
        for (Mover& m : m_Movers) m_Server.InformClients_EntityUpdated(m.entity);
    }
    void Move() {
        MoveInWorld();
        Notify();
    }

    // The UDP thread's part: every queued message leaves at once. Then the main loop's rest,
    // in which growing pools ready their next chunk.
    void Drain(bool record) {
        PrepareGlobalHeapsAhead();
        for (Server_Client* c : m_Server.m_Clients) {
            bool sample = record && &c->m_Pipe == m_Pipes[0];
            for (unsigned ch = 0; ch < kChannelCount; ++ch) {
                while (Packet* p = c->m_Pipe.TakeToClient(ch)) {
                    m_uiBytes += p->Length();
                    if (sample) {
                        m_SampleWorld.Apply(p->m_Data);
                        m_uiSampleBytes += p->Length();
                    }
                    delete p;
                }
            }
        }
    }

    Clock::duration Pass() {
        auto start = CpuNow();
        {
            ServerLockGuard lock(m_Server.m_ServerLock);
            m_Server.Tick();
        }
        return CpuNow() - start;
    }

    void LoginPhase() {
        std::printf("-- login: %d clients, %d pads, %d Zorbin cubes, %d lifts, %d princess cubes, update size %u --\n",
                    m_Options.clients, m_Options.pads, m_Options.zorbins, m_Options.lifts, m_Options.princesses,
                    m_Options.updateSize);
        std::vector<double> attachMs, readyMs;
        std::vector<Clock::time_point> loginAt(size_t(m_Options.clients));
        std::vector<bool> ready(size_t(m_Options.clients), false);
        Clock::duration longest{}, worst{};
        uint32_t lastTick = m_Server.m_uiTickCount;
        auto phaseStart = Clock::now();
        int next = 0, readyCount = 0;
        while (readyCount < m_Options.clients && Clock::now() - phaseStart < std::chrono::seconds(600)) {
            bool loginPass = false;
            if (next < m_Options.clients) {
                Connect(next);
                loginPass = true;
            }
            Clock::duration d = Pass();
            worst = std::max(worst, d);
            if (loginPass) {
                attachMs.push_back(Ms(d));
                Server_Client* c = ClientOf(next);
                loginAt[size_t(next)] = Clock::now();
                Place(next, c);
                ++next;
            } else {
                longest = std::max(longest, d);
            }
            if (m_Server.m_uiTickCount != lastTick) {
                lastTick = m_Server.m_uiTickCount;
                Move();
            }
            Drain(false);
            for (int i = 0; i < next; ++i) {
                if (ready[size_t(i)]) continue;
                Server_Client* c = ClientOf(i);
                if (c->m_bZonesFilled && c->m_bNearbyLoaded && !c->m_bPleaseWaitShown) {
                    ready[size_t(i)] = true;
                    ++readyCount;
                    readyMs.push_back(Ms(Clock::now() - loginAt[size_t(i)]));
                }
            }
        }
        std::printf("login pass (attach %d entities): median %.1f ms, max %.1f ms\n",
                    m_Options.pads + m_Options.zorbins + m_Options.lifts + m_Options.princesses,
                    Percentile(attachMs, 0.5), Percentile(attachMs, 1.0));
        std::printf("login until the please-wait window closed: median %.0f ms, max %.0f ms (%d of %d clients)\n",
                    Percentile(readyMs, 0.5), Percentile(readyMs, 1.0), readyCount, m_Options.clients);
        std::printf("longest other pass meanwhile: %.1f ms (zone filing slices are 16.7 ms by design)\n", Ms(longest));
        m_Measured.loginWorst = Ms(worst);
        std::printf("longest pass of the whole login phase, login passes included: %.1f ms (goal: none over %.0f ms)\n",
                    m_Measured.loginWorst, kLoginPassGoalMs);
        // A few seconds more of the real loop before the steady state is measured.
        auto settle = Clock::now();
        while (Clock::now() - settle < std::chrono::seconds(m_Options.settleSeconds)) {
            Pass();
            if (m_Server.m_uiTickCount != lastTick) {
                lastTick = m_Server.m_uiTickCount;
                Move();
            }
            Drain(false);
        }
        uint64_t pads = 0;
        for (Server_Client* c : m_Server.m_Clients)
            for (uint32_t i = 0; i < c->m_PendingEntities.Count(); ++i)
                if (c->m_PendingEntities[i]->GetKind() == kKindNormalPad) ++pads;
        std::printf("after %d s more: %.0f pads per client still to be sent\n", m_Options.settleSeconds,
                    double(pads) / double(m_Options.clients));
    }

    void SteadyPhase() {
        g_BenchNow = platform::QueryCounter();
        platform::SetCounterSource(&BenchCounter);
        std::vector<double> tickMs, worldMs, noticeMs, passMs;
        uint64_t bytesBefore = 0;
        const int warmup = 60;
        for (int t = 0; t < warmup + m_Options.ticks; ++t) {
            if (t == warmup) {
                bytesBefore = m_uiBytes;
                m_uiSampleBytes = 0;
                m_SampleWorld.counts.clear();
            }
            g_BenchNow += m_Server.m_GameTickTimer.m_iPeriod + 1;
            Clock::duration passes = Pass();
            auto start = CpuNow();
            MoveInWorld();
            auto moved = CpuNow();
            Notify();
            auto notified = CpuNow();
            Drain(t >= warmup);
            for (size_t guard = 0; guard < m_Server.m_Clients.Length() * 2; ++guard) {
                bool waiting = false;
                for (Server_Client* c : m_Server.m_Clients) waiting = waiting || c->m_bNeedsNormalUpdate;
                if (!waiting) break;
                passes += Pass();
                Drain(t >= warmup);
            }
            if (t >= warmup) {
                worldMs.push_back(Ms(moved - start));
                noticeMs.push_back(Ms(notified - moved));
                passMs.push_back(Ms(passes));
                tickMs.push_back(Ms(passes + (notified - start)));
            }
        }
        g_RealOffset = g_BenchNow - RealNanoseconds();
        platform::SetCounterSource(&ResumedCounter);

        double perClientTick = double(m_uiBytes - bytesBefore) / double(m_Options.ticks) / double(m_Options.clients);
        std::printf("-- steady state: %d game ticks --\n", m_Options.ticks);
        std::printf("server CPU per game tick (tick, movement and notices, one normal and one extra update per "
                    "client): median %.2f ms, 99th percentile %.2f ms, max %.2f ms\n",
                    Percentile(tickMs, 0.5), Percentile(tickMs, 0.99), Percentile(tickMs, 1.0));
        std::printf("  of which: moving %zu entities in the world's grid (the rules' part) median %.2f ms; their "
                    "change notices median %.2f ms; the passes with the game tick and the updates median %.2f ms, "
                    "99th percentile %.2f ms\n",
                    m_Movers.size(), Percentile(worldMs, 0.5), Percentile(noticeMs, 0.5), Percentile(passMs, 0.5),
                    Percentile(passMs, 0.99));
        std::printf("bytes sent per client per tick: %.0f\n", perClientTick);

        auto& n = m_SampleWorld.counts;
        int predicted = n[0x25] + n[0x26] + n[0x27] + n[0x28];
        std::printf("client 0's stream over %d ticks: %llu bytes; position messages: %d x 0x25 (1 byte), "
                    "%d x 0x26 (4), %d x 0x27 (7), %d x 0x28 (13), %d x 0x52 (25), %d x 0x70 exact (13); "
                    "%d selections 0x2E (2), %d bindings 0x2F (6)\n",
                    m_Options.ticks, (unsigned long long)m_uiSampleBytes, n[0x25], n[0x26], n[0x27], n[0x28], n[0x52],
                    n[0x70], n[0x2E], n[0x2F]);
        m_Measured.tickMedian = Percentile(tickMs, 0.5);
        m_Measured.tickP99 = Percentile(tickMs, 0.99);
        m_Measured.noticesMedian = Percentile(noticeMs, 0.5);
        m_Measured.passesMedian = Percentile(passMs, 0.5);
        if (predicted)
            std::printf("predicted positions (the moving players near it): %.1f%% at the 1-byte minimum, %.2f bytes "
                        "each on average\n",
                        100.0 * n[0x25] / predicted,
                        double(n[0x25] * 1 + n[0x26] * 4 + n[0x27] * 7 + n[0x28] * 13) / predicted);
    }

    void BotsSteadyPhase() {
        Lcg rng(0xB07B07B07ull);
        std::vector<Bot> bots;
        for (int i = 0; i < m_Options.clients; ++i) {
            Bot bot{int(rng.Next(0, kRound)), rng.Next(0, 6.2831853f), rng.Next(-1.5f, 1.5f), {}, {}};
            Server_Player* player = ClientOf(i)->m_pPlayer;
            bot.position = player->m_vPosition;
            bot.verticalVelocity = player->m_fVerticalVelocity;
            bot.shotCooldown = player->m_sShotCooldown;
            bots.push_back(bot);
        }
        RulesProbe probe;
        probe.gameTickTimer = &m_Server.m_GameTickTimer;
        g_BenchNow = platform::QueryCounter();
        platform::SetCounterSource(&BenchCounter);
        KRV_ORIGINAL_CallAtEveryTick = &ProbeHook;

        std::vector<double> rulesMs, listsMs, beforeMs, afterMs, allRulesMs, tickMs;
        std::set<Server_Entity*> built;
        for (uint32_t i = 0; i < m_Server.m_PlayerBuiltPads.Count(); ++i)
            built.insert(m_Server.m_PlayerBuiltPads.GetEntity(i));
        uint64_t moved = 0, jumps = 0, shots = 0, buildingBlocks = 0, stones = 0, otherBuilt = 0, builtGone = 0;
        uint64_t fireBlocksAlive = 0, recordsSent = 0;
        uint32_t fireBlocksPeak = 0;
        double walked = 0;
        const int warmup = 60;
        for (int t = 0; t < warmup + m_Options.ticks; ++t) {
            const bool record = t >= warmup;
            for (size_t b = 0; b < bots.size(); ++b) {
                if (Packet* p = BotRecords(bots[b], bots[b].InputAt(t))) {
                    m_Pipes[b]->PushToServer(0, p);
                    recordsSent += record;
                }
            }
            g_BenchNow += m_Server.m_GameTickTimer.m_iPeriod + 1;
            probe.Arm();
            g_pProbe = &probe;
            auto passStart = CpuNow();
            Clock::duration passes = Pass();
            const Clock::time_point passEnd = passStart + passes;
            g_pProbe = nullptr;
            if (!probe.ended) {
                std::printf("the game tick did not run in its pass (tick %d)\n", t);
                break;
            }
            Drain(false);
            for (size_t guard = 0; guard < m_Server.m_Clients.Length() * 2; ++guard) {
                bool waiting = false;
                for (Server_Client* c : m_Server.m_Clients) waiting = waiting || c->m_bNeedsNormalUpdate;
                if (!waiting) break;
                passes += Pass();
                Drain(false);
            }
            if (record) {
                rulesMs.push_back(Ms(probe.end - probe.start));
                listsMs.push_back(Ms(probe.end - probe.hook));
                beforeMs.push_back(Ms(probe.start - passStart));
                afterMs.push_back(Ms(passEnd - probe.end));
                allRulesMs.push_back(Ms(probe.end - probe.start) + Ms(passEnd - probe.end));
                tickMs.push_back(Ms(passes));
            }

            // What happened this tick; the warm-up keeps the bots' last state but counts nothing.
            for (size_t b = 0; b < bots.size(); ++b) {
                Bot& bot = bots[b];
                Server_Player* player = ClientOf(int(b))->m_pPlayer;
                VUKVector d = player->m_vPosition - bot.position;
                if (record) {
                    if (d.x != 0 || d.y != 0 || d.z != 0) ++moved;
                    walked += std::sqrt(double(d.x) * d.x + double(d.z) * d.z);
                    // A jump (or a bounce) turns a fall into a rise; a shot leaves the cooldown at 1.
                    if (bot.verticalVelocity <= 0 && player->m_fVerticalVelocity > 0) ++jumps;
                    if (bot.shotCooldown == 0 && player->m_sShotCooldown == 1) ++shots;
                }
                bot.position = player->m_vPosition;
                bot.verticalVelocity = player->m_fVerticalVelocity;
                bot.shotCooldown = player->m_sShotCooldown;
            }
            if (record) {
                uint32_t alive = m_Server.m_FireBlocks.Count();
                fireBlocksAlive += alive;
                fireBlocksPeak = std::max(fireBlocksPeak, alive);
            }
            std::set<Server_Entity*> now;
            for (uint32_t i = 0; i < m_Server.m_PlayerBuiltPads.Count(); ++i) {
                Server_Entity* e = m_Server.m_PlayerBuiltPads.GetEntity(i);
                now.insert(e);
                if (built.count(e) || !record) continue;
                if (e->m_usTexture == kTextureBuildingBlock)
                    ++buildingBlocks;
                else if (e->m_usTexture == kTextureStoneBlock)
                    ++stones;
                else
                    ++otherBuilt;
            }
            if (record)
                for (Server_Entity* e : built) builtGone += now.count(e) == 0;
            built.swap(now);
        }
        KRV_ORIGINAL_CallAtEveryTick = nullptr;
        g_RealOffset = g_BenchNow - RealNanoseconds();
        platform::SetCounterSource(&ResumedCounter);

        const int n = int(tickMs.size());
        std::printf("-- steady state with %d bots: %d game ticks --\n", m_Options.clients, n);
        PrintRowHeader();
        PrintRow("rules alone (Game_Tick)", rulesMs);
        PrintRow("rest of its pass (timers, lift and princess round robins)", afterMs);
        PrintRow("rules per game tick (Game_Tick and the rest of its pass)", allRulesMs);
        PrintRow("  of which the deferred lists (ProcessUpdatesAndRemoves)", listsMs);
        PrintRow("whole tick: every pass of the tick, with the updates", tickMs);
        PrintRow("  of which the game-tick pass before Game_Tick (records)", beforeMs);
        std::printf("goal for the rules alone: median <= 1 ms, 99th percentile <= 3 ms\n");
        double botTicks = double(n) * double(bots.size());
        std::printf("what the bots did in %d ticks: %.0f%% of bot-ticks moved (%.0f units walked), %llu jumps or "
                    "bounces, %llu shots (fire blocks alive: mean %.0f, peak %u), built %llu BuildingBlocks, "
                    "%llu StoneBlocks, %llu other; %llu built blocks gone; %llu record packets sent\n",
                    n, botTicks > 0 ? 100.0 * double(moved) / botTicks : 0.0, walked, (unsigned long long)jumps,
                    (unsigned long long)shots, n ? double(fireBlocksAlive) / n : 0.0, fireBlocksPeak,
                    (unsigned long long)buildingBlocks, (unsigned long long)stones, (unsigned long long)otherBuilt,
                    (unsigned long long)builtGone, (unsigned long long)recordsSent);
    }

    // The lifts' own turn, called as the server pass calls it, after the signals of a game tick: the
    // lap with its sweeps and change notices, then the re-filing of the lifts it queued. Wall time
    // and this thread's CPU time, since a busy machine stretches the one but not the other.
    void LiftsPhase() {
        g_BenchNow = platform::QueryCounter();
        platform::SetCounterSource(&BenchCounter);
        std::vector<double> lapMs, lapCpuMs, refileMs;
        auto cpuMs = [] {
            timespec ts{};
            clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
            return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
        };
        for (int t = 0; t < m_Options.ticks; ++t) {
            ServerLockGuard lock(m_Server.m_ServerLock);
            m_Server.Tick_Signal_TCs_OCs_Lifts();
            const double cpu = cpuMs();
            const auto start = Clock::now();
            m_Server.Tick_Lifts();
            const auto lapped = Clock::now();
            lapCpuMs.push_back(cpuMs() - cpu);
            m_Server.ProcessUpdatesAndRemoves();
            lapMs.push_back(Ms(lapped - start));
            refileMs.push_back(Ms(Clock::now() - lapped));
        }
        g_RealOffset = g_BenchNow - RealNanoseconds();
        platform::SetCounterSource(&ResumedCounter);
        std::printf("-- the lifts' own turn, %u lifts, %d game ticks --\n", m_Server.m_Lifts.Count(), m_Options.ticks);
        PrintRowHeader();
        PrintRow("Tick_Lifts (sweeps and notices), wall time", lapMs);
        PrintRow("Tick_Lifts, CPU time of the thread", lapCpuMs);
        PrintRow("re-filing the lifts (ProcessUpdatesAndRemoves)", refileMs);
    }

    // One more player joins the busy server, on the real clock again.
    void LateJoinPhase() {
        uint32_t lastTick = m_Server.m_uiTickCount;
        int index = int(m_Pipes.size());
        Connect(index);
        Clock::duration attach = Pass();
        auto login = Clock::now();
        Server_Client* c = ClientOf(index);
        Place(index, c);
        Clock::duration longest{};
        bool ready = false;
        while (!ready && Clock::now() - login < std::chrono::seconds(120)) {
            longest = std::max(longest, Pass());
            if (m_Server.m_uiTickCount != lastTick) {
                lastTick = m_Server.m_uiTickCount;
                Move();
            }
            Drain(false);
            ready = c->m_bZonesFilled && c->m_bNearbyLoaded && !c->m_bPleaseWaitShown;
        }
        m_Measured.lateLogin = Ms(attach);
        m_Measured.lateLongest = Ms(longest);
        m_Measured.lateWait = Ms(Clock::now() - login);
        std::printf("-- one more player joins the running server --\n");
        std::printf("its login pass: %.1f ms; login until its please-wait window closed: %.0f ms; longest pass "
                    "meanwhile %.1f ms\n",
                    m_Measured.lateLogin, m_Measured.lateWait, m_Measured.lateLongest);
        std::printf("longest pass of the late join, its login pass included: %.1f ms (goal: none over %.0f ms)\n",
                    std::max(m_Measured.lateLogin, m_Measured.lateLongest), kLoginPassGoalMs);
    }

    const Measured& Results() const { return m_Measured; }

private:
    Options m_Options;
    Server m_Server;
    std::vector<ClientServerPipe*> m_Pipes;
    std::vector<Mover> m_Movers;
    uint64_t m_uiBytes = 0;
    uint64_t m_uiSampleBytes = 0;
    headless::ClientWorld m_SampleWorld;
    Measured m_Measured;
};

// A child's last line: its table row as key=value pairs.
void PrintTableRow(int clients, const Measured& m, long runningPeakKiB, long peakKiB) {
    std::printf("%s clients=%d tick_median=%.3f tick_p99=%.3f notices_median=%.3f passes_median=%.3f "
                "running_peak_kib=%ld peak_kib=%ld login_worst=%.3f late_login=%.3f late_longest=%.3f late_wait=%.0f\n",
                kRowPrefix, clients, m.tickMedian, m.tickP99, m.noticesMedian, m.passesMedian, runningPeakKiB, peakKiB,
                m.loginWorst, m.lateLogin, m.lateLongest, m.lateWait);
}

std::map<std::string, double> ParseTableRow(const std::string& line) {
    std::map<std::string, double> values;
    size_t at = line.find(' ');
    while (at != std::string::npos) {
        size_t end = line.find(' ', at + 1);
        std::string pair = line.substr(at + 1, end == std::string::npos ? std::string::npos : end - at - 1);
        size_t eq = pair.find('=');
        if (eq != std::string::npos) values[pair.substr(0, eq)] = std::strtod(pair.c_str() + eq + 1, nullptr);
        at = end;
    }
    return values;
}

struct SweepRow {
    int clients = 0;
    std::string failure; // empty when the child reported its row
    std::map<std::string, double> values;
};

// One count in a fresh process of this program, so that the peak memory is that count's alone. The
// child's report goes on to stderr as it comes; its row is kept.
SweepRow RunCount(const std::string& self, int clients, const std::vector<std::string>& passOn) {
    SweepRow row;
    row.clients = clients;
    std::vector<std::string> args = {self};
    args.insert(args.end(), passOn.begin(), passOn.end());
    args.insert(args.end(), {"--clients", std::to_string(clients), "--table-row"});
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);

    int out[2];
    if (pipe(out) != 0) {
        row.failure = "no pipe";
        return row;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    pid_t pid = -1;
    const int spawned = posix_spawn(&pid, self.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    if (spawned != 0) {
        close(out[0]);
        row.failure = "not started";
        return row;
    }
    std::string pending;
    char buffer[4096];
    for (ssize_t n; (n = read(out[0], buffer, sizeof buffer)) != 0;) {
        if (n < 0) {
            if (errno == EINTR) continue;
            break;
        }
        pending.append(buffer, size_t(n));
        for (size_t eol; (eol = pending.find('\n')) != std::string::npos; pending.erase(0, eol + 1)) {
            std::string line = pending.substr(0, eol);
            if (line.rfind(kRowPrefix, 0) == 0)
                row.values = ParseTableRow(line);
            else
                std::fprintf(stderr, "%s\n", line.c_str());
        }
    }
    close(out[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    char failure[64] = "";
    if (WIFSIGNALED(status))
        std::snprintf(failure, sizeof failure, "killed by signal %d", WTERMSIG(status));
    else if (WEXITSTATUS(status) != 0)
        std::snprintf(failure, sizeof failure, "exit status %d", WEXITSTATUS(status));
    else if (row.values.count("late_wait") == 0)
        std::snprintf(failure, sizeof failure, "no table row");
    row.failure = failure;
    return row;
}

std::string Ordinal(int n) {
    const char* suffix = "th";
    if (n % 100 < 11 || n % 100 > 13) {
        if (n % 10 == 1) suffix = "st";
        if (n % 10 == 2) suffix = "nd";
        if (n % 10 == 3) suffix = "rd";
    }
    std::string s = std::to_string(n);
    s += suffix;
    return s;
}

std::string Format(const char* format, double a, double b = 0) {
    char text[64];
    std::snprintf(text, sizeof text, format, a, b);
    return text;
}

void PrintSweepTable(const std::vector<SweepRow>& rows) {
    std::vector<std::vector<std::string>> table = {{"clients", "tick median / p99 (ms)", "notices / passes median (ms)",
                                                    "peak resident memory", "login pass of a late joiner",
                                                    "longest pass while it loads", "longest pass of the login phase"}};
    for (const SweepRow& r : rows) {
        std::vector<std::string> cells(table[0].size(), "-");
        cells[0] = std::to_string(r.clients);
        if (!r.failure.empty()) {
            cells[1] = r.failure;
        } else {
            auto v = r.values;
            cells[1] = Format("%.2f / %.2f", v["tick_median"], v["tick_p99"]);
            cells[2] = Format("%.2f / %.2f", v["notices_median"], v["passes_median"]);
            cells[3] = Format("%.0f MiB (%.0f with teardown)", v["running_peak_kib"] / 1024.0, v["peak_kib"] / 1024.0);
            cells[4] = Format("%.1f ms (the ", v["late_login"]);
            cells[4] += Ordinal(r.clients + 1);
            cells[4] += ')';
            cells[5] = Format("%.1f ms", v["late_longest"]);
            cells[6] = Format("%.1f ms", v["login_worst"]);
        }
        table.push_back(cells);
    }
    std::vector<size_t> widths(table[0].size(), 0);
    for (auto& cells : table)
        for (size_t c = 0; c < cells.size(); ++c) widths[c] = std::max(widths[c], cells[c].size());
    auto printCells = [&](const std::vector<std::string>& cells) {
        for (size_t c = 0; c < cells.size(); ++c) std::printf("| %-*s ", int(widths[c]), cells[c].c_str());
        std::printf("|\n");
    };
    printCells(table[0]);
    std::vector<std::string> rule;
    for (size_t w : widths) rule.push_back(std::string(w, '-'));
    printCells(rule);
    for (size_t i = 1; i < table.size(); ++i) printCells(table[i]);
    std::printf("goal: no pass over %.0f ms while any client logs in, the late joiner included\n", kLoginPassGoalMs);
}

int Sweep(const std::vector<int>& counts, const std::vector<std::string>& passOn) {
    char self[4096];
    ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return 1;
    self[n] = 0;
    std::vector<SweepRow> rows;
    bool ok = true;
    for (int clients : counts) {
        std::fprintf(stderr, "== %d clients ==\n", clients);
        auto start = Clock::now();
        rows.push_back(RunCount(self, clients, passOn));
        std::fprintf(stderr, "== %d clients: %.0f s%s%s ==\n", clients, Ms(Clock::now() - start) / 1000.0,
                     rows.back().failure.empty() ? "" : ", ", rows.back().failure.c_str());
        ok = ok && rows.back().failure.empty();
    }
    PrintSweepTable(rows);
    return ok ? 0 : 1;
}

std::vector<int> ParseCounts(const std::string& list) {
    std::vector<int> counts;
    for (size_t at = 0; at <= list.size();) {
        size_t end = list.find(',', at);
        if (end == std::string::npos) end = list.size();
        int n = std::atoi(list.substr(at, end - at).c_str());
        if (n > 0) counts.push_back(n);
        at = end + 1;
    }
    return counts;
}

} // namespace

int main(int argc, char** argv) {
    Options o;
    bool clientsGiven = false;
    // What each count of a sweep is run with besides its count.
    std::vector<std::string> passOn;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--bots") {
            o.bots = true;
            continue;
        }
        if (a == "--table-row") {
            o.tableRow = true;
            continue;
        }
        if (i + 1 >= argc) break;
        std::string value = argv[++i];
        int v = std::atoi(value.c_str());
        if (a == "--sweep") {
            o.sweep = ParseCounts(value);
            if (o.sweep.empty()) {
                std::fprintf(stderr, "--sweep takes client counts separated by commas, e.g. 16,32,64,128\n");
                return 2;
            }
            continue;
        }
        if (a == "--clients") {
            o.clients = v;
            clientsGiven = true;
            continue;
        }
        passOn.insert(passOn.end(), {a, value});
        if (a == "--pads")
            o.pads = v;
        else if (a == "--zorbins")
            o.zorbins = v;
        else if (a == "--lifts")
            o.lifts = v;
        else if (a == "--princesses")
            o.princesses = v;
        else if (a == "--ticks")
            o.ticks = v;
        else if (a == "--update-size")
            o.updateSize = uint32_t(v);
        else if (a == "--settle")
            o.settleSeconds = v;
    }
    if (!clientsGiven && !o.bots && o.sweep.empty()) o.sweep.assign(std::begin(kDefaultSweep), std::end(kDefaultSweep));
    if (!o.sweep.empty()) {
        if (o.bots) {
            std::fprintf(stderr, "the sweep measures the moving players; give --bots one --clients count\n");
            return 2;
        }
        return Sweep(o.sweep, passOn);
    }
    // A sweep reads the report as it comes.
    if (o.tableRow) setvbuf(stdout, nullptr, _IOLBF, 0);
    // The chat log goes to a folder of its own.
    char folder[] = "/tmp/bench_replication_XXXXXX";
    if (!mkdtemp(folder) || chdir(folder) != 0) return 1;

    auto bench = std::make_unique<Bench>(o);
    auto start = Clock::now();
    bench->BuildWorld();
    std::printf("world built in %.0f ms\n", Ms(Clock::now() - start));
    bench->LoginPhase();
    if (o.bots) {
        bench->BotsSteadyPhase();
        if (o.lifts > 0) bench->LiftsPhase();
    } else {
        bench->SteadyPhase();
        bench->LateJoinPhase();
    }
    const Measured measured = bench->Results();
    const long runningPeakKiB = bench::StatusKiB(int(getpid()), "VmHWM:");
    bench.reset();
    // Taking the server down costs memory of its own, so the row has the peak before and after.
    if (o.tableRow) PrintTableRow(o.clients, measured, runningPeakKiB, bench::StatusKiB(int(getpid()), "VmHWM:"));
    std::string cleanup = std::string("rm -rf ") + folder;
    return std::system(cleanup.c_str()) == 0 ? 0 : 1;
}
