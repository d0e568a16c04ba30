#include "trace/block_stat.h"

#include "sysstat/counter_math.h"
#include "sysstat/scan.h"

namespace tarnwick {

BlockStats parseBlockStat(std::string_view text) {
  BlockStats stats{};
  Scanner scan(text);
  for (int64_t& field : stats) {
    if (!scan.number(field)) {
      break;
    }
  }
  return stats;
}

void addBlockStats(const BlockStats& disk, BlockStats& sums) {
  for (size_t field = 0; field < kBlockFields; ++field) {
    sums[field] = add(sums[field], disk[field]);
  }
}

bool isSampledDisk(std::string_view name) {
  return name.starts_with("sd") || name == "mmcblk0";
}

}  // namespace tarnwick
