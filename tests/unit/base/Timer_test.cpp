#include <gtest/gtest.h>

#include "base/Timer.h"
#include "support/FakeClock.h"

TEST(Timer, PeriodsAreTruncatedFromDoublePrecision) {
    FakeClock clock;
    Timer t(0.033333335f); // the game tick: single precision would give 33333336
    EXPECT_EQ(t.m_iPeriod, 33'333'335);
    EXPECT_EQ(Timer(7200.0f).m_iPeriod, 7'200'000'000'000); // the autosave period needs 64 bits
    for (auto [rate, period] : {std::pair{30, 33'333'333}, {15, 66'666'666}, {29, 34'482'758}, {0, 34'482'758}}) {
        t.SetRate(rate); // a rate of 0 is ignored rather than divided by
        EXPECT_EQ(t.m_iPeriod, period) << rate;
    }
}

// A timer of one second driven step by step: the clock moves, then the timer is asked (Check,
// HasElapsed or Restart). Exactly a period is not more than one; HasElapsed does not restart;
// the next period counts from the firing check itself, not from when the last one was due.
TEST(Timer, FiresAfterMoreThanAPeriodSinceTheLastFiringOrRestart) {
    FakeClock clock;
    Timer t(1.0f);
    const std::tuple<int64_t, char, bool> steps[] = {
        {1'000'000'000, 'C', false}, {1, 'H', true},  {500'000'000, 'H', true},  {0, 'C', true},
        {900'000'000, 'C', false},   {0, 'R', false}, {800'000'000, 'C', false}, {300'000'000, 'C', true}};
    int step = 0;
    for (auto [ns, call, fires] : steps) {
        clock.AdvanceNanoseconds(ns);
        bool fired = call == 'C' ? t.Check() : call == 'H' ? t.HasElapsed() : (t.Restart(), false);
        EXPECT_EQ(fired, fires) << "step " << step++;
    }
}
