#include "trace/print_io_report.h"

#include "collector/stats_collector.h"
#include "trace/io_report.h"

namespace tarnwick {

void printIoReport(StatsCollector& collector) {
  formatIo(collector.blockBefore, collector.blockAfter, collector.vmstatBefore,
           collector.vmstatAfter, collector);
}

}  // namespace tarnwick
