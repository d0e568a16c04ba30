#include "proc/pmu.h"

#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "collector/stats_collector.h"

namespace tarnwick {

namespace {

int32_t openEvent(const perf_event_attr& attr, int32_t cpu, int32_t groupFd) {
  constexpr pid_t kEveryTask = -1;
  constexpr unsigned long kFlags = PERF_FLAG_FD_CLOEXEC;
  return static_cast<int32_t>(
      syscall(SYS_perf_event_open, &attr, kEveryTask, cpu, groupFd, kFlags));
}

void controlAll(const PmuFds& fds, unsigned long request) {
  for (const PmuEvent& event : kPmuEvents) {
    ioctl(fds.*event.fd, request, 0);
  }
}

}  // namespace

void initPmu(StatsCollector& collector) {
  if (!collector.pmu) {
    return;
  }
  collector.pmuAttr = pmuEventAttr();
  collector.writeKernelFile("/proc/sys/kernel/perf_event_paranoid", "-1");
  for (int32_t cpu = 0; cpu < collector.cpuCount; ++cpu) {
    openPmuCounters(collector, cpu);
  }
}

void openPmuCounters(StatsCollector& collector, int32_t cpu) {
  PmuFds& fds = collector.pmuFd[static_cast<size_t>(cpu)];
  fds = PmuFds{};
  for (const PmuEvent& event : kPmuEvents) {
    collector.pmuAttr.config = event.config;
    const int32_t groupFd = event.leader == nullptr ? -1 : fds.*event.leader;
    fds.*event.fd = openEvent(collector.pmuAttr, cpu, groupFd);
    if (fds.l1dCache < 0) {
      return;
    }
  }
}

void startPmuCounters(StatsCollector& collector, int32_t cpu) {
  const PmuFds& fds = collector.pmuFd[static_cast<size_t>(cpu)];
  if (fds.l1dCache >= 0) {
    controlAll(fds, PERF_EVENT_IOC_RESET);
    controlAll(fds, PERF_EVENT_IOC_ENABLE);
  } else {
    openPmuCounters(collector, cpu);
  }
  collector.pmuCount[static_cast<size_t>(cpu)] = PmuCounts{};
}

void stopPmuCounters(StatsCollector& collector, int32_t cpu) {
  const PmuFds& fds = collector.pmuFd[static_cast<size_t>(cpu)];
  if (fds.l1dCache < 0) {
    openPmuCounters(collector, cpu);
    return;
  }
  controlAll(fds, PERF_EVENT_IOC_DISABLE);
  PmuCounts& counts = collector.pmuCount[static_cast<size_t>(cpu)];
  for (const PmuEvent& event : kPmuEvents) {
    uint64_t count = 0;
    if (read(fds.*event.fd, &count, sizeof count) == sizeof count) {
      counts.*event.count = count;
    }
  }
}

}  // namespace tarnwick
