#include "trace/io_report.h"

#include <string_view>

#include "sysstat/counter_math.h"

namespace tarnwick {

void formatIo(const BlockStats& before, const BlockStats& after, VmstatMap& vmstatBefore,
              VmstatMap& vmstatAfter, ReportSink& sink) {
  const auto gained = [&](BlockField field) { return difference(after[field], before[field]); };
  // Two sectors a kilobyte; the division cuts toward zero on both sides of it.
  const auto gainedKb = [&](BlockField field) { return gained(field) / 2; };
  const auto counted = [&](std::string_view name) {
    return difference(vmstatAfter[name], vmstatBefore[name]);
  };
  sink.output(
      "rw_reqs=%ld/%ld rw_merges=%ld/%ld rw_kb=%ld/%ld rw_ms=%ld/%ld total_ms=%ld "
      "total_queue_ms=%ld swap_inout_kb=%ld/%ld maj_flt=%ld\n",
      gained(kReadsCompleted), gained(kWritesCompleted), gained(kReadsMerged),
      gained(kWritesMerged), gainedKb(kSectorsRead), gainedKb(kSectorsWritten), gained(kReadMs),
      gained(kWriteMs), gained(kIoMs), gained(kQueueMs), counted("pswpin"), counted("pswpout"),
      counted("pgmajfault"));
}

}  // namespace tarnwick
