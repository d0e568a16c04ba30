#include "collector/stats_collector.h"
#include "proc/print_cpu_report.h"
#include "proc/print_process_report.h"

namespace tarnwick {

// The sections of a report, in the order that readers of it rely on.
void StatsCollector::printReport() {
  printProcessReport(*this);
  printCpuReport(*this);
}

}  // namespace tarnwick
