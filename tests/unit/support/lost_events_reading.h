#pragma once

#include <cinttypes>
#include <cstdio>
#include <optional>
#include <string>

#include "trace/lost_events.h"

namespace tarnwick::lost_events_reading {

inline std::optional<LostEvents> sscanfLostEventsOf(const std::string& line) {
  uint64_t count = 0;
  int end = -1;
  sscanf(line.c_str(), "CPU:%*d [LOST %" SCNu64 " EVENTS]%n", &count, &end);
  if (end >= 0) {
    return LostEvents{count};
  }
  sscanf(line.c_str(), "CPU:%*d [LOST EVENTS]%n", &end);
  if (end >= 0) {
    return LostEvents{};
  }
  return std::nullopt;
}

}  // namespace tarnwick::lost_events_reading
