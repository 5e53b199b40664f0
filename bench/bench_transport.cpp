// Load tool for the transport.
//   bench_transport [--server PATH] [--anchor FILE.c] [--seconds S] [--clients 1,32,128]
// 1. The raw floor: compiles the bare receive-and-answer loop (FILE.c, by default the shared
//    anchor when present) with cc -O2 and runs it.
// 2. Saturation, in process: the UDP thread serves 128 headless clients that keep their window
//    full of one-byte-argument records (29, n); a stand-in server thread takes every message and
//    checks that each client's numbers arrive complete and in order. The UDP thread's rate is
//    datagrams per second of its own CPU time, compared with the floor.
// 3. With the server binary (next to this program, or --server): for each N, N clients send 30
//    records 29 per second; prints server CPU time per datagram and resident memory per client.
#include <arpa/inet.h>
#include <climits>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "BenchProcess.h"
#include "base/Settings.h"
#include "headless/HeadlessSwarm.h"
#include "headless/Records.h"
#include "net/ClientServerPipe.h"
#include "net/UDPServerInterface.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;
using namespace bench;

// The task of a process whose name is name, or -1.
int FindThread(int pid, const std::string& name) {
    std::string folder = "/proc/" + std::to_string(pid) + "/task";
    DIR* d = opendir(folder.c_str());
    if (!d) return -1;
    int found = -1;
    while (dirent* e = readdir(d)) {
        if (e->d_name[0] == '.') continue;
        std::string comm = ReadFile(folder + "/" + e->d_name + "/comm");
        if (comm == name + "\n") found = std::atoi(e->d_name);
    }
    closedir(d);
    return found;
}

double ThreadCpuSeconds(int pid, int tid) {
    return CpuSecondsFromStat(ReadFile("/proc/" + std::to_string(pid) + "/task/" + std::to_string(tid) + "/stat"));
}

// ---- 1. the floor ----------------------------------------------------------------------------

double RunAnchor(const std::string& source, double seconds) {
    if (source.empty() || access(source.c_str(), R_OK) != 0) return 0;
    std::string binary = "/tmp/qv_udp_ack_limit_" + std::to_string(getpid());
    std::string build = "cc -O2 -o " + binary + " '" + source + "'";
    if (std::system(build.c_str()) != 0) return 0;
    std::string run = binary + " " + std::to_string(seconds) + " " + std::to_string(FreePort());
    FILE* out = popen(run.c_str(), "r");
    double rate = 0;
    char line[256];
    while (out && std::fgets(line, sizeof line, out))
        if (std::sscanf(line, "raw receive+answer: %lf", &rate) == 1) std::printf("anchor: %s", line);
    if (out) pclose(out);
    unlink(binary.c_str());
    return rate;
}

// ---- 2. saturation in process ----------------------------------------------------------------

struct Consumer {
    std::mutex lock;
    std::vector<std::unique_ptr<ClientServerPipe>> pipes;
    std::vector<uint8_t> expected; // next record 29 argument per pipe
    uint64_t messages = 0;
    uint64_t disorder = 0;
};

void Saturate(double seconds, size_t clientCount, double floorRate) {
    g_bUDPThreadMode = true;
    g_uiCurrentPort = uint32_t(FreePort());
    Consumer consumer;
    auto udp = std::make_unique<UDPServerInterface>(UDPServerInterface::OneByOne([&consumer]() {
                                                        std::lock_guard<std::mutex> lock(consumer.lock);
                                                        consumer.pipes.push_back(std::make_unique<ClientServerPipe>());
                                                        consumer.expected.push_back(0);
                                                        return consumer.pipes.back().get();
                                                    }),
                                                    4096);

    // The stand-in server thread: drain every pipe, then hand the UDP thread its turn, as the
    // main loop does.
    std::atomic<bool> stop{false};
    std::thread server([&] {
        while (!stop.load()) {
            {
                std::lock_guard<std::mutex> lock(consumer.lock);
                for (size_t i = 0; i < consumer.pipes.size(); ++i)
                    while (Packet* p = consumer.pipes[i]->TakeToServer(0)) {
                        if (p->Length() != 2 || p->Data()[0] != 29 || p->Data()[1] != consumer.expected[i])
                            ++consumer.disorder;
                        consumer.expected[i] = uint8_t((p->Length() == 2 ? p->Data()[1] : consumer.expected[i]) + 1);
                        ++consumer.messages;
                        delete p;
                    }
            }
            udp->m_hTickEvent.Set();
            if (udp->m_hDoneEvent.Wait(33)) udp->m_hDoneEvent.Reset();
        }
    });

    headless::HeadlessSwarm swarm;
    swarm.Connect("127.0.0.1", uint16_t(g_uiCurrentPort), clientCount);
    std::vector<uint8_t> next(swarm.Size(), 0);
    auto feed = [&] {
        for (size_t i = 0; i < swarm.Size(); ++i)
            while (swarm[i].Waiting(0) < 8) swarm[i].Send(0, headless::MovementSequenceRecord(next[i]++));
    };
    feed();
    int tid = -1;
    for (int tries = 0; tid < 0 && tries < 100; ++tries) {
        tid = FindThread(getpid(), "qv-udp");
        if (tid < 0) std::this_thread::sleep_for(10ms);
    }
    const double cpu0 = ThreadCpuSeconds(getpid(), tid);
    const uint64_t datagrams0 = udp->DatagramsReceived();
    const auto start = Clock::now();
    while (Clock::now() - start < std::chrono::duration<double>(seconds)) {
        feed();
        swarm.Poll(1ms);
    }
    const double wall = std::chrono::duration<double>(Clock::now() - start).count();
    const double cpu = ThreadCpuSeconds(getpid(), tid) - cpu0;
    const uint64_t datagrams = udp->DatagramsReceived() - datagrams0;

    // Let every message in flight land before counting.
    uint64_t sent = 0;
    const auto drainUntil = Clock::now() + 20s;
    for (bool done = false; !done && Clock::now() < drainUntil;) {
        swarm.Poll(5ms);
        done = true;
        for (size_t i = 0; i < swarm.Size(); ++i) done = done && swarm[i].AllAcknowledged();
    }
    for (size_t i = 0; i < swarm.Size(); ++i) sent += swarm[i].m_uiMessagesSent;
    std::this_thread::sleep_for(200ms);
    stop = true;
    server.join();
    {
        std::lock_guard<std::mutex> lock(consumer.lock);
        for (size_t i = 0; i < consumer.pipes.size(); ++i)
            while (Packet* p = consumer.pipes[i]->TakeToServer(0)) {
                if (p->Length() != 2 || p->Data()[1] != consumer.expected[i]) ++consumer.disorder;
                consumer.expected[i] = uint8_t(p->Data()[p->Length() - 1] + 1);
                ++consumer.messages;
                delete p;
            }
    }
    udp.reset();

    const double rate = cpu > 0 ? double(datagrams) / cpu : 0;
    std::printf("saturation: %zu clients, %.1f s: %llu datagrams, %.0f/s wall, UDP thread busy %.2f s\n", swarm.Size(),
                wall, (unsigned long long)datagrams, double(datagrams) / wall, cpu);
    std::printf("saturation: UDP thread %.0f datagrams per CPU second\n", rate);
    if (floorRate > 0)
        std::printf("saturation: ratio to the raw floor %.0f/s: %.2f (goal >= 0.70)\n", floorRate, rate / floorRate);
    std::printf("saturation: messages sent %llu, taken by the server %llu, lost %lld, out of order %llu\n",
                (unsigned long long)sent, (unsigned long long)consumer.messages,
                (long long)sent - (long long)consumer.messages, (unsigned long long)consumer.disorder);
}

// ---- 3. the real server ----------------------------------------------------------------------

void SteadyLoad(const std::string& binary, size_t clientCount, double seconds) {
    const int port = FreePort();
    ServerRun run = StartServer(binary, port);
    if (run.pid < 0 || !WaitUntilServing(port)) {
        std::printf("server: could not start %s\n", binary.c_str());
        StopServer(run);
        return;
    }
    std::this_thread::sleep_for(300ms); // the probe's client is dropped
    const long rss0 = ResidentKiB(run.pid);
    headless::HeadlessSwarm swarm;
    swarm.Connect("127.0.0.1", uint16_t(port), clientCount);
    for (size_t i = 0; i < swarm.Size(); ++i) swarm[i].Send(0, headless::MovementSequenceRecord(0));
    for (auto until = Clock::now() + 2s; Clock::now() < until;) swarm.Poll(5ms);
    const long rss1 = ResidentKiB(run.pid);

    const double cpu0 = ProcessCpuSeconds(run.pid);
    uint64_t sent0 = 0;
    for (size_t i = 0; i < swarm.Size(); ++i) sent0 += swarm[i].m_uiDatagramsSent;
    const auto start = Clock::now();
    const auto period = std::chrono::duration<double>(1.0 / 30.0);
    auto nextSend = start;
    uint8_t n = 1;
    while (Clock::now() - start < std::chrono::duration<double>(seconds)) {
        if (Clock::now() >= nextSend) {
            for (size_t i = 0; i < swarm.Size(); ++i) swarm[i].Send(0, headless::MovementSequenceRecord(n));
            ++n;
            nextSend += std::chrono::duration_cast<Clock::duration>(period);
        }
        swarm.Poll(1ms);
    }
    const double cpu = ProcessCpuSeconds(run.pid) - cpu0;
    uint64_t sent = 0, acked = 0, messages = 0;
    for (size_t i = 0; i < swarm.Size(); ++i) {
        sent += swarm[i].m_uiDatagramsSent;
        messages += swarm[i].m_uiMessagesSent;
        acked += swarm[i].m_uiMessagesAcked;
    }
    sent -= sent0;
    std::printf("server, %3zu clients x 30/s for %.0f s: %llu datagrams, server CPU %.1f us per datagram "
                "(%.1f %% of a core), resident %+ld KiB = %.1f KiB per client, unacked %lld\n",
                swarm.Size(), seconds, (unsigned long long)sent, sent ? cpu * 1e6 / double(sent) : 0.0,
                100.0 * cpu / seconds, rss1 - rss0, double(rss1 - rss0) / double(swarm.Size() ? swarm.Size() : 1),
                (long long)messages - (long long)acked);
    for (size_t i = 0; i < swarm.Size(); ++i) swarm[i].SendLeave();
    StopServer(run);
}

} // namespace

int main(int argc, char** argv) {
    std::string server = DefaultServerBinary();
    std::string anchor = "/work/shared/anchors/udp_ack_limit.c";
    double seconds = 5;
    std::vector<size_t> counts = {1, 32, 128};
    for (int i = 1; i + 1 < argc; i += 2) {
        std::string a = argv[i];
        if (a == "--server") {
            // The server runs in a folder of its own: a relative path must not depend on ours.
            char absolute[PATH_MAX];
            server = realpath(argv[i + 1], absolute) ? absolute : argv[i + 1];
        } else if (a == "--anchor")
            anchor = argv[i + 1];
        else if (a == "--seconds")
            seconds = std::atof(argv[i + 1]);
        else if (a == "--clients") {
            counts.clear();
            std::stringstream list(argv[i + 1]);
            std::string item;
            while (std::getline(list, item, ',')) counts.push_back(size_t(std::atol(item.c_str())));
        }
    }
    signal(SIGPIPE, SIG_IGN);

    const double floorRate = RunAnchor(anchor, 3.0);
    if (floorRate <= 0) std::printf("anchor: not run (no source at '%s' or no cc)\n", anchor.c_str());
    Saturate(seconds, 128, floorRate);
    if (server.empty()) {
        std::printf("server: binary not found; pass --server PATH for the CPU and memory figures\n");
        return 0;
    }
    for (size_t n : counts) SteadyLoad(server, n, seconds);
    return 0;
}
