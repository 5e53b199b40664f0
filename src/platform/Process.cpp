#include "platform/Process.h"

#include <malloc.h>

#include <cstdio>
#include <spawn.h>
#include <unistd.h>

#include "platform/Console.h"

extern char** environ;

namespace platform {
namespace {

std::vector<std::string> g_OwnArguments;

} // namespace

void SetOwnCommandLine(std::vector<std::string> arguments) { g_OwnArguments = std::move(arguments); }

const std::vector<std::string>& OwnCommandLine() { return g_OwnArguments; }

int SpawnProcess(const std::string& path) {
    if (path.empty()) return -1;
    std::string argv0 = path;
    char* argv[] = {argv0.data(), nullptr};
    pid_t pid = -1;
    if (posix_spawn(&pid, path.c_str(), nullptr, nullptr, argv, environ) != 0) return -1;
    return int(pid);
}

void ReExecSelf() {
    std::vector<std::string> arguments = g_OwnArguments;
    if (arguments.empty()) arguments.push_back("/proc/self/exe");
    std::vector<char*> argv;
    for (std::string& a : arguments) argv.push_back(a.data());
    argv.push_back(nullptr);
    std::fflush(nullptr);
    ConsoleRestore();
    execv("/proc/self/exe", argv.data());
    ConsoleInit();
}

void TerminateProcess(int code) {
    std::fflush(nullptr);
    ConsoleRestore();
    _exit(code);
}

void ReturnFreeMemoryToSystem() { malloc_trim(0); }

} // namespace platform
