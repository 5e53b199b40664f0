#include <gtest/gtest.h>

#include "base/Timer.h"
#include "support/FakeClock.h"

namespace {

constexpr int64_t kSecond = 1'000'000'000;

TEST(TimerPeriod, IsFrequencyTimesSecondsTruncated) {
    FakeClock clock;
    Timer gameTick(0.033333335f);
    EXPECT_EQ(Timer::ms_frequency, kSecond);
    EXPECT_EQ(gameTick.m_iPeriod, 33333335);
    Timer autosave(7200.0f);
    EXPECT_EQ(autosave.m_iPeriod, 7200 * kSecond);
}

TEST(TimerFiring, FiresOnlyWhenStrictlyMoreThanAPeriodHasPassed) {
    FakeClock clock;
    Timer t(1.0f);
    clock.AdvanceNanoseconds(kSecond);
    EXPECT_FALSE(t.Check());
    clock.AdvanceNanoseconds(1);
    EXPECT_TRUE(t.Check());
}

TEST(TimerFiring, NextPeriodIsMeasuredFromTheCheckThatFired) {
    FakeClock clock;
    Timer t(1.0f);
    clock.AdvanceSeconds(1.5);
    EXPECT_TRUE(t.Check());
    clock.AdvanceSeconds(0.9);
    EXPECT_FALSE(t.Check()); // 2.4 s after start, but only 0.9 s after the firing check
    clock.AdvanceSeconds(0.2);
    EXPECT_TRUE(t.Check());
}

TEST(TimerFiring, HasElapsedDoesNotRestart) {
    FakeClock clock;
    Timer t(1.0f);
    clock.AdvanceSeconds(2.0);
    EXPECT_TRUE(t.HasElapsed());
    EXPECT_TRUE(t.HasElapsed());
    EXPECT_TRUE(t.Check());
    EXPECT_FALSE(t.HasElapsed());
}

TEST(TimerFiring, RestartBeginsAFreshPeriod) {
    FakeClock clock;
    Timer t(1.0f);
    clock.AdvanceSeconds(0.8);
    t.Restart();
    clock.AdvanceSeconds(0.8);
    EXPECT_FALSE(t.Check());
    clock.AdvanceSeconds(0.3);
    EXPECT_TRUE(t.Check());
}

TEST(TimerRate, RateSetsPeriodToFrequencyOverRateTruncated) {
    FakeClock clock;
    Timer t(1.0f);
    t.SetRate(30);
    EXPECT_EQ(t.m_iPeriod, 33333333);
    t.SetRate(15);
    EXPECT_EQ(t.m_iPeriod, 66666666);
    t.SetRate(29);
    EXPECT_EQ(t.m_iPeriod, 34482758);
}

} // namespace
