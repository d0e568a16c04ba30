#include "collector/stats_collector.h"

#include <unistd.h>
#include <utils/SystemClock.h>

#include <algorithm>

namespace tarnwick {

StatsCollector* gCollector = nullptr;

bool hasPreviousSample = false;

StatsCollector::StatsCollector()
    : cpuCount(static_cast<int32_t>(sysconf(_SC_NPROCESSORS_CONF))),
      lastPagetypeinfoTime(android::elapsedRealtime()) {
  const auto cpus = static_cast<size_t>(std::max(cpuCount, 0));
  cpuBefore.resize(cpus + 1);
  cpuAfter.resize(cpus + 1);
  freqBefore.resize(cpus);
  freqAfter.resize(cpus);
  pmuFd.resize(cpus);
  pmuCount.resize(cpus);
  // Room for the line of every CPU at its longest, and for an ordinary rest.
  statText.resize(size_t{16} * 1024 + cpus * 256);
}

}  // namespace tarnwick
