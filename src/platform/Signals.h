// SIGINT and SIGTERM ask the server to save and stop; they never kill it mid-save.
#pragma once

namespace platform {

void InstallShutdownSignals();
bool ShutdownRequested();
void RequestShutdown();
void ClearShutdownRequest();

} // namespace platform
