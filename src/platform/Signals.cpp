#include "platform/Signals.h"

#include <atomic>
#include <csignal>
#include <cstring>

#include <sys/eventfd.h>
#include <unistd.h>

namespace platform {
namespace {

std::atomic<bool> g_bShutdown{false};
std::atomic<int> g_iWakeFd{-1};

// Async-signal-safe: an atomic store and a write.
void Wake() {
    const uint64_t one = 1;
    if (int fd = g_iWakeFd.load(); fd >= 0) (void)!write(fd, &one, sizeof one);
}

void OnShutdownSignal(int) {
    g_bShutdown.store(true);
    Wake();
}

} // namespace

void InstallShutdownSignals() {
    if (g_iWakeFd.load() < 0) g_iWakeFd.store(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
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

int ShutdownWakeFd() { return g_iWakeFd.load(); }

void RequestShutdown() {
    g_bShutdown.store(true);
    Wake();
}

void ClearShutdownRequest() {
    g_bShutdown.store(false);
    uint64_t value;
    if (int fd = g_iWakeFd.load(); fd >= 0) (void)!read(fd, &value, sizeof value);
}

} // namespace platform
