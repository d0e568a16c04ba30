#include "trace/print_io_report.h"

#include "collector/stats_collector.h"
#include "trace/inode_map.h"
#include "trace/io_report.h"
#include "trace/page_cache_report.h"
#include "trace/trace_state.h"

namespace tarnwick {

void printIoReport(StatsCollector& collector) {
  formatIo(collector.blockBefore, collector.blockAfter, collector.vmstatBefore,
           collector.vmstatAfter, collector);
  if (collector.blockDump) {
    loadInodeMap(collector);
    formatPageCache(gPageCacheCounts, collector.inodePaths, collector);
  }
}

}  // namespace tarnwick
