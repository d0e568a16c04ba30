#include "proc/pmu.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <vector>

#include "collector/stats_collector.h"
#include "tests/unit/collector/captured_output.h"

namespace tarnwick {
namespace {

// The descriptors of these tests are files in memory that hold a count each. They refuse the
// requests of a counter, which nobody is told, and are read like one.
class PmuCounters : public testing::Test {
 protected:
  PmuCounters() {
    clearLog();
    collector_.pmuCount.at(0) = {91, 92, 93, 94, 95, 96};
  }
  ~PmuCounters() override {
    for (const int fd : files_) {
      close(fd);
    }
  }

  template <typename Count>
  int32_t fileWith(Count count) {
    const int fd = memfd_create("count", MFD_CLOEXEC);
    EXPECT_EQ(pwrite(fd, &count, sizeof count, 0), static_cast<ssize_t>(sizeof count));
    files_.push_back(fd);
    return fd;
  }

  PmuFds& fds() { return collector_.pmuFd.at(0); }
  const PmuCounts& counts() { return collector_.pmuCount.at(0); }

  void openAll() {
    fds().l1dCache = fileWith(uint64_t{1});
    fds().l1dCacheWb = fileWith(uint64_t{2});
    fds().l2dCacheRefill = fileWith(uint64_t{3});
    fds().brMisPred = fileWith(uint64_t{4});
    fds().brPred = fileWith(uint64_t{5});
    fds().cpuCycles = fileWith(uint64_t{6});
  }

  StatsCollector collector_;

 private:
  std::vector<int> files_;
};

TEST_F(PmuCounters, startZeroesTheCountsOfOpenCounters) {
  openAll();
  startPmuCounters(collector_, 0);
  EXPECT_TRUE(counts().l1dCache == 0 && counts().l1dCacheWb == 0 && counts().l2dCacheRefill == 0 &&
              counts().brMisPred == 0 && counts().brPred == 0 && counts().cpuCycles == 0);
}

TEST_F(PmuCounters, startLeavesOpenCountersOpen) {
  openAll();
  const int32_t fd = fds().l1dCache;
  startPmuCounters(collector_, 0);
  EXPECT_EQ(fds().l1dCache, fd);
}

TEST_F(PmuCounters, stopReadsEachIntoItsCount) {
  openAll();
  stopPmuCounters(collector_, 0);
  EXPECT_TRUE(counts().l1dCache == 1 && counts().l1dCacheWb == 2 && counts().l2dCacheRefill == 3 &&
              counts().brMisPred == 4 && counts().brPred == 5 && counts().cpuCycles == 6);
}

TEST_F(PmuCounters, counterThatIsClosedCountsNothing) {
  openAll();
  fds().brPred = -1;
  startPmuCounters(collector_, 0);
  stopPmuCounters(collector_, 0);
  EXPECT_TRUE(counts().brPred == 0 && counts().cpuCycles == 6);
}

TEST_F(PmuCounters, counterThatGivesHalfANumberCountsNothing) {
  openAll();
  fds().l1dCacheWb = fileWith(uint32_t{7});
  startPmuCounters(collector_, 0);
  stopPmuCounters(collector_, 0);
  EXPECT_EQ(counts().l1dCacheWb, 0U);
}

TEST_F(PmuCounters, failuresOfACounterHaveNoMessage) {
  openAll();
  fds().brPred = -1;
  stopPmuCounters(collector_, 0);
  EXPECT_TRUE(logRecords().empty());
}

// A CPU that no kernel has.
class PmuCountersOfNoCpu : public PmuCounters {
 protected:
  static constexpr int32_t kNoCpu = 99999;

  PmuCountersOfNoCpu() {
    collector_.pmuFd.resize(kNoCpu + 1);
    collector_.pmuCount.resize(kNoCpu + 1);
  }

  PmuFds& fdsOfNoCpu() { return collector_.pmuFd.at(kNoCpu); }
  PmuCounts& countsOfNoCpu() { return collector_.pmuCount.at(kNoCpu); }
};

TEST_F(PmuCountersOfNoCpu, areAllClosed) {
  fdsOfNoCpu() = {1, 2, 3, 4, 5, 6};
  openPmuCounters(collector_, kNoCpu);
  const PmuFds& fds = fdsOfNoCpu();
  EXPECT_TRUE(fds.l1dCache < 0 && fds.l1dCacheWb < 0 && fds.l2dCacheRefill < 0 &&
              fds.brMisPred < 0 && fds.brPred < 0 && fds.cpuCycles < 0);
}

TEST_F(PmuCountersOfNoCpu, countNothing) {
  countsOfNoCpu() = {91, 92, 93, 94, 95, 96};
  startPmuCounters(collector_, kNoCpu);
  stopPmuCounters(collector_, kNoCpu);
  EXPECT_TRUE(countsOfNoCpu().l1dCache == 0 && countsOfNoCpu().cpuCycles == 0);
}

TEST_F(PmuCountersOfNoCpu, areOpenedFromTheFirstEventOn) {
  openPmuCounters(collector_, kNoCpu);
  EXPECT_EQ(collector_.pmuAttr.config, 0x04U);
}

TEST_F(PmuCounters, ofARunWithoutPmuAreNotPrepared) {
  initPmu(collector_);
  EXPECT_EQ(collector_.pmuAttr.size, 0U);
}

}  // namespace
}  // namespace tarnwick
