// /proc/vmstat

#include <initializer_list>

#include "sysstat/reclaim.h"
#include "tests/fuzz/inputs.h"
#include "tests/unit/support/vmstat_reading.h"

namespace tarnwick {

namespace {

// Whether the text has even one of the counters.
bool hasOneOf(const VmstatMap& counters, std::initializer_list<std::string_view> names) {
  return std::any_of(names.begin(), names.end(),
                     [&](std::string_view name) { return counters.find(name) != counters.end(); });
}

}  // namespace

void takeInput(std::string_view input) {
  const std::string text = kernelTextOf(input);
  const VmstatMap counters = vmstat_reading::sscanfCountersOf(text);
  expectSame(vmstat_reading::countersOf(LoneText(text)), counters);
  // Later texts have other lines in the places of the first one's.
  VmstatMap map = vmstat_reading::sscanfCountersOf(text.substr(0, text.size() / 2));
  VmstatMap known;
  VmstatPlaces places;
  parseVmstat(LoneText(text.substr(0, text.size() / 2)), known, places);
  for (const size_t start : {text.size() / 3, size_t{0}, text.size() / 5}) {
    vmstat_reading::addSscanfCounters(text.substr(start), map);
    parseVmstat(LoneText(text.substr(start)), known, places);
    expectSame(known, map);
  }
  const ReclaimNaming naming = parseReclaimNaming(LoneText(text));
  expectSame(naming.allocStallsInOne, hasOneOf(counters, {"allocstall"}));
  expectSame(
      naming.kswapdScansByZone,
      hasOneOf(counters, {"pgscan_kswapd_normal", "pgscan_kswapd_high", "pgscan_kswapd_dma"}));
  expectSame(
      naming.kswapdStealsByZone,
      hasOneOf(counters, {"pgsteal_kswapd_normal", "pgsteal_kswapd_high", "pgsteal_kswapd_dma"}));
  expectSame(
      naming.directScansByZone,
      hasOneOf(counters, {"pgscan_direct_normal", "pgscan_direct_high", "pgscan_direct_dma"}));
  expectSame(
      naming.directStealsByZone,
      hasOneOf(counters, {"pgsteal_direct_normal", "pgsteal_direct_high", "pgsteal_direct_dma"}));
}

}  // namespace tarnwick
