#include "proc/pmu_events.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "tests/unit/support/string_sink.h"

namespace tarnwick {
namespace {

constexpr uint64_t kMaxCount = std::numeric_limits<uint64_t>::max();

std::string lineOf(const PmuCounts& counts) {
  StringSink sink;
  formatPmuCounts(counts, sink);
  return sink.text();
}

TEST(PmuEventAttr, isARawEventDisabledAndWithoutHypervisor) {
  // Little-endian: type, size, config, sample_period, sample_type, read_format, flags.
  std::array<unsigned char, 112> expected{};
  expected[0] = 4;
  expected[4] = 112;
  expected[40] = 0x41;
  std::array<unsigned char, 112> bytes;
  const perf_event_attr attr = pmuEventAttr();
  memcpy(bytes.data(), &attr, bytes.size());
  EXPECT_EQ(bytes, expected);
}

TEST(PmuEvents, areInTheirOrder) {
  std::vector<uint64_t> configs;
  for (const PmuEvent& event : kPmuEvents) {
    configs.push_back(event.config);
  }
  EXPECT_EQ(configs, (std::vector<uint64_t>{0x04, 0x15, 0x17, 0x10, 0x12, 0x11}));
}

TEST(PmuEvents, haveTheirCounts) {
  PmuCounts counts;
  uint64_t number = 0;
  for (const PmuEvent& event : kPmuEvents) {
    counts.*event.count = ++number;
  }
  EXPECT_TRUE(counts.l1dCache == 1 && counts.l1dCacheWb == 2 && counts.l2dCacheRefill == 3 &&
              counts.brMisPred == 4 && counts.brPred == 5 && counts.cpuCycles == 6);
}

TEST(PmuEvents, haveTheirDescriptors) {
  PmuFds fds;
  int32_t number = 0;
  for (const PmuEvent& event : kPmuEvents) {
    fds.*event.fd = ++number;
  }
  EXPECT_TRUE(fds.l1dCache == 1 && fds.l1dCacheWb == 2 && fds.l2dCacheRefill == 3 &&
              fds.brMisPred == 4 && fds.brPred == 5 && fds.cpuCycles == 6);
}

TEST(PmuEvents, haveTheirGroups) {
  std::vector<int32_t PmuFds::*> leaders;
  for (const PmuEvent& event : kPmuEvents) {
    leaders.push_back(event.leader);
  }
  EXPECT_EQ(leaders, (std::vector<int32_t PmuFds::*>{nullptr, &PmuFds::l1dCache, &PmuFds::l1dCache,
                                                     nullptr, &PmuFds::brMisPred, nullptr}));
}

TEST(PmuFds, areClosedAtFirst) {
  const PmuFds fds;
  EXPECT_TRUE(fds.l1dCache == -1 && fds.l1dCacheWb == -1 && fds.l2dCacheRefill == -1 &&
              fds.brMisPred == -1 && fds.brPred == -1 && fds.cpuCycles == -1);
}

TEST(PmuCounts, addEventByEvent) {
  PmuCounts sum = {1, 2, 3, 4, 5, 6};
  sum += {10, 20, 30, 40, 50, 60};
  EXPECT_TRUE(sum.l1dCache == 11 && sum.l1dCacheWb == 22 && sum.l2dCacheRefill == 33 &&
              sum.brMisPred == 44 && sum.brPred == 55 && sum.cpuCycles == 66);
}

TEST(PmuFigures, cacheRefsAreAccessesAndWriteBacks) {
  EXPECT_EQ(pmuFigures({.l1dCache = 300, .l1dCacheWb = 100, .l2dCacheRefill = 7}).cacheRefs, 400U);
}

TEST(PmuFigures, cacheMissesAreRefillsOfTheSecondLevel) {
  EXPECT_DOUBLE_EQ(
      pmuFigures({.l1dCache = 300, .l1dCacheWb = 100, .l2dCacheRefill = 100}).cacheHitPercent,
      75.0);
}

TEST(PmuFigures, cacheHitIsZeroWithoutReferences) {
  EXPECT_EQ(pmuFigures({.l2dCacheRefill = 7}).cacheHitPercent, 0.0);
}

TEST(PmuFigures, cacheHitIsNegativeWithMoreMissesThanReferences) {
  EXPECT_DOUBLE_EQ(pmuFigures({.l1dCache = 1, .l2dCacheRefill = 3}).cacheHitPercent, -200.0);
}

TEST(PmuFigures, branchesArePredictableAndMispredicted) {
  EXPECT_EQ(pmuFigures({.brMisPred = 50, .brPred = 150, .cpuCycles = 9}).branches, 200U);
}

TEST(PmuFigures, branchMissesAreMispredicted) {
  EXPECT_DOUBLE_EQ(pmuFigures({.brMisPred = 50, .brPred = 150}).branchHitPercent, 75.0);
}

TEST(PmuFigures, branchHitIsZeroWithoutBranches) {
  EXPECT_EQ(pmuFigures({.l1dCache = 5}).branchHitPercent, 0.0);
}

TEST(PmuFigures, countsAreUnsigned) {
  // 2^63 references; as a signed number it would be negative, and the rate above 100.
  EXPECT_DOUBLE_EQ(pmuFigures({.l1dCache = uint64_t{1} << 63, .l2dCacheRefill = uint64_t{1} << 62})
                       .cacheHitPercent,
                   50.0);
}

TEST(PmuFigures, missesAreUnsigned) {
  EXPECT_DOUBLE_EQ(pmuFigures({.brMisPred = kMaxCount, .brPred = 0}).branchHitPercent, 0.0);
}

TEST(PmuFigures, sumsWrap) {
  EXPECT_EQ(pmuFigures({.l1dCache = kMaxCount, .l1dCacheWb = 3}).cacheRefs, 2U);
}

TEST(PmuLine, showsTheFigures) {
  EXPECT_EQ(lineOf({.l1dCache = 3000,
                    .l1dCacheWb = 96,
                    .l2dCacheRefill = 774,
                    .brMisPred = 1,
                    .brPred = 2,
                    .cpuCycles = 99}),
            "   crefs=3096         hit=75.00   br=3            hit=66.67\n");
}

TEST(PmuLine, padsTheRatesOfNothing) {
  EXPECT_EQ(lineOf({}), "   crefs=0            hit=0.00    br=0            hit=0.00 \n");
}

TEST(PmuLine, isOneRecord) {
  StringSink sink;
  formatPmuCounts({}, sink);
  EXPECT_EQ(sink.records().size(), 1U);
}

TEST(PmuLine, showsCountsAboveTheSignedRangeAsNegative) {
  EXPECT_EQ(lineOf({.l1dCache = kMaxCount, .brPred = kMaxCount}),
            "   crefs=-1           hit=100.00   br=-1           hit=100.00\n");
}

}  // namespace
}  // namespace tarnwick
