// SIGINT and SIGTERM ask the server to save and stop; they never kill it mid-save.
#pragma once

namespace platform {

void InstallShutdownSignals();
bool ShutdownRequested();
// Readable once a shutdown was requested, so that a thread at rest wakes for it; -1 before the
// signals are installed.
int ShutdownWakeFd();
void RequestShutdown();
void ClearShutdownRequest();

} // namespace platform
