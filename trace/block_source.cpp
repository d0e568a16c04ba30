#include "trace/block_source.h"

#include <dirent.h>

#include <array>
#include <cstdio>
#include <memory>

#include "collector/stats_collector.h"

namespace tarnwick {

void findBlockDevices(StatsCollector& collector, const char* directory) {
  if (!collector.blockDeviceNames.empty()) {
    return;
  }
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(directory), closedir);
  if (entries == nullptr) {
    return;
  }
  while (const dirent* entry = readdir(entries.get())) {
    // Sysfs shows a disk here as a link to its device.
    if (entry->d_type == DT_LNK && isSampledDisk(entry->d_name)) {
      collector.blockDeviceNames.emplace_back(entry->d_name);
    }
  }
}

void readBlockStats(StatsCollector& collector, BlockStats& sums) {
  findBlockDevices(collector, "/sys/block/");
  sums = BlockStats{};
  for (const std::string& name : collector.blockDeviceNames) {
    std::array<char, 512> path;
    snprintf(path.data(), path.size(), "/sys/block/%s/stat", name.c_str());
    std::array<char, 512> text;
    addBlockStats(parseBlockStat(collector.readKernelText(path.data(), text)), sums);
  }
}

}  // namespace tarnwick
