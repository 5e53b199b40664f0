// A manual-reset event: stays set until reset, wakes every waiter.
#pragma once
#include <condition_variable>
#include <mutex>

namespace platform {

class Event {
public:
    void Set();
    void Reset();
    bool IsSet();
    // Waits until set or until timeoutMs passes (negative: no limit). True when set.
    bool Wait(int timeoutMs);

private:
    std::mutex m_Mutex;
    std::condition_variable m_Cond;
    bool m_bSet = false;
};

} // namespace platform
