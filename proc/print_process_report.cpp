#include "proc/print_process_report.h"

#include "collector/stats_collector.h"
#include "proc/process_delta.h"
#include "proc/process_report.h"

namespace tarnwick {

void printProcessReport(StatsCollector& collector) {
  if (!collector.procCpu) {
    return;
  }
  // `--min-cpu=-1` is stored as a pattern of 32 bits and means minus one here.
  const int64_t minCpuMs = static_cast<int32_t>(collector.minCpuMs);
  const auto columns =
      collector.targetPid == -1 ? ProcessColumns::kProcesses : ProcessColumns::kThreads;
  formatProcessReport(
      subtractProcesses(collector.processesBefore, collector.processesAfter, minCpuMs), columns,
      collector);
}

}  // namespace tarnwick
