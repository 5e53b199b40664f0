// The one time source of the server. Timers and every "counter modulo n" draw read it, so a
// test that replaces it drives both time and chance.
#pragma once
#include <cstdint>

namespace platform {

inline constexpr int64_t kCounterFrequency = 1'000'000'000; // counts per second (nanoseconds)

int64_t QueryCounter();
int64_t QueryCounterFrequency();

using CounterSource = int64_t (*)();
// nullptr restores the monotonic clock.
void SetCounterSource(CounterSource source);

// The rules' only source of chance: the counter taken modulo n at the moment of use.
uint32_t CounterModulo(uint32_t n);

} // namespace platform
