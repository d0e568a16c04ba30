#pragma once

#include <cstdint>
#include <vector>

#include "proc/process_record.h"
#include "sysstat/report_sink.h"

namespace tarnwick {

enum class ProcessColumns {
  kProcesses,  // CPU time and page faults
  kThreads,    // the same, and the scheduler's run time, wait time and time slices
};

// Prints one line for each record of subtractProcesses, in the order in which they come. Pure but
// for the sink.
void formatProcessReport(const std::vector<android::sp<ProcessRecord>>& deltas,
                         ProcessColumns columns, ReportSink& sink);

}  // namespace tarnwick
