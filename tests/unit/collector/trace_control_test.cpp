#include "trace/trace_control.h"

#include <gtest/gtest.h>

#include "collector/stats_collector.h"
#include "trace/trace_state.h"

namespace tarnwick {
namespace {

TEST(TraceControl, stopWithoutAnOptionWritesNothing) {
  // A write would end the program of tests.
  gTracingDirectory = "/nowhere";
  StatsCollector collector;
  stopTracing(collector);
  EXPECT_TRUE(!collector.systrace && !collector.blockDump);
}

}  // namespace
}  // namespace tarnwick
