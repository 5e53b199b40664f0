#include "platform/Signals.h"

#include <atomic>
#include <csignal>
#include <cstring>

namespace platform {
namespace {

std::atomic<bool> g_bShutdown{false};

void OnShutdownSignal(int) { g_bShutdown.store(true); }

} // namespace

void InstallShutdownSignals() {
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = &OnShutdownSignal;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: a blocked key read must wake up and see the request.
    action.sa_flags = 0;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    signal(SIGPIPE, SIG_IGN);
}

bool ShutdownRequested() { return g_bShutdown.load(); }

void RequestShutdown() { g_bShutdown.store(true); }

void ClearShutdownRequest() { g_bShutdown.store(false); }

} // namespace platform
