#include "support/ServerProcess.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>

extern char** environ;

namespace {
// The strings as the null-terminated pointer array exec wants.
std::vector<char*> Pointers(std::vector<std::string>& strings) {
    std::vector<char*> out;
    for (std::string& s : strings) out.push_back(s.data());
    out.push_back(nullptr);
    return out;
}
} // namespace

ServerProcess::ServerProcess(const Options& options) {
    int in[2], out[2], err[2];
    if (pipe2(in, O_CLOEXEC) || pipe2(out, O_CLOEXEC) || pipe2(err, O_CLOEXEC)) throw std::runtime_error("pipe failed");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const int childEnds[3] = {in[0], out[1], err[1]}; // its stdin, stdout and stderr
    for (int fd = 0; fd < 3; ++fd) posix_spawn_file_actions_adddup2(&actions, childEnds[fd], fd);
    if (!options.folder.empty()) posix_spawn_file_actions_addchdir_np(&actions, options.folder.c_str());

    std::vector<std::string> args{options.program};
    args.insert(args.end(), options.arguments.begin(), options.arguments.end());
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) env.push_back(*e);
    env.insert(env.end(), options.environment.begin(), options.environment.end());
    pid_t pid;
    int rc = posix_spawn(&pid, options.program.c_str(), &actions, nullptr, Pointers(args).data(), Pointers(env).data());
    posix_spawn_file_actions_destroy(&actions);
    for (int fd : childEnds) close(fd);
    if (rc != 0) throw std::runtime_error("cannot start " + options.program + ": " + strerror(rc));
    m_Pid = pid;
    m_Stdin = in[1];
    m_OutReader = std::thread([this, fd = out[0]] { ReadLoop(fd, &m_Output); });
    m_ErrReader = std::thread([this, fd = err[0]] { ReadLoop(fd, &m_Errors); });
}

ServerProcess::~ServerProcess() {
    if (Running()) kill(m_Pid, SIGKILL);
    WaitForExit(std::chrono::seconds(10));
    CloseInput();
    for (std::thread* reader : {&m_OutReader, &m_ErrReader}) reader->join();
}

void ServerProcess::ReadLoop(int fd, std::string* sink) {
    char buffer[4096];
    for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) != 0;) {
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) break;
        std::lock_guard<std::mutex> lock(m_Lock);
        sink->append(buffer, size_t(n));
    }
    close(fd);
}

size_t ServerProcess::WaitForOutput(const std::string& text, std::chrono::milliseconds timeout, size_t from) {
    size_t at = std::string::npos;
    PollUntil([&] { return (at = Output().find(text, from)) != std::string::npos; }, timeout);
    return at;
}

bool ServerProcess::Running() {
    if (m_bExited || m_Pid <= 0) return false;
    int status;
    if (waitpid(m_Pid, &status, WNOHANG) != m_Pid) return true;
    m_bExited = true;
    m_ExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return false;
}

int ServerProcess::WaitForExit(std::chrono::milliseconds timeout) {
    if (PollUntil([&] { return !Running(); }, timeout)) return m_ExitCode;
    kill(m_Pid, SIGKILL);
    waitpid(m_Pid, nullptr, 0);
    m_bExited = true;
    return m_ExitCode = -1;
}
