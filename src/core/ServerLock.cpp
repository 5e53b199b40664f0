#include "core/ServerLock.h"

#include <cstdlib>

#include "platform/Console.h"

void ServerLock::Lock() {
    m_Mutex.lock();
    if (m_bHeld) {
        platform::ErrorWrite("FATAL: the server lock was entered twice on one thread.\n");
        std::abort();
    }
    m_bHeld = true;
}

void ServerLock::Unlock() {
    m_bHeld = false;
    m_Mutex.unlock();
}
