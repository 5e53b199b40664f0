// Totals of the server's UDP socket since start, for the operator's metrics. The UDP thread bumps
// them; the status snapshot reads them once a second, so relaxed atomics are enough.
#pragma once
#include <atomic>
#include <cstdint>

struct TransportCounters {
    std::atomic<uint64_t> m_uiBytesIn{0};
    std::atomic<uint64_t> m_uiDatagramsIn{0};
    std::atomic<uint64_t> m_uiBytesOut{0};
    std::atomic<uint64_t> m_uiDatagramsOut{0};

    void CountIn(uint64_t bytes) {
        m_uiBytesIn.fetch_add(bytes, std::memory_order_relaxed);
        m_uiDatagramsIn.fetch_add(1, std::memory_order_relaxed);
    }
    void CountOut(uint64_t bytes) {
        m_uiBytesOut.fetch_add(bytes, std::memory_order_relaxed);
        m_uiDatagramsOut.fetch_add(1, std::memory_order_relaxed);
    }
};

inline TransportCounters g_TransportCounters;
