// The real quorvane binary (or another of ours), started in a folder with piped console input and
// captured output.
#pragma once
#include <chrono>
#include <csignal>
#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

// Polls every 10 ms until done() holds or the time runs out; returns done().
template <typename Done> bool PollUntil(Done done, std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return done();
}

class ServerProcess {
public:
    struct Options {
        std::string folder;
        std::vector<std::string> arguments;   // after the binary's own path
        std::vector<std::string> environment; // extra "NAME=value" entries
        std::string program = QV_SERVER_BINARY;
    };

    explicit ServerProcess(const Options& options);
    ~ServerProcess(); // kills the process if it still runs
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // Starts `quorvane --auto --port <port> --dir <folder>` with the test hooks switched on.
    static Options Unattended(const std::string& folder, int port) {
        return {folder, {"--auto", "--port", std::to_string(port), "--dir", folder}, {"QUORVANE_TEST_HOOKS=1"}};
    }

    void SendKeys(const std::string& keys) { (void)!write(m_Stdin, keys.data(), keys.size()); }
    void CloseInput() { close(std::exchange(m_Stdin, -1)); }
    void Signal(int signal) {
        if (!m_bExited) kill(m_Pid, signal);
    }

    // Waits until the output contains text (after position from); returns its offset or npos.
    size_t WaitForOutput(const std::string& text, std::chrono::milliseconds timeout, size_t from = 0);
    std::string Output() { return Locked(m_Output); }
    std::string ErrorOutput() { return Locked(m_Errors); }
    // Waits for the process to end; returns its exit code, or -1 on time-out (it is then killed).
    int WaitForExit(std::chrono::milliseconds timeout);
    bool Running();
    int Pid() const { return m_Pid; }

private:
    void ReadLoop(int fd, std::string* sink);
    std::string Locked(const std::string& text) {
        std::lock_guard<std::mutex> lock(m_Lock);
        return text;
    }

    int m_Pid = -1;
    int m_Stdin = -1;
    int m_ExitCode = -1;
    bool m_bExited = false;
    std::mutex m_Lock;
    std::string m_Output, m_Errors;
    std::thread m_OutReader, m_ErrReader;
};
