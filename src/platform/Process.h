// Starting other processes and restarting our own.
#pragma once
#include <string>
#include <vector>

namespace platform {

// Remembers the arguments the process was started with, for a restart after a crash.
void SetOwnCommandLine(std::vector<std::string> arguments);
const std::vector<std::string>& OwnCommandLine();

// Starts the executable at path with no arguments, the current environment and folder.
// Returns the child's pid, or -1 when it could not be started.
int SpawnProcess(const std::string& path);

// Replaces this process by a fresh run of the same executable with the same arguments.
// Returns only when that fails.
void ReExecSelf();

// Hands the free memory of every allocator arena back to the system. After thousands of peers
// left at once their memory would otherwise stay with the process for good.
void ReturnFreeMemoryToSystem();

// Ends the process at once with the code, after flushing output; no static destructors run
// (the UDP thread may still hold pooled memory).
[[noreturn]] void TerminateProcess(int code);

} // namespace platform
