#include "platform/Event.h"

#include <chrono>

namespace platform {

void Event::Set() {
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_bSet = true;
    }
    m_Cond.notify_all();
}

void Event::Reset() {
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_bSet = false;
}

bool Event::IsSet() {
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_bSet;
}

bool Event::Wait(int timeoutMs) {
    std::unique_lock<std::mutex> lock(m_Mutex);
    if (timeoutMs < 0) {
        m_Cond.wait(lock, [this] { return m_bSet; });
        return true;
    }
    return m_Cond.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return m_bSet; });
}

} // namespace platform
