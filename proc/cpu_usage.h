#pragma once

#include "proc/cpu_times.h"
#include "sysstat/report_sink.h"

namespace tarnwick {

// How one CPU, or all of them together, spent an interval: milliseconds, and a share in per cent.
struct CpuUsage {
  int64_t user = 0;    // user and nice
  int64_t kernel = 0;  // system, irq and softirq
  int64_t idle = 0;
  int64_t iowait = 0;
  int64_t total = 0;
  int32_t perc = 0;  // user and kernel, of total

  // A CPU that did no work in the interval has no line in the report.
  bool worked() const;
};

// The use of a CPU between two samples, where `intervalMs` is as long as it can have been idle (for
// the sum of all CPUs: the interval times their number).
//
// The kernel's idle and iowait counters are not monotonic, and idle runs on while the clock of the
// interval stands still in a suspend. Idle time below zero or above the interval is therefore
// replaced by what the rest leaves of the interval, and the total is then the interval itself, as
// it is when iowait went backwards (which counts as 0). A total of 0 gives a perc of 0, or
// the end of its range when there was work. Pure.
CpuUsage cpuUsage(const CpuTimes& before, const CpuTimes& after, int64_t intervalMs);

// Prints the line of CPU `cpu`, without a line end: the caller adds the PMU figures or "\n".
void formatCpuUsage(int32_t cpu, const CpuUsage& usage, ReportSink& sink);

// The same for the sum of all CPUs.
void formatAggregateUsage(const CpuUsage& usage, ReportSink& sink);

}  // namespace tarnwick
