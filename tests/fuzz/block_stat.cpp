// /sys/block/DISK/stat

#include "tests/fuzz/inputs.h"
#include "tests/unit/support/block_stat_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  const std::string text = kernelTextOf(input);
  expectSame(parseBlockStat(LoneText(text)), block_stat_reading::sscanfStatsOf(text));
}

}  // namespace tarnwick
