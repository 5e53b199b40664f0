#include "support/FakeClock.h"

#include <atomic>

#include "platform/Clock.h"

namespace {
std::atomic<int64_t> g_fakeNow{0};
int64_t ReadFake() { return g_fakeNow.load(); }
} // namespace

FakeClock::FakeClock(int64_t start) {
    g_fakeNow.store(start);
    platform::SetCounterSource(&ReadFake);
}

FakeClock::~FakeClock() { platform::SetCounterSource(nullptr); }

void FakeClock::Set(int64_t counter) { g_fakeNow.store(counter); }

void FakeClock::AdvanceNanoseconds(int64_t ns) { g_fakeNow.fetch_add(ns); }

void FakeClock::AdvanceSeconds(double seconds) { AdvanceNanoseconds(int64_t(seconds * 1e9)); }

int64_t FakeClock::Now() const { return g_fakeNow.load(); }
