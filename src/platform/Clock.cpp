#include "platform/Clock.h"

#include <atomic>
#include <ctime>

namespace platform {
namespace {

int64_t MonotonicNanoseconds() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return int64_t(t.tv_sec) * kCounterFrequency + t.tv_nsec;
}

std::atomic<CounterSource> g_source{&MonotonicNanoseconds};

} // namespace

int64_t QueryCounter() { return g_source.load(std::memory_order_relaxed)(); }

int64_t QueryCounterFrequency() { return kCounterFrequency; }

void SetCounterSource(CounterSource source) {
    g_source.store(source ? source : &MonotonicNanoseconds, std::memory_order_relaxed);
}

uint32_t CounterModulo(uint32_t n) {
    if (n == 0) return 0;
    return uint32_t(uint64_t(QueryCounter()) % n);
}

} // namespace platform
