// The server lock: held around every server tick and by the UDP thread while it creates a
// client. Entering it twice on one thread is a programming error and aborts at once.
#pragma once
#include <mutex>

class ServerLock {
public:
    void Lock();
    void Unlock();
    bool IsHeld() const { return m_bHeld; }

private:
    // Recursive so that a second entry on the same thread reaches the held test instead of
    // deadlocking.
    std::recursive_mutex m_Mutex;
    bool m_bHeld = false;
};

class ServerLockGuard {
public:
    explicit ServerLockGuard(ServerLock& lock) : m_Lock(lock) { m_Lock.Lock(); }
    ~ServerLockGuard() { m_Lock.Unlock(); }
    ServerLockGuard(const ServerLockGuard&) = delete;
    ServerLockGuard& operator=(const ServerLockGuard&) = delete;

private:
    ServerLock& m_Lock;
};
