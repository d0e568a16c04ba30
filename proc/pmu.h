#pragma once

#include <cstdint>

namespace tarnwick {

class StatsCollector;

// The hardware counters of `--pmu`. They are opened once at start-up, per CPU and for everything
// that runs there, and stay open to the end:
//
//   initPmu(collector);                    // once
//   startPmuCounters(collector, cpu);      // before snapshot, CPU by CPU
//   stopPmuCounters(collector, cpu);       // after snapshot, CPU by CPU
//
// Between a stop and the next start nothing is counted. No failure of a counter has a message: its
// count is 0. See perf_event_open(2).

// Allows system-wide counting by writing "-1" to /proc/sys/kernel/perf_event_paranoid, which is not
// put back, and opens the counters of every CPU. Does nothing without `--pmu`; ends the process
// with status 1 when the setting cannot be written.
void initPmu(StatsCollector& collector);

// Opens the six counters of one CPU. When the first cannot be opened (an offline CPU, no PMU) the
// others are not tried and count as closed. Child processes do not inherit the descriptors.
void openPmuCounters(StatsCollector& collector, int32_t cpu);

// Zeroes the CPU's counts, and resets and enables its counters, or tries to open them again where
// they are closed (they then count from the next start on).
void startPmuCounters(StatsCollector& collector, int32_t cpu);

// Disables the CPU's counters and reads them into its counts, or tries to open them again where
// they are closed.
void stopPmuCounters(StatsCollector& collector, int32_t cpu);

}  // namespace tarnwick
