#pragma once

#include <cstdint>
#include <string_view>

#include "sysstat/vmstat.h"

namespace tarnwick {

// How hard the kernel had to work for free memory in an interval: pages for scans and steals,
// events for stalls.
struct ReclaimFigures {
  int64_t allocStalls = 0;
  int64_t compactStalls = 0;
  int64_t kswapdScans = 0;
  int64_t kswapdSteals = 0;
  int64_t directScans = 0;
  int64_t directSteals = 0;
};

// Which counters a kernel keeps for each figure. Up to 4.7 it counts scans and steals by zone and
// allocation stalls in one counter; since 4.8 it is the other way round.
//
// This is told from the text of /proc/vmstat and never from a map: a report leaves entries behind
// under every name that it looked up.
struct ReclaimNaming {
  bool allocStallsInOne = false;
  bool kswapdScansByZone = false;
  bool kswapdStealsByZone = false;
  bool directScansByZone = false;
  bool directStealsByZone = false;

  // A kernel that was once seen to count in the older way goes on so, also when its file is gone or
  // cut short for a while.
  ReclaimNaming& operator|=(const ReclaimNaming& other);
};

// A figure for which the text has even one of the older names is of the older naming. Pure.
ReclaimNaming parseReclaimNaming(std::string_view text);

// Each figure is the sum of its counters in `after` less that in `before`. Counters that a map does
// not have are added to it with 0. Pure but for these.
ReclaimFigures subtractReclaim(VmstatMap& before, VmstatMap& after, const ReclaimNaming& naming);

}  // namespace tarnwick
