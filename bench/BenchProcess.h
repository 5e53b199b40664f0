// The real server binary under a benchmark: started in a fresh folder, watched through /proc,
// stopped with SIGTERM.
#pragma once
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "headless/HeadlessClient.h"
#include "headless/Records.h"

extern char** environ;

namespace bench {

using namespace std::chrono_literals;

inline int FreePort() {
    int s = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a);
    socklen_t n = sizeof a;
    getsockname(s, reinterpret_cast<sockaddr*>(&a), &n);
    close(s);
    return ntohs(a.sin_port);
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// utime + stime of a /proc stat line, in seconds.
inline double CpuSecondsFromStat(const std::string& stat) {
    size_t close = stat.rfind(')');
    if (close == std::string::npos) return 0;
    std::istringstream fields(stat.substr(close + 2));
    std::string f;
    double ticks = 0;
    for (int i = 3; i <= 15 && fields >> f; ++i)
        if (i == 14 || i == 15) ticks += std::atof(f.c_str());
    return ticks / double(sysconf(_SC_CLK_TCK));
}

// The whole process's CPU time so far, in seconds.
inline double ProcessCpuSeconds(int pid) {
    std::string path = "/proc/";
    path += std::to_string(pid);
    path += "/stat";
    return CpuSecondsFromStat(ReadFile(path));
}

// A "Vm...:" field of the process's status, in KiB (0 when absent).
inline long StatusKiB(int pid, const char* field) {
    std::string path = "/proc/";
    path += std::to_string(pid);
    path += "/status";
    std::istringstream status(ReadFile(path));
    for (std::string line; std::getline(status, line);)
        if (line.rfind(field, 0) == 0) return std::atol(line.c_str() + std::char_traits<char>::length(field));
    return 0;
}

inline long ResidentKiB(int pid) { return StatusKiB(pid, "VmRSS:"); }

struct ServerRun {
    int pid = -1;
    int input = -1;
    std::string folder;
};

// A fresh folder for one server run (empty on failure); StopServer removes it.
inline std::string NewRunFolder() {
    char folder[] = "/tmp/qv-bench-XXXXXX";
    return mkdtemp(folder) ? std::string(folder) : std::string();
}

// Starts the server in a folder prepared beforehand (save files written into it, say).
inline ServerRun StartServerIn(const std::string& folder, const std::string& binary, int port,
                               const std::vector<std::string>& extra = {}) {
    ServerRun run;
    if (folder.empty()) return run;
    run.folder = folder;
    int in[2];
    if (pipe(in) != 0) return run;
    int out = open("/dev/null", O_WRONLY);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out, 1);
    posix_spawn_file_actions_adddup2(&actions, out, 2);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    std::vector<std::string> args = {binary, "--auto", "--port", std::to_string(port), "--dir", folder};
    args.insert(args.end(), extra.begin(), extra.end());
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_t pid;
    if (posix_spawn(&pid, binary.c_str(), &actions, nullptr, argv.data(), environ) == 0) run.pid = pid;
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out);
    run.input = in[1];
    return run;
}

inline ServerRun StartServer(const std::string& binary, int port, const std::vector<std::string>& extra = {}) {
    return StartServerIn(NewRunFolder(), binary, port, extra);
}

inline void StopServer(ServerRun& run) {
    if (run.pid > 0) {
        kill(run.pid, SIGTERM);
        for (int i = 0; i < 500; ++i) {
            if (waitpid(run.pid, nullptr, WNOHANG) == run.pid) {
                run.pid = -1;
                break;
            }
            std::this_thread::sleep_for(10ms);
        }
        if (run.pid > 0) {
            kill(run.pid, SIGKILL);
            waitpid(run.pid, nullptr, 0);
        }
    }
    if (run.input >= 0) close(run.input);
    if (!run.folder.empty()) std::system(("rm -rf '" + run.folder + "'").c_str());
}

// A datagram acknowledged means the port is bound and the UDP thread runs.
inline bool WaitUntilServing(int port) {
    headless::HeadlessClient probe;
    if (!probe.Connect("127.0.0.1", uint16_t(port))) return false;
    probe.Send(0, headless::MovementSequenceRecord(0));
    bool ok = probe.WaitUntil([&] { return probe.AllAcknowledged(); }, 30s);
    probe.SendLeave();
    return ok;
}

// The server binary next to this program.
inline std::string DefaultServerBinary() {
    char self[4096];
    ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return "";
    self[n] = 0;
    std::string path(self);
    path = path.substr(0, path.rfind('/') + 1) + "quorvane";
    return access(path.c_str(), X_OK) == 0 ? path : "";
}

} // namespace bench
