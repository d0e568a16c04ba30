#include "trace/lost_events.h"

#include "sysstat/scan.h"

namespace tarnwick {

std::optional<LostEvents> parseLostEvents(std::string_view line) {
  Scanner scan(line);
  if (!scan.literal("CPU:") || !scan.skipNumber()) {
    return std::nullopt;
  }
  scan.space();
  if (!scan.literal("[LOST")) {
    return std::nullopt;
  }
  LostEvents lost;
  Scanner afterNumber = scan;
  uint64_t count = 0;
  if (afterNumber.unsignedNumber(count)) {
    lost.count = count;
    scan = afterNumber;
  }
  scan.space();
  if (!scan.literal("EVENTS]")) {
    return std::nullopt;
  }
  return lost;
}

}  // namespace tarnwick
