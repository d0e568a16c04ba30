#include "proc/process_delta.h"

#include <algorithm>

#include "sysstat/counter_math.h"

namespace tarnwick {

namespace {

android::sp<ProcessRecord> subtract(const ProcessRecord& before, const ProcessRecord& after) {
  android::sp<ProcessRecord> delta = new ProcessRecord;
  delta->id = after.id;
  delta->name = after.name;
  delta->utime = ticksToMs(difference(after.utime, before.utime));
  delta->stime = ticksToMs(difference(after.stime, before.stime));
  delta->total = ticksToMs(difference(after.total, before.total));
  delta->minFaults = difference(after.minFaults, before.minFaults);
  delta->majFaults = difference(after.majFaults, before.majFaults);
  delta->runNs = nsToMs(difference(after.runNs, before.runNs));
  delta->waitNs = nsToMs(difference(after.waitNs, before.waitNs));
  delta->switches = difference(after.switches, before.switches);
  return delta;
}

}  // namespace

std::vector<android::sp<ProcessRecord>> subtractProcesses(const ProcessMap& before,
                                                          const ProcessMap& after,
                                                          int64_t minCpuMs) {
  const android::sp<ProcessRecord> unborn = new ProcessRecord;
  std::vector<android::sp<ProcessRecord>> deltas;
  // Both maps ascend by id, so one walk over them finds every partner.
  auto partner = before.begin();
  for (const auto& [id, record] : after) {
    while (partner != before.end() && partner->first < id) {
      ++partner;
    }
    const bool known = partner != before.end() && partner->first == id;
    const ProcessRecord& earlier = known ? *partner->second : *unborn;
    // Most processes are idle, and are nothing but this difference.
    if (ticksToMs(difference(record->total, earlier.total)) > minCpuMs) {
      deltas.push_back(subtract(earlier, *record));
    }
  }
  std::stable_sort(deltas.begin(), deltas.end(),
                   [](const auto& a, const auto& b) { return a->total > b->total; });
  return deltas;
}

}  // namespace tarnwick
