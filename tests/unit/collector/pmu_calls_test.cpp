// The system calls by which the counters are opened, started, stopped and read, on a kernel that
// has them all. This program of tests is that kernel: it defines syscall and ioctl itself.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <linux/perf_event.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "collector/stats_collector.h"
#include "proc/pmu.h"

namespace {

struct Kernel {
  std::vector<std::string> calls;
  std::vector<perf_event_attr> attrs;
  std::set<uint64_t> refused;  // event numbers that the processor does not have
  std::vector<int> opened;     // in the order of the opens
};

Kernel& kernel() {
  static Kernel instance;
  return instance;
}

// The descriptors of the counters, named by the order of their opening; others as they are.
std::string descriptorName(long fd) {
  for (size_t i = 0; i < kernel().opened.size(); ++i) {
    if (kernel().opened[i] == fd) {
      return "#" + std::to_string(i);
    }
  }
  return std::to_string(fd);
}

long openCounter(const perf_event_attr& attr, int pid, int cpu, int group, unsigned long flags) {
  kernel().attrs.push_back(attr);
  kernel().calls.push_back("open " + std::to_string(attr.config) + " pid " + std::to_string(pid) +
                           " cpu " + std::to_string(cpu) + " group " + descriptorName(group) +
                           " flags " + std::to_string(flags));
  if (kernel().refused.contains(attr.config)) {
    errno = ENOENT;
    return -1;
  }
  // A file that holds the count: ten times the event's number.
  const int fd = memfd_create("counter", MFD_CLOEXEC);
  const uint64_t count = attr.config * 10;
  EXPECT_EQ(pwrite(fd, &count, sizeof count, 0), static_cast<ssize_t>(sizeof count));
  kernel().opened.push_back(fd);
  return fd;
}

}  // namespace

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" long syscall(long number, ...) noexcept {
  va_list arguments;
  va_start(arguments, number);
  long a[6];
  for (long& argument : a) {
    argument = va_arg(arguments, long);
  }
  va_end(arguments);
  if (number == SYS_perf_event_open) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): so are the arguments of a system call
    return openCounter(*reinterpret_cast<const perf_event_attr*>(a[0]), static_cast<int>(a[1]),
                       static_cast<int>(a[2]), static_cast<int>(a[3]),
                       static_cast<unsigned long>(a[4]));
  }
  using Syscall = long (*)(long, ...);
  static const auto real = reinterpret_cast<Syscall>(dlsym(RTLD_NEXT, "syscall"));
  return real(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  const long argument = va_arg(arguments, int);
  va_end(arguments);
  const char* const name = request == PERF_EVENT_IOC_RESET     ? "reset"
                           : request == PERF_EVENT_IOC_ENABLE  ? "enable"
                           : request == PERF_EVENT_IOC_DISABLE ? "disable"
                                                               : "other";
  kernel().calls.push_back(std::string(name) + " " + descriptorName(fd) + " " +
                           std::to_string(argument));
  return 0;
}

namespace tarnwick {
namespace {

// Flag 8 is PERF_FLAG_FD_CLOEXEC, see perf_event_open(2).
using Calls = std::vector<std::string>;

class PmuCalls : public testing::Test {
 protected:
  PmuCalls() { kernel() = Kernel(); }
  ~PmuCalls() override {
    for (const int fd : kernel().opened) {
      close(fd);
    }
  }

  Calls callsOf(void (*operation)(StatsCollector&, int32_t)) {
    kernel().calls.clear();
    operation(collector_, 0);
    return kernel().calls;
  }

  void prepare() { collector_.pmuAttr = pmuEventAttr(); }
  const PmuCounts& counts() const { return collector_.pmuCount.at(0); }

  StatsCollector collector_;
};

TEST_F(PmuCalls, openTakesTheSixEventsInOrderWithTheirGroups) {
  prepare();
  EXPECT_EQ(callsOf(openPmuCounters), (Calls{"open 4 pid -1 cpu 0 group -1 flags 8",   //
                                             "open 21 pid -1 cpu 0 group #0 flags 8",  //
                                             "open 23 pid -1 cpu 0 group #0 flags 8",  //
                                             "open 16 pid -1 cpu 0 group -1 flags 8",  //
                                             "open 18 pid -1 cpu 0 group #3 flags 8",  //
                                             "open 17 pid -1 cpu 0 group -1 flags 8"}));
}

TEST_F(PmuCalls, everyOpenHasTheSameAttributesButForTheEvent) {
  prepare();
  openPmuCounters(collector_, 0);
  for (perf_event_attr attr : kernel().attrs) {
    perf_event_attr expected = pmuEventAttr();
    expected.config = attr.config;
    EXPECT_EQ(memcmp(&attr, &expected, sizeof attr), 0) << attr.config;
  }
}

TEST_F(PmuCalls, openStopsAtAMissingFirstEvent) {
  prepare();
  kernel().refused = {0x04};
  EXPECT_EQ(callsOf(openPmuCounters), Calls{"open 4 pid -1 cpu 0 group -1 flags 8"});
}

TEST_F(PmuCalls, openGoesOnPastAnotherMissingEvent) {
  prepare();
  kernel().refused = {0x10};
  EXPECT_EQ(
      callsOf(openPmuCounters),
      (Calls{"open 4 pid -1 cpu 0 group -1 flags 8", "open 21 pid -1 cpu 0 group #0 flags 8",
             "open 23 pid -1 cpu 0 group #0 flags 8", "open 16 pid -1 cpu 0 group -1 flags 8",
             // Its leader is missing, so it is opened without one.
             "open 18 pid -1 cpu 0 group -1 flags 8", "open 17 pid -1 cpu 0 group -1 flags 8"}));
}

TEST_F(PmuCalls, startResetsAllAndThenEnablesAll) {
  prepare();
  openPmuCounters(collector_, 0);
  EXPECT_EQ(callsOf(startPmuCounters),
            (Calls{"reset #0 0", "reset #1 0", "reset #2 0", "reset #3 0", "reset #4 0",
                   "reset #5 0", "enable #0 0", "enable #1 0", "enable #2 0", "enable #3 0",
                   "enable #4 0", "enable #5 0"}));
}

TEST_F(PmuCalls, stopDisablesAll) {
  prepare();
  openPmuCounters(collector_, 0);
  EXPECT_EQ(callsOf(stopPmuCounters), (Calls{"disable #0 0", "disable #1 0", "disable #2 0",
                                             "disable #3 0", "disable #4 0", "disable #5 0"}));
}

TEST_F(PmuCalls, eachCountIsThatOfItsEvent) {
  prepare();
  openPmuCounters(collector_, 0);
  stopPmuCounters(collector_, 0);
  EXPECT_EQ(counts().l1dCache, 0x04 * 10U);
  EXPECT_EQ(counts().l1dCacheWb, 0x15 * 10U);
  EXPECT_EQ(counts().l2dCacheRefill, 0x17 * 10U);
  EXPECT_EQ(counts().brMisPred, 0x10 * 10U);
  EXPECT_EQ(counts().brPred, 0x12 * 10U);
  EXPECT_EQ(counts().cpuCycles, 0x11 * 10U);
}

TEST_F(PmuCalls, startTriesClosedCountersAgainAndLeavesThemDisabled) {
  prepare();
  const Calls calls = callsOf(startPmuCounters);
  EXPECT_EQ(calls.size(), 6U);
  EXPECT_EQ(calls.back(), "open 17 pid -1 cpu 0 group -1 flags 8");
}

TEST_F(PmuCalls, stopTriesClosedCountersAgainAndReadsNothing) {
  prepare();
  EXPECT_EQ(callsOf(stopPmuCounters).size(), 6U);
  EXPECT_EQ(counts().l1dCache, 0U);
}

TEST_F(PmuCalls, countersThatOpenedLateCountFromTheNextStart) {
  prepare();
  kernel().refused = {0x04};
  startPmuCounters(collector_, 0);
  kernel().refused.clear();
  stopPmuCounters(collector_, 0);
  EXPECT_EQ(callsOf(startPmuCounters).front(), "reset #0 0");
}

}  // namespace
}  // namespace tarnwick
