// A manual-reset event: stays set until reset, wakes every waiter. It is a readable descriptor
// while set, so a thread can wait on it together with a socket or the console.
#pragma once
#include <chrono>
#include <initializer_list>

namespace platform {

class Event {
public:
    Event();
    virtual ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    void Set();
    void Reset();
    bool IsSet() const;
    // Waits until set or until timeoutMs passes (negative: no limit). True when set.
    bool Wait(int timeoutMs) const;
    // Readable while the event is set.
    int Fd() const { return m_Fd; }

private:
    int m_Fd;
};

// Waits until one of the descriptors is readable or the time-out passes; negative descriptors
// are skipped. Returns early, without saying why, when a signal interrupts the wait.
void WaitUntilReadable(std::initializer_list<int> fds, std::chrono::microseconds timeout);

} // namespace platform
