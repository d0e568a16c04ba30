#pragma once

#include <vector>

#include "proc/process_record.h"

namespace tarnwick {

// What the processes or threads of `after` used since `before`: one record for each whose total is
// above `minCpuMs` (milliseconds), busiest first by `total` and by ascending id where that is
// equal. In these records
//   - utime, stime, total, runNs and waitNs are milliseconds (the nanoseconds cut toward zero),
//   - minFaults, majFaults and switches are counts,
//   - ppid, numThreads and blkioTicks stay 0.
// An id that `before` does not know counts from 0: its whole life falls into the interval. One that
// only `before` knows has ended and is left out. An id that was given to another process in between
// is not noticed; its figures may be negative. Pure.
std::vector<android::sp<ProcessRecord>> subtractProcesses(const ProcessMap& before,
                                                          const ProcessMap& after,
                                                          int64_t minCpuMs);

}  // namespace tarnwick
