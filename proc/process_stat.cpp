#include "proc/process_stat.h"

#include <algorithm>

#include "sysstat/counter_math.h"
#include "sysstat/scan.h"

namespace tarnwick {

namespace {

void scanProcessStat(std::string_view text, ProcessRecord& record) {
  Scanner scan(text);
  if (!scan.integer(record.id)) {
    return;
  }
  scan.space();
  std::string_view name;
  if (!scan.literal('(') || !scan.until(')', name)) {
    return;
  }
  std::copy_n(name.begin(), std::min(name.size(), record.name.size() - 1), record.name.begin());
  if (!scan.literal(')')) {
    return;
  }
  scan.space();
  char state = 0;
  // Field numbers stand beside what is skipped: 5 pgrp to 9 flags, 11 cminflt, 13 cmajflt,
  // 16 cutime to 19 nice, 21 itrealvalue to 41 policy.
  static_cast<void>(scan.character(state) && scan.integer(record.ppid) &&  //
                    scan.skipNumbers(5) && scan.number(record.minFaults) && scan.skipNumbers(1) &&
                    scan.number(record.majFaults) && scan.skipNumbers(1) &&
                    scan.number(record.utime) && scan.number(record.stime) &&  //
                    scan.skipNumbers(4) && scan.number(record.numThreads) && scan.skipNumbers(21) &&
                    scan.number(record.blkioTicks));
}

}  // namespace

void parseProcessStat(std::string_view text, ProcessRecord& record) {
  record.name.fill('\0');
  scanProcessStat(text, record);
  record.total = add(record.utime, record.stime);
}

int parseProcessSchedstat(std::string_view text, ProcessRecord& record) {
  Scanner scan(text);
  int fields = 0;
  for (int64_t* field : {&record.runNs, &record.waitNs, &record.switches}) {
    if (!scan.number(*field)) {
      break;
    }
    ++fields;
  }
  return fields;
}

}  // namespace tarnwick
