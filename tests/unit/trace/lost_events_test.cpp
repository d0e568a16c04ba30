#include "trace/lost_events.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/support/lost_events_reading.h"
#include "tests/unit/support/odd_texts.h"

namespace tarnwick {
namespace {

using lost_events_reading::sscanfLostEventsOf;

TEST(LostEvents, CountIsTheNumberOfTheLine) {
  EXPECT_EQ(parseLostEvents("CPU:1 [LOST 2825 EVENTS]\n"), LostEvents{2825});
}

TEST(LostEvents, LineWithoutANumberHasNoCount) {
  EXPECT_EQ(parseLostEvents("CPU:1 [LOST EVENTS]\n"), LostEvents{});
}

TEST(LostEvents, AnyCpuCounts) {
  for (const char* line : {"CPU:0 [LOST 7 EVENTS]\n", "CPU:127 [LOST 7 EVENTS]\n"}) {
    EXPECT_EQ(parseLostEvents(line), LostEvents{7}) << line;
  }
}

TEST(LostEvents, LargestCount) {
  EXPECT_EQ(parseLostEvents("CPU:1 [LOST 18446744073709551615 EVENTS]\n"), LostEvents{UINT64_MAX});
}

TEST(LostEvents, NewlineMayBeMissing) {
  EXPECT_EQ(parseLostEvents("CPU:1 [LOST 7 EVENTS]"), LostEvents{7});
}

TEST(LostEvents, OtherLinesHaveNone) {
  constexpr const char* kInAName =
      "  CPU:1 [LOST 7 -240     [001] d....    35.993756: sched_stat_runtime: comm=CPU:1 "
      "[LOST 7 EVENTS] pid=240 runtime=110816 [ns]\n";
  for (const char* line :
       {"", "\n", "CPU:\n", "CPU:1\n", "CPU:1 [LOST\n", "CPU:1 [LOST 7\n", "CPU:1 [LOST 7 EVENTS\n",
        "CPU: [LOST 7 EVENTS]\n", "CPU:x [LOST 7 EVENTS]\n", " CPU:1 [LOST 7 EVENTS]\n",
        "##### CPU 1 buffer started ####\n", kInAName}) {
    EXPECT_EQ(parseLostEvents(line), std::nullopt) << line;
  }
}

TEST(LostEvents, OddLinesReadAsSscanfReadsThem) {
  constexpr int kLines = 200000;
  OddTexts lines({"CPU:1 [LOST 2825 EVENTS]\n", "CPU:12 [LOST EVENTS]\n"},
                 "0123456789 +-:[]\t\n\v\f\rCPULOSTEVN");
  for (int i = 0; i < kLines; ++i) {
    const std::string line = (i % 4 == 0 ? "CPU:1 [LOST" : "") + lines.next();
    ASSERT_EQ(parseLostEvents(line), sscanfLostEventsOf(line)) << testing::PrintToString(line);
  }
}

}  // namespace
}  // namespace tarnwick
