// Runs a shell command line and gathers what it prints (stdout and stderr) and its exit code;
// for tests of the command-line tools.
#pragma once
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

struct CommandResult {
    int code = -1; // -1 when it did not exit normally
    std::string output;
};

inline CommandResult RunCommand(const std::string& command) {
    CommandResult result;
    std::string line = command + " 2>&1";
    FILE* pipe = popen(line.c_str(), "r");
    if (!pipe) return result;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) result.output.append(buffer, n);
    int status = pclose(pipe);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

// A command line running beside the test, its output gathered as it comes; killed by its own
// process id if it is still running at the end.
class BackgroundCommand {
public:
    explicit BackgroundCommand(const std::string& command);
    ~BackgroundCommand();
    BackgroundCommand(const BackgroundCommand&) = delete;
    BackgroundCommand& operator=(const BackgroundCommand&) = delete;

    bool WaitForOutput(const std::string& text, std::chrono::milliseconds timeout);
    // The exit code, or -1 when it did not exit within the time (it is then killed).
    int WaitForExit(std::chrono::milliseconds timeout);
    std::string Output();

private:
    int m_Pid = -1;
    int m_Code = -1;
    bool m_bExited = false;
    std::mutex m_Lock;
    std::string m_Output;
    std::thread m_Reader;
};
