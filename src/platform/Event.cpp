#include "platform/Event.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace platform {

namespace {

using SteadyClock = std::chrono::steady_clock;

// Without its descriptor an event could neither wake nor be waited on: that is fatal.
int MakeEventFd() {
    int fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (fd < 0) {
        std::perror("eventfd");
        std::abort();
    }
    return fd;
}

// Polls one descriptor, going on after interrupting signals until the time is up.
bool PollReadable(int fd, int timeoutMs) {
    const auto until = SteadyClock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        pollfd p{fd, POLLIN, 0};
        int n = poll(&p, 1, timeoutMs);
        if (n > 0) return true;
        if (n == 0 || errno != EINTR) return false;
        if (timeoutMs >= 0) {
            auto left = std::chrono::ceil<std::chrono::milliseconds>(until - SteadyClock::now()).count();
            timeoutMs = left > 0 ? int(left) : 0;
        }
    }
}

} // namespace

Event::Event() : m_Fd(MakeEventFd()) {}

Event::~Event() { close(m_Fd); }

void Event::Set() {
    const uint64_t one = 1;
    // Fails only when the counter is near its limit, which leaves it set all the same.
    (void)!write(m_Fd, &one, sizeof one);
}

void Event::Reset() {
    uint64_t value;
    // One read empties the counter; an empty one reports EAGAIN.
    (void)!read(m_Fd, &value, sizeof value);
}

bool Event::IsSet() const { return PollReadable(m_Fd, 0); }

bool Event::Wait(int timeoutMs) const { return PollReadable(m_Fd, timeoutMs < 0 ? -1 : timeoutMs); }

void WaitUntilReadable(std::initializer_list<int> fds, std::chrono::microseconds timeout) {
    pollfd polled[8];
    nfds_t count = 0;
    for (int fd : fds)
        if (count < 8) polled[count++] = pollfd{fd, POLLIN, 0};
    if (timeout.count() < 0) timeout = std::chrono::microseconds(0);
    const timespec limit{time_t(timeout.count() / 1000000), long(timeout.count() % 1000000) * 1000};
    ppoll(polled, count, &limit, nullptr);
}

} // namespace platform
