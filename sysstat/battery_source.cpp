#include <array>

#include "collector/stats_collector.h"
#include "sysstat/battery.h"

namespace tarnwick {

void StatsCollector::readBatteryTemp() {
  std::array<char, 512> text;
  parseBatteryTemp(readKernelText("/sys/class/power_supply/battery/temp", text), batteryTemp);
}

}  // namespace tarnwick
