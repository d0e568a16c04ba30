#include "proc/print_cpu_report.h"

#include "collector/stats_collector.h"
#include "proc/cpu_usage.h"
#include "sysstat/counter_math.h"

namespace tarnwick {

namespace {

// The CPU lines have no line end of their own.
void endCpuLine(StatsCollector& collector, const PmuCounts& counts) {
  if (collector.pmu) {
    formatPmuCounts(counts, collector);
  } else {
    collector.output("\n");
  }
}

}  // namespace

void printCpuReport(StatsCollector& collector) {
  if (collector.cpuCount < 0) {
    return;
  }
  const int64_t intervalMs = difference(collector.uptimeAfter, collector.uptimeBefore);
  int64_t printed = 0;
  PmuCounts printedCounts;
  for (int32_t cpu = 0; cpu < collector.cpuCount; ++cpu) {
    const auto slot = static_cast<size_t>(cpu);
    const CpuUsage usage =
        cpuUsage(collector.cpuBefore[slot], collector.cpuAfter[slot], intervalMs);
    if (!usage.worked()) {
      continue;
    }
    ++printed;
    printedCounts += collector.pmuCount[slot];
    formatCpuUsage(cpu, usage, collector);
    endCpuLine(collector, collector.pmuCount[slot]);
    if (collector.freq) {
      formatTimeInState(collector.freqBefore[slot], collector.freqAfter[slot], collector);
    }
  }
  // All CPUs together can have been idle as long as those that have a line, not as long as all.
  formatAggregateUsage(cpuUsage(collector.cpuBefore.back(), collector.cpuAfter.back(),
                                multiply(printed, intervalMs)),
                       collector);
  endCpuLine(collector, printedCounts);
}

}  // namespace tarnwick
