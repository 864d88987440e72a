#include <gtest/gtest.h>
#include <tovik/clock.h>

#include <chrono>
#include <climits>

namespace tovik {
namespace {

using std::chrono::steady_clock;

TEST(SteadyClock, IsTheSystemsClock) {
  const auto before = steady_clock::now();
  const auto now = Clock::steady().now();
  EXPECT_GE(now, before);
  EXPECT_LE(now, steady_clock::now());
}

TEST(SteadyClock, AllowsNoSleepOnceTheDeadlineHasPassed) {
  const auto now = steady_clock::now();
  EXPECT_EQ(Clock::steady().millisecondsUntil(now), 0);
  EXPECT_EQ(Clock::steady().millisecondsUntil(now - std::chrono::hours(1)), 0);
}

// If it were rounded down, it would be less than the time that is left.
TEST(SteadyClock, DoesNotWakeAThreadBeforeTheDeadline) {
  for (int i = 0; i < 1000; ++i) {
    const auto deadline = Clock::steady().now() + std::chrono::microseconds(60'000'500);
    const auto sleep = std::chrono::milliseconds(Clock::steady().millisecondsUntil(deadline));
    EXPECT_GE(Clock::steady().now() + sleep, deadline);
  }
}

TEST(SteadyClock, LimitsASleepToWhatTheSystemSupports) {
  EXPECT_EQ(Clock::steady().millisecondsUntil(steady_clock::now() + std::chrono::hours(24 * 60)), INT_MAX);
}

}  // namespace
}  // namespace tovik
