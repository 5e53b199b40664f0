#include "support/ServerProcess.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

ServerProcess::Options ServerProcess::Unattended(const std::string& folder, int port) {
    Options o;
    o.folder = folder;
    o.arguments = {"--auto", "--port", std::to_string(port), "--dir", folder};
    o.environment = {"QUORVANE_TEST_HOOKS=1"};
    return o;
}

ServerProcess::ServerProcess(const Options& options) {
    int in[2], out[2], err[2];
    if (pipe2(in, O_CLOEXEC) || pipe2(out, O_CLOEXEC) || pipe2(err, O_CLOEXEC))
        throw std::runtime_error("pipe failed");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err[1], 2);
    if (!options.folder.empty()) posix_spawn_file_actions_addchdir_np(&actions, options.folder.c_str());

    std::vector<std::string> args;
    args.push_back(QV_SERVER_BINARY);
    args.insert(args.end(), options.arguments.begin(), options.arguments.end());
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);

    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) env.push_back(*e);
    env.insert(env.end(), options.environment.begin(), options.environment.end());
    std::vector<char*> envp;
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);

    pid_t pid;
    int rc = posix_spawn(&pid, QV_SERVER_BINARY, &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    close(err[1]);
    if (rc != 0) throw std::runtime_error(std::string("cannot start the server: ") + strerror(rc));
    m_Pid = pid;
    m_Stdin = in[1];
    m_OutReader = std::thread([this, fd = out[0]] { ReadLoop(fd, &m_Output); });
    m_ErrReader = std::thread([this, fd = err[0]] { ReadLoop(fd, &m_Errors); });
}

ServerProcess::~ServerProcess() {
    if (Running()) {
        kill(m_Pid, SIGKILL);
        WaitForExit(std::chrono::seconds(10));
    }
    CloseInput();
    if (m_OutReader.joinable()) m_OutReader.join();
    if (m_ErrReader.joinable()) m_ErrReader.join();
}

void ServerProcess::ReadLoop(int fd, std::string* sink) {
    char buffer[4096];
    for (;;) {
        ssize_t n = read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        std::lock_guard<std::mutex> lock(m_Lock);
        sink->append(buffer, size_t(n));
    }
    close(fd);
}

void ServerProcess::SendKeys(const std::string& keys) {
    if (m_Stdin >= 0) (void)!write(m_Stdin, keys.data(), keys.size());
}

void ServerProcess::CloseInput() {
    if (m_Stdin >= 0) close(m_Stdin);
    m_Stdin = -1;
}

void ServerProcess::Signal(int signal) {
    if (m_Pid > 0 && !m_bExited) kill(m_Pid, signal);
}

size_t ServerProcess::WaitForOutput(const std::string& text, std::chrono::milliseconds timeout, size_t from) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(m_Lock);
            size_t at = m_Output.find(text, from);
            if (at != std::string::npos) return at;
        }
        if (std::chrono::steady_clock::now() >= deadline) return std::string::npos;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

std::string ServerProcess::Output() {
    std::lock_guard<std::mutex> lock(m_Lock);
    return m_Output;
}

std::string ServerProcess::ErrorOutput() {
    std::lock_guard<std::mutex> lock(m_Lock);
    return m_Errors;
}

bool ServerProcess::Running() {
    if (m_bExited || m_Pid <= 0) return false;
    int status;
    pid_t r = waitpid(m_Pid, &status, WNOHANG);
    if (r == m_Pid) {
        m_bExited = true;
        m_ExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return false;
    }
    return true;
}

int ServerProcess::WaitForExit(std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (Running()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            kill(m_Pid, SIGKILL);
            int status;
            waitpid(m_Pid, &status, 0);
            m_bExited = true;
            m_ExitCode = -1;
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return m_ExitCode;
}
