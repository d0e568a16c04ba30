#include "collector/stats_collector.h"
#include "proc/print_cpu_report.h"
#include "proc/print_process_report.h"
#include "trace/print_io_report.h"

namespace tarnwick {

// The sections of a report, in the order that readers of it rely on.
void StatsCollector::printReport() {
  printProcessReport(*this);
  printCpuReport(*this);
  printIoReport(*this);
  printMemoryReport();
  output("body_temp=%ld\n", batteryTemp);
  printNetworkReport();
}

}  // namespace tarnwick
