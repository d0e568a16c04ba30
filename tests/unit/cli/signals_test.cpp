#include "cli/signals.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>
#include <set>

namespace {

std::set<clockid_t>& clocksRead() {
  static std::set<clockid_t> clocks;
  return clocks;
}

}  // namespace

// The C++ library reads all its clocks with this call, whose declaration has reserved names.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  clocksRead().insert(clock);
  return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

namespace tarnwick {
namespace {

// Somebody may set the date in the middle of an interval.
TEST(WaitForEvent, measuresTheTimeoutByTheMonotonicClock) {
  clocksRead().clear();
  EXPECT_EQ(waitForEvent(-1, std::chrono::seconds::zero()), WaitResult::kTimeout);
  EXPECT_EQ(clocksRead(), std::set<clockid_t>{CLOCK_MONOTONIC});
}

}  // namespace
}  // namespace tarnwick
