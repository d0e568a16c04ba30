#include "proc/read_cpu.h"

#include <array>
#include <cstdio>

#include "collector/stats_collector.h"

namespace tarnwick {

namespace {

// No /proc/stat comes near this; a file that does is cut rather than allowed to eat the memory.
constexpr size_t kMostStatBytes = size_t{4} << 20;

std::string_view readStat(StatsCollector& collector) {
  std::vector<char>& text = collector.statText;
  for (;;) {
    const std::string_view read = collector.readKernelText("/proc/stat", text);
    // A full buffer may hide more. The larger one is kept, so this happens once in a run, if at
    // all.
    if (read.size() < text.size() || text.size() >= kMostStatBytes) {
      return read;
    }
    text.resize(2 * text.size());
  }
}

}  // namespace

void readCpuTimes(StatsCollector& collector, const char* key, CpuTimes& out) {
  parseCpuTimes(readStat(collector), key, out);
}

void readCpuFreqStats(StatsCollector& collector, std::vector<FreqMap>& maps) {
  for (int32_t cpu = 0; cpu < collector.cpuCount; ++cpu) {
    std::array<char, 80> path;
    snprintf(path.data(), path.size(), "/sys/devices/system/cpu/cpu%d/cpufreq/stats/time_in_state",
             cpu);
    std::array<char, 4096> text;
    parseTimeInState(collector.readKernelText(path.data(), text), maps[static_cast<size_t>(cpu)]);
  }
}

}  // namespace tarnwick
