#include "trace/event_store.h"

#include <gtest/gtest.h>

#include "trace/drain_pace.h"
#include "trace/trace_state.h"

namespace tarnwick {
namespace {

TEST(EventStore, ThreadThatCannotBeLookedUpLetsTheReaderRest) {
  // Beyond the kernel's PID_MAX_LIMIT.
  constexpr SchedEvent kEvent = {SchedEventKind::kRuntime, 1.0, 5, 0, 0x40000000, "away"};
  DrainPace pace;
  EventStore store(pace);
  DrainPace::Rest rest{};
  for (uint32_t drain = 0; drain < 10 * DrainPace::kShortDrains; ++drain) {
    pace.startDrain();
    store.take(kEvent);
    store.endBlock();
    rest = pace.rest();
  }
  EXPECT_EQ(rest, DrainPace::kLongRest);
  EXPECT_EQ(gTraceLosses.unresolved, 10 * DrainPace::kShortDrains);
  gTraceLosses = {};
}

}  // namespace
}  // namespace tarnwick
