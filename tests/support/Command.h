// Runs a shell command line and gathers what it prints (stdout and stderr) and its exit code;
// for tests of the command-line tools.
#pragma once
#include <sys/wait.h>

#include <cstdio>
#include <string>

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
