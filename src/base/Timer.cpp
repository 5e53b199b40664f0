#include "base/Timer.h"

#include "platform/Clock.h"

int64_t Timer::ms_frequency = platform::kCounterFrequency;

Timer::Timer(float seconds) {
    ms_frequency = platform::QueryCounterFrequency();
    SetPeriodSeconds(seconds);
    m_iStart = platform::QueryCounter();
    m_iNow = m_iStart;
}

void Timer::SetPeriodSeconds(float seconds) { m_iPeriod = int64_t(double(ms_frequency) * double(seconds)); }

bool Timer::HasElapsed() {
    m_iNow = platform::QueryCounter();
    return m_iNow - m_iStart > m_iPeriod;
}

bool Timer::Check() {
    if (!HasElapsed()) return false;
    m_iStart = m_iNow;
    return true;
}

void Timer::Restart() { m_iStart = platform::QueryCounter(); }

void Timer::SetRate(int rate) {
    if (rate > 0) m_iPeriod = ms_frequency / rate;
}
