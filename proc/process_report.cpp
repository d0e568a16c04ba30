#include "proc/process_report.h"

namespace tarnwick {

void formatProcessReport(const std::vector<android::sp<ProcessRecord>>& deltas,
                         ProcessColumns columns, ReportSink& sink) {
  for (const auto& delta : deltas) {
    if (columns == ProcessColumns::kProcesses) {
      sink.output("%-5d %-18s: total=%-4ld utime=%-4ld stime=%-4ld min_flt=%-5ld maj_flt=%-4ld\n",
                  delta->id, delta->name.data(), delta->total, delta->utime, delta->stime,
                  delta->minFaults, delta->majFaults);
    } else {
      sink.output(
          "%-5d %-18s: total=%-4ld utime=%-4ld stime=%-4ld min_flt=%-5ld maj_flt=%-4ld "
          "rt=%-4lld wt=%-4lld switches=%-4ld\n",
          delta->id, delta->name.data(), delta->total, delta->utime, delta->stime, delta->minFaults,
          delta->majFaults, static_cast<long long>(delta->runNs),
          static_cast<long long>(delta->waitNs), delta->switches);
    }
  }
}

}  // namespace tarnwick
