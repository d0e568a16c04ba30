#pragma once

#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <array>
#include <cstdint>

#include "sysstat/flat_map.h"

namespace tarnwick {

// One sample of a process, or of a thread where one process is watched (`--proc`). The same class
// holds the difference of two samples; its units are then those of subtractProcesses.
//
// A sample is never changed after it is stored in a map, so two maps may share it. Records live on
// the heap and in strong pointers only: RefBase logs a stack trace when one dies that no pointer
// ever held.
struct ProcessRecord : android::RefBase {
  // A command name as the kernel prints it: 15 characters for ordinary tasks, up to 63 for kernel
  // workers. What does not fit is cut; the last byte stays NUL.
  using Name = std::array<char, 40>;

  // Fields of /proc/PID/stat, numbered as in proc(5).
  int32_t id = 0;          // 1: the process id, or the thread id
  Name name{};             // 2: comm, without its parentheses
  int32_t ppid = 0;        // 4
  int64_t minFaults = 0;   // 10, counter
  int64_t majFaults = 0;   // 12, counter
  int64_t utime = 0;       // 14, counter, clock ticks
  int64_t stime = 0;       // 15, counter, clock ticks
  int64_t total = 0;       // utime + stime
  int64_t numThreads = 0;  // 20, gauge
  int64_t blkioTicks = 0;  // 42, counter, clock ticks: delayacct_blkio_ticks

  // Fields of /proc/PID/schedstat; 0 unless threads are sampled.
  int64_t runNs = 0;     // 1, counter: time on a CPU
  int64_t waitNs = 0;    // 2, counter: time on a run queue
  int64_t switches = 0;  // 3, counter: time slices run
};

// Process or thread id to sample, ascending.
using ProcessMap = FlatMap<int32_t, android::sp<ProcessRecord>>;

}  // namespace tarnwick
