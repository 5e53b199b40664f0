// The server at rest and at work.
//   bench_idle [--server PATH] [--seconds 10] [--pads 100000] [--clients 8]
// 1. One logged-in player that does nothing, in an empty world: the server process's CPU time
//    over the window in percent of one core (goal <= 5 %), and the tick marks the player got.
// 2. The clients log in at once to a world of that many pads: the time until each one's
//    please-wait window (0x22) closes, which must not grow when the server rests between passes.
//    Then the same players stay idle in that world for the window: CPU time and tick marks again.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "BenchProcess.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace bench;
using Bytes = std::vector<uint8_t>;

struct Options {
    std::string server;
    int seconds = 10;
    int pads = 100'000;
    int clients = 8;
};

void PutU32(Bytes& b, uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(uint8_t(v >> (8 * i)));
}
void PutFloat(Bytes& b, float f) {
    uint32_t v;
    std::memcpy(&v, &f, 4);
    PutU32(b, v);
}

// Version 84, then a new-player login.
Bytes Login(const std::string& name) {
    Bytes b{9, 84, 5};
    for (const std::string& text : {name, std::string("pw")}) {
        PutU32(b, uint32_t(text.size()));
        b.insert(b.end(), text.begin(), text.end());
    }
    return b;
}

// The world file: its version byte, then one pad record each (kind 4, position, size, yaw,
// texture scale, texture, texture mode and the pad's two words), on a square grid 100 apart
// around the origin where new players start.
std::string PadWorld(int pads) {
    Bytes world{11};
    const int side = int(std::ceil(std::sqrt(double(pads))));
    for (int i = 0; i < pads; ++i) {
        const float x = float(i % side - side / 2) * 100.0f, z = float(i / side - side / 2) * 100.0f;
        world.insert(world.end(), {1, 4});
        for (float f : {x, 0.0f, z, 50.0f, 50.0f, 50.0f, 0.0f, 128.0f, 128.0f, 128.0f}) PutFloat(world, f);
        PutU32(world, 42);
        PutU32(world, 1);
        world.insert(world.end(), 8, 0);
    }
    return std::string(world.begin(), world.end());
}

struct Player {
    std::unique_ptr<headless::HeadlessClient> client = std::make_unique<headless::HeadlessClient>();
    Clock::time_point loginSent{};
    double closedMs = -1;
    uint64_t marks = 0;

    // Takes what arrived: the please-wait window's close is a message of its own, and every
    // update on channel 0 ends with the tick mark of its game tick.
    void Drain() {
        client->Poll();
        for (; !client->m_Inbox.empty(); client->m_Inbox.pop_front()) {
            const headless::Message& m = client->m_Inbox.front();
            if (m.channel != 0 || m.body.empty()) continue;
            if (m.body.size() == 2 && m.body[0] == 0x66 && m.body[1] == 0x22 && closedMs < 0)
                closedMs = std::chrono::duration<double, std::milli>(Clock::now() - loginSent).count();
            if (m.body.back() == 0x3B) ++marks;
        }
    }
};

using Players = std::vector<std::unique_ptr<Player>>;

Players LogIn(int port, int count) {
    Players players;
    for (int i = 0; i < count; ++i) {
        auto& p = players.emplace_back(std::make_unique<Player>());
        p->client->Connect("127.0.0.1", uint16_t(port));
    }
    for (int i = 0; i < count; ++i) {
        std::string name = "idler";
        name += std::to_string(i);
        players[size_t(i)]->loginSent = Clock::now();
        players[size_t(i)]->client->Send(0, Login(name));
        players[size_t(i)]->client->Send(0, {6});
    }
    return players;
}

// Drains every player until done() holds or the time runs out; true when it held.
template <typename Done> bool DrainUntil(Players& players, Done done, std::chrono::milliseconds limit) {
    for (auto end = Clock::now() + limit; Clock::now() < end; std::this_thread::sleep_for(1ms)) {
        for (auto& p : players) p->Drain();
        if (done()) return true;
    }
    return false;
}

bool AllClosed(const Players& players) {
    return std::all_of(players.begin(), players.end(), [](auto& p) { return p->closedMs >= 0; });
}

// The server's CPU time over the window in percent of one core, and tick marks per second per
// player, while the players only acknowledge.
std::pair<double, double> MeasureIdle(int pid, Players& players, int seconds) {
    uint64_t marks0 = 0;
    for (auto& p : players) marks0 += p->marks;
    const double cpu0 = ProcessCpuSeconds(pid);
    const auto start = Clock::now();
    DrainUntil(
        players, [] { return false; }, std::chrono::seconds(seconds));
    const double wall = std::chrono::duration<double>(Clock::now() - start).count();
    const double cpu = ProcessCpuSeconds(pid) - cpu0;
    uint64_t marks = 0;
    for (auto& p : players) marks += p->marks;
    return {100.0 * cpu / wall, double(marks - marks0) / wall / double(players.size())};
}

void Row(const char* what, double value, const char* unit, const char* goal) {
    std::printf("| %-58s | %9.1f %-4s | %-14s |\n", what, value, unit, goal);
}

void IdlePlayer(const Options& o) {
    const int port = FreePort();
    ServerRun run = StartServer(o.server, port);
    if (run.pid < 0 || !WaitUntilServing(port)) {
        std::printf("server: could not start %s\n", o.server.c_str());
        StopServer(run);
        return;
    }
    Players players = LogIn(port, 1);
    // Settled once the window closed and a second of ticks went by.
    DrainUntil(
        players, [&] { return AllClosed(players); }, 30s);
    DrainUntil(
        players, [] { return false; }, 1s);
    const auto [cpu, marks] = MeasureIdle(run.pid, players, o.seconds);
    for (auto& p : players) p->client->SendLeave();
    StopServer(run);
    Row("1 idle player, empty world: server CPU", cpu, "%", "<= 5 %");
    Row("1 idle player, empty world: tick marks per second", marks, "/s", "30");
}

void CrowdLoading(const Options& o) {
    const int port = FreePort();
    const std::string folder = NewRunFolder();
    {
        std::ofstream world(folder + "/KRV1_Data.krv", std::ios::binary);
        world << PadWorld(o.pads);
    }
    ServerRun run = StartServerIn(folder, o.server, port);
    if (run.pid < 0 || !WaitUntilServing(port)) {
        std::printf("server: could not start %s\n", o.server.c_str());
        StopServer(run);
        return;
    }
    Players players = LogIn(port, o.clients);
    const bool closed = DrainUntil(
        players, [&] { return AllClosed(players); }, 300s);
    std::vector<double> times;
    for (auto& p : players) times.push_back(p->closedMs);
    std::sort(times.begin(), times.end());
    DrainUntil(
        players, [] { return false; }, 1s);
    const auto [cpu, marks] = MeasureIdle(run.pid, players, o.seconds);
    for (auto& p : players) p->client->SendLeave();
    StopServer(run);

    char what[96];
    std::snprintf(what, sizeof what, "%d logins at once, %d pads: window closed, first (ms)", o.clients, o.pads);
    Row(what, times.front(), "ms", "no slower");
    std::snprintf(what, sizeof what, "%d logins at once, %d pads: window closed, median (ms)", o.clients, o.pads);
    Row(what, times[times.size() / 2], "ms", "no slower");
    std::snprintf(what, sizeof what, "%d logins at once, %d pads: window closed, last (ms)", o.clients, o.pads);
    Row(what, closed ? times.back() : -1.0, "ms", "no slower");
    std::snprintf(what, sizeof what, "%d idle players after loading: server CPU", o.clients);
    Row(what, cpu, "%", "low");
    std::snprintf(what, sizeof what, "%d idle players after loading: tick marks per second", o.clients);
    Row(what, marks, "/s", "30");
}

} // namespace

int main(int argc, char** argv) {
    Options o;
    o.server = DefaultServerBinary();
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string a = argv[i];
        if (a == "--server")
            o.server = argv[i + 1];
        else if (a == "--seconds")
            o.seconds = std::max(1, std::atoi(argv[i + 1]));
        else if (a == "--pads")
            o.pads = std::max(1, std::atoi(argv[i + 1]));
        else if (a == "--clients")
            o.clients = std::max(1, std::atoi(argv[i + 1]));
    }
    if (o.server.empty()) {
        std::fprintf(stderr, "bench_idle: no server binary (give --server PATH)\n");
        return 1;
    }
    std::printf("| measure | value | goal |\n|---|---|---|\n");
    IdlePlayer(o);
    CrowdLoading(o);
    return 0;
}
