// A flood of source addresses while real clients play.
//   bench_flood [--server PATH] [--ports 10000,100000] [--clients 32] [--settle SECONDS]
// For each count N: starts the server (next to this program, or --server), logs in the clients,
// which walk and jump every game tick, and measures the gaps between the world updates one of
// them receives: the tick as players feel it, before the flood and during it. Then one
// keep-alive comes from each of N distinct loopback addresses (127.1.0.0 upwards) while the
// clients keep playing; half way through, one more real client logs in. Reports resident memory
// before, at its peak and once the flood's peers have timed out and the pools' minute tidy ran.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "BenchProcess.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace bench;

struct Options {
    std::string server;
    std::vector<int> ports = {10'000, 100'000};
    int clients = 32;
    int settleSeconds = 70;
};

// Version 84, then a new-player login.
std::vector<uint8_t> Login(const std::string& name) {
    std::vector<uint8_t> b{9, 84, 5};
    for (const std::string& text : {name, std::string("pw")}) {
        const uint32_t n = uint32_t(text.size());
        for (int i = 0; i < 4; ++i) b.push_back(uint8_t(n >> (8 * i)));
        b.insert(b.end(), text.begin(), text.end());
    }
    return b;
}

double Percentile(std::vector<double> v, double p) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, size_t(p * double(v.size())))];
}

class Players {
public:
    Players(int port, int count) {
        for (int i = 0; i < count; ++i) {
            auto& c = m_Clients.emplace_back(std::make_unique<headless::HeadlessClient>());
            c->Connect("127.0.0.1", uint16_t(port));
            std::string name = "p";
            name += std::to_string(i);
            c->Send(0, Login(name));
            c->Send(0, {6});
        }
    }
    // One round: keys for every player once a game tick, everything received taken; the gaps
    // between client 0's world updates are kept while measuring.
    void Play(bool measure) {
        const auto now = Clock::now();
        if (now - m_LastKeys >= 33ms) {
            m_LastKeys = now;
            ++m_uiRound;
            for (auto& c : m_Clients) c->Send(0, {1, uint8_t(m_uiRound % 8 < 4 ? 0x01 : 0x12), 0});
        }
        for (size_t i = 0; i < m_Clients.size(); ++i) {
            auto& c = m_Clients[i];
            c->Poll();
            for (; !c->m_Inbox.empty(); c->m_Inbox.pop_front()) {
                if (i != 0 || c->m_Inbox.front().channel != 0) continue;
                const auto at = Clock::now();
                if (measure && m_bSeen)
                    m_Gaps.push_back(std::chrono::duration<double, std::milli>(at - m_Last).count());
                m_Last = at;
                m_bSeen = true;
            }
        }
    }
    std::vector<double> TakeGaps() { return std::exchange(m_Gaps, {}); }
    void Leave() {
        for (auto& c : m_Clients) c->SendLeave();
    }

private:
    std::vector<std::unique_ptr<headless::HeadlessClient>> m_Clients;
    Clock::time_point m_LastKeys{}, m_Last{};
    bool m_bSeen = false;
    uint64_t m_uiRound = 0;
    std::vector<double> m_Gaps;
};

// One keep-alive from a distinct loopback address.
void SendFrom(uint32_t address, int port) {
    int s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (s < 0) return;
    sockaddr_in from{}, to{};
    from.sin_family = to.sin_family = AF_INET;
    from.sin_addr.s_addr = htonl(address);
    from.sin_port = htons(40000);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    to.sin_port = htons(uint16_t(port));
    if (bind(s, reinterpret_cast<sockaddr*>(&from), sizeof from) == 0)
        sendto(s, "\x03", 1, 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
    close(s);
}

void Flood(const Options& o, int ports) {
    const int port = FreePort();
    ServerRun run = StartServer(o.server, port, {"--peer-timeout", "3"});
    if (run.pid < 0 || !WaitUntilServing(port)) {
        std::printf("server: could not start %s\n", o.server.c_str());
        StopServer(run);
        return;
    }
    Players players(port, o.clients);
    auto playFor = [&](std::chrono::milliseconds d, bool measure) {
        for (auto end = Clock::now() + d; Clock::now() < end; std::this_thread::sleep_for(1ms)) players.Play(measure);
    };
    playFor(3s, false);
    playFor(5s, true);
    const std::vector<double> before = players.TakeGaps();
    const long rssBefore = StatusKiB(run.pid, "VmRSS:");

    std::unique_ptr<headless::HeadlessClient> late;
    Clock::time_point lateSent{};
    double lateMs = -1;
    // The late client's first answer is its welcome.
    auto pollLate = [&] {
        if (!late || lateMs >= 0) return;
        late->Poll();
        if (!late->m_Inbox.empty()) lateMs = std::chrono::duration<double, std::milli>(Clock::now() - lateSent).count();
    };
    for (int i = 0; i < ports; ++i) {
        SendFrom(0x7F010000u + uint32_t(i), port);
        if (i % 200 == 0) players.Play(true);
        if (i == ports / 2) {
            late = std::make_unique<headless::HeadlessClient>();
            late->Connect("127.0.0.1", uint16_t(port));
            late->Send(0, Login("late"));
            lateSent = Clock::now();
        }
        pollLate();
    }
    for (auto end = Clock::now() + 5s; Clock::now() < end; std::this_thread::sleep_for(1ms)) {
        players.Play(true);
        pollLate();
    }
    const std::vector<double> during = players.TakeGaps();
    const long peak = StatusKiB(run.pid, "VmHWM:");
    playFor(std::chrono::seconds(o.settleSeconds), false);
    const long settled = StatusKiB(run.pid, "VmRSS:");
    players.Leave();
    if (late) late->SendLeave();
    StopServer(run);

    std::printf("| %7d | %7d | %6.1f | %6.1f (+%.1f) | %6.1f (+%.1f) | %5.1f / %5.1f | %5.1f / %5.1f | %8.0f |\n",
                ports, o.clients, rssBefore / 1024.0, peak / 1024.0, (peak - rssBefore) / 1024.0, settled / 1024.0,
                (settled - rssBefore) / 1024.0, Percentile(before, 0.5), Percentile(before, 0.99),
                Percentile(during, 0.5), Percentile(during, 0.99), lateMs);
    std::fflush(stdout);
}

std::vector<int> ParseList(const char* text) {
    std::vector<int> out;
    for (const char* p = text; *p;) {
        out.push_back(std::atoi(p));
        const char* comma = std::strchr(p, ',');
        if (!comma) break;
        p = comma + 1;
    }
    return out;
}

} // namespace

int main(int argc, char** argv) {
    Options o;
    o.server = DefaultServerBinary();
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string a = argv[i];
        if (a == "--server")
            o.server = argv[i + 1];
        else if (a == "--ports")
            o.ports = ParseList(argv[i + 1]);
        else if (a == "--clients")
            o.clients = std::atoi(argv[i + 1]);
        else if (a == "--settle")
            o.settleSeconds = std::atoi(argv[i + 1]);
    }
    if (o.server.empty()) {
        std::fprintf(stderr, "bench_flood: no server binary (give --server PATH)\n");
        return 1;
    }
    std::printf("Goals: extra memory <= 64 MB at 100,000 addresses; update gap p99 within 20%% of before; the\n"
                "late login's welcome within 1,000 ms. Memory in MB, gaps in ms.\n\n");
    std::printf("| addresses | clients | before | peak | settled | gap median / p99 before | during | login ms |\n");
    std::printf("|---|---|---|---|---|---|---|---|\n");
    for (int n : o.ports) Flood(o, n);
    return 0;
}
