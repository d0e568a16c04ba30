#include "sysstat/reclaim.h"

#include <algorithm>
#include <span>

#include "sysstat/counter_math.h"
#include "sysstat/lines.h"

namespace tarnwick {

namespace {

using Names = std::span<const std::string_view>;

constexpr std::string_view kAllocStalls[] = {"allocstall"};
constexpr std::string_view kAllocStallsByZone[] = {"allocstall_dma", "allocstall_dma32",
                                                   "allocstall_normal", "allocstall_movable",
                                                   "allocstall_device"};
constexpr std::string_view kCompactStalls[] = {"compact_stall"};
constexpr std::string_view kKswapdScansByZone[] = {"pgscan_kswapd_normal", "pgscan_kswapd_high",
                                                   "pgscan_kswapd_dma"};
constexpr std::string_view kKswapdScans[] = {"pgscan_kswapd"};
constexpr std::string_view kKswapdStealsByZone[] = {"pgsteal_kswapd_normal", "pgsteal_kswapd_high",
                                                    "pgsteal_kswapd_dma"};
constexpr std::string_view kKswapdSteals[] = {"pgsteal_kswapd"};
constexpr std::string_view kDirectScansByZone[] = {"pgscan_direct_normal", "pgscan_direct_high",
                                                   "pgscan_direct_dma"};
constexpr std::string_view kDirectScans[] = {"pgscan_direct"};
constexpr std::string_view kDirectStealsByZone[] = {"pgsteal_direct_normal", "pgsteal_direct_high",
                                                    "pgsteal_direct_dma"};
constexpr std::string_view kDirectSteals[] = {"pgsteal_direct"};

bool isOneOf(std::string_view name, Names names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

int64_t sum(VmstatMap& map, Names names) {
  int64_t total = 0;
  for (const std::string_view name : names) {
    total = add(total, map[name]);
  }
  return total;
}

}  // namespace

ReclaimNaming& ReclaimNaming::operator|=(const ReclaimNaming& other) {
  allocStallsInOne |= other.allocStallsInOne;
  kswapdScansByZone |= other.kswapdScansByZone;
  kswapdStealsByZone |= other.kswapdStealsByZone;
  directScansByZone |= other.directScansByZone;
  directStealsByZone |= other.directStealsByZone;
  return *this;
}

ReclaimNaming parseReclaimNaming(std::string_view text) {
  ReclaimNaming naming;
  forEachLine(text, [&naming](std::string_view line) {
    // Most lines are told by their first letter to be of no interest.
    if (line.front() > ' ' && line.front() != 'a' && line.front() != 'p') {
      return;
    }
    const std::string_view name = vmstatName(line);
    naming.allocStallsInOne |= isOneOf(name, kAllocStalls);
    naming.kswapdScansByZone |= isOneOf(name, kKswapdScansByZone);
    naming.kswapdStealsByZone |= isOneOf(name, kKswapdStealsByZone);
    naming.directScansByZone |= isOneOf(name, kDirectScansByZone);
    naming.directStealsByZone |= isOneOf(name, kDirectStealsByZone);
  });
  return naming;
}

ReclaimFigures subtractReclaim(VmstatMap& before, VmstatMap& after, const ReclaimNaming& naming) {
  const auto gained = [&](Names names) {
    return difference(sum(after, names), sum(before, names));
  };
  return {
      .allocStalls =
          gained(naming.allocStallsInOne ? Names(kAllocStalls) : Names(kAllocStallsByZone)),
      .compactStalls = gained(kCompactStalls),
      .kswapdScans =
          gained(naming.kswapdScansByZone ? Names(kKswapdScansByZone) : Names(kKswapdScans)),
      .kswapdSteals =
          gained(naming.kswapdStealsByZone ? Names(kKswapdStealsByZone) : Names(kKswapdSteals)),
      .directScans =
          gained(naming.directScansByZone ? Names(kDirectScansByZone) : Names(kDirectScans)),
      .directSteals =
          gained(naming.directStealsByZone ? Names(kDirectStealsByZone) : Names(kDirectSteals)),
  };
}

}  // namespace tarnwick
