#pragma once

#include "sysstat/report_sink.h"
#include "sysstat/vmstat.h"
#include "trace/block_stat.h"

namespace tarnwick {

// Prints the I/O line: what all disks together did between two samples, and the swap traffic and
// major faults of the same interval. The swap figures are the kernel's pages as they are. Counters
// that a map does not have are added to it with 0. Pure but for these and the sink.
void formatIo(const BlockStats& before, const BlockStats& after, VmstatMap& vmstatBefore,
              VmstatMap& vmstatAfter, ReportSink& sink);

}  // namespace tarnwick
