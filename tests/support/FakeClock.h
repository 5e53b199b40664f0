// Replaces the clock seam for the lifetime of the object: time moves only when the test says.
#pragma once
#include <atomic>
#include <cstdint>

#include "platform/Clock.h"

class FakeClock {
public:
    explicit FakeClock(int64_t start = 1'000'000'000'000) {
        s_Now.store(start);
        platform::SetCounterSource([] { return s_Now.load(); });
    }
    ~FakeClock() { platform::SetCounterSource(nullptr); }
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    void AdvanceNanoseconds(int64_t ns) { s_Now.fetch_add(ns); }
    void AdvanceSeconds(double seconds) { AdvanceNanoseconds(int64_t(seconds * 1e9)); }

private:
    static inline std::atomic<int64_t> s_Now{0};
};
