// Replaces the clock seam for the lifetime of the object: time moves only when the test says.
#pragma once
#include <cstdint>

class FakeClock {
public:
    explicit FakeClock(int64_t start = 1'000'000'000'000);
    ~FakeClock();
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    void Set(int64_t counter);
    void AdvanceNanoseconds(int64_t ns);
    void AdvanceSeconds(double seconds);
    int64_t Now() const;
};
