#include "support/Command.h"

#include <csignal>
#include <unistd.h>

BackgroundCommand::BackgroundCommand(const std::string& command) {
    int fds[2];
    if (pipe(fds) != 0) return;
    m_Pid = fork();
    if (m_Pid == 0) {
        dup2(fds[1], STDOUT_FILENO);
        dup2(fds[1], STDERR_FILENO);
        close(fds[0]);
        close(fds[1]);
        std::string line = "exec " + command;
        execl("/bin/sh", "sh", "-c", line.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    m_Reader = std::thread([this, fd = fds[0]] {
        char buffer[1024];
        ssize_t n;
        while ((n = read(fd, buffer, sizeof buffer)) > 0) {
            std::lock_guard<std::mutex> guard(m_Lock);
            m_Output.append(buffer, size_t(n));
        }
        close(fd);
    });
}

BackgroundCommand::~BackgroundCommand() {
    WaitForExit(std::chrono::milliseconds(0));
    if (m_Reader.joinable()) m_Reader.join();
}

bool BackgroundCommand::WaitForOutput(const std::string& text, std::chrono::milliseconds timeout) {
    auto end = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        if (Output().find(text) != std::string::npos) return true;
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

int BackgroundCommand::WaitForExit(std::chrono::milliseconds timeout) {
    if (m_bExited || m_Pid <= 0) return m_Code;
    auto end = std::chrono::steady_clock::now() + timeout;
    int status = 0;
    for (;;) {
        if (waitpid(m_Pid, &status, WNOHANG) == m_Pid) break;
        if (std::chrono::steady_clock::now() >= end) {
            kill(m_Pid, SIGKILL);
            waitpid(m_Pid, &status, 0);
            m_bExited = true;
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    m_bExited = true;
    m_Code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return m_Code;
}

std::string BackgroundCommand::Output() {
    std::lock_guard<std::mutex> guard(m_Lock);
    return m_Output;
}
