#include "cli/run_loop.h"

#include <gtest/gtest.h>

#include "cli/options.h"
#include "collector/stats_collector.h"

namespace tarnwick {
namespace {

TEST(RunLoop, withoutACollectorThereIsNoMeasurement) {
  ASSERT_EQ(gCollector, nullptr);
  gOptions.iterations = 1;
  runLoop();
  EXPECT_EQ(gOptions.iterations, 1U);
}

}  // namespace
}  // namespace tarnwick
