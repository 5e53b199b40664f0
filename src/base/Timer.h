// A period measured on the clock seam. A check that fires restarts the period from the check
// itself, so periods drift by the check latency (the tick rate adaptation relies on this).
#pragma once
#include <cstdint>

class Timer {
public:
    static int64_t ms_frequency; // counts per second, refreshed by every constructor

    explicit Timer(float seconds);

    // Reads the counter; true (and restarted from now) when more than a period has passed.
    bool Check();
    // The same test without restarting.
    bool HasElapsed();
    void Restart();
    // Period = frequency / rate, truncated.
    void SetRate(int rate);
    void SetPeriodSeconds(float seconds);

    int64_t m_iStart = 0;
    int64_t m_iNow = 0;
    int64_t m_iPeriod = 0;
};
