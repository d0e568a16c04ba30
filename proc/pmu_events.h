#pragma once

#include <linux/perf_event.h>

#include <array>
#include <cstdint>

#include "sysstat/report_sink.h"

namespace tarnwick {

// The six hardware events that are counted on every CPU, by their names in the Armv8 architecture's
// list of common PMU events.

// One CPU's perf descriptors; negative where an event could not be opened.
struct PmuFds {
  int32_t l1dCache = -1;
  int32_t l1dCacheWb = -1;
  int32_t l2dCacheRefill = -1;
  int32_t brMisPred = -1;
  int32_t cpuCycles = -1;
  int32_t brPred = -1;
};

// One CPU's counts of one measurement. A count that could not be read is 0.
struct PmuCounts {
  uint64_t l1dCache = 0;
  uint64_t l1dCacheWb = 0;
  uint64_t l2dCacheRefill = 0;
  uint64_t brMisPred = 0;
  uint64_t brPred = 0;
  uint64_t cpuCycles = 0;  // read with the others, printed nowhere

  PmuCounts& operator+=(const PmuCounts& other);
};

struct PmuEvent {
  uint64_t config;             // the event's number in the architecture
  int32_t PmuFds::*fd;         // where its descriptor is kept
  uint64_t PmuCounts::*count;  // where its count is kept
  int32_t PmuFds::*leader;     // the event that its group is built around; null for a leader
};

// In the order in which they are opened, reset, enabled, disabled and read.
inline constexpr std::array<PmuEvent, 6> kPmuEvents = {{
    // Data cache accesses, and the misses among them.
    {0x04, &PmuFds::l1dCache, &PmuCounts::l1dCache, nullptr},
    {0x15, &PmuFds::l1dCacheWb, &PmuCounts::l1dCacheWb, &PmuFds::l1dCache},
    {0x17, &PmuFds::l2dCacheRefill, &PmuCounts::l2dCacheRefill, &PmuFds::l1dCache},
    // Branches, and the mispredicted among them.
    {0x10, &PmuFds::brMisPred, &PmuCounts::brMisPred, nullptr},
    {0x12, &PmuFds::brPred, &PmuCounts::brPred, &PmuFds::brMisPred},
    {0x11, &PmuFds::cpuCycles, &PmuCounts::cpuCycles, nullptr},
}};

// The attributes of every open; `config` is then set for each event. A raw event that starts
// disabled and leaves the hypervisor out, whose read gives the count alone. The size is that of the
// structure's version 5, which every kernel since 4.1 takes. Pure; see
// perf_event_open(2).
perf_event_attr pmuEventAttr();

// What a CPU's counts say.
struct PmuFigures {
  uint64_t cacheRefs = 0;
  double cacheHitPercent = 0;  // 0 without references
  uint64_t branches = 0;
  double branchHitPercent = 0;  // 0 without branches
};

PmuFigures pmuFigures(const PmuCounts& counts);

// Prints the figures as the rest of a CPU's line, with its line end.
void formatPmuCounts(const PmuCounts& counts, ReportSink& sink);

}  // namespace tarnwick
