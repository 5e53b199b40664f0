// The real quorvane binary, started in a folder with piped console input and captured output.
#pragma once
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class ServerProcess {
public:
    struct Options {
        std::string folder;
        std::vector<std::string> arguments;         // after the binary's own path
        std::vector<std::string> environment;       // extra "NAME=value" entries
    };

    explicit ServerProcess(const Options& options);
    ~ServerProcess(); // kills the process if it still runs
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // Starts `quorvane --auto --port <port> --dir <folder>` with the test hooks switched on.
    static Options Unattended(const std::string& folder, int port);

    void SendKeys(const std::string& keys);
    void CloseInput();
    void Signal(int signal);

    // Waits until the output contains text (after position from); returns its offset or npos.
    size_t WaitForOutput(const std::string& text, std::chrono::milliseconds timeout, size_t from = 0);
    std::string Output();
    std::string ErrorOutput();
    // Waits for the process to end; returns its exit code, or -1 on time-out (it is then killed).
    int WaitForExit(std::chrono::milliseconds timeout);
    bool Running();
    int Pid() const { return m_Pid; }

private:
    void ReadLoop(int fd, std::string* sink);

    int m_Pid = -1;
    int m_Stdin = -1;
    int m_ExitCode = -1;
    bool m_bExited = false;
    std::mutex m_Lock;
    std::string m_Output;
    std::string m_Errors;
    std::thread m_OutReader;
    std::thread m_ErrReader;
};
