#include <array>

#include "collector/stats_collector.h"

namespace tarnwick {

void StatsCollector::readNetDev(NetDevMap& map) {
  std::array<char, 4096> text;
  parseNetDev(readKernelText("/proc/net/dev", text), map);
}

void StatsCollector::printNetworkReport() {
  formatNetDev(netDevBefore, netDevAfter, *this);
}

}  // namespace tarnwick
