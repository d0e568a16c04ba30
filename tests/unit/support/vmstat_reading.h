#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "sysstat/vmstat.h"

namespace tarnwick::vmstat_reading {

inline void addCounters(std::string_view text, VmstatMap& map) {
  VmstatPlaces places;
  parseVmstat(text, map, places);
}

inline VmstatMap countersOf(std::string_view text) {
  VmstatMap map;
  addCounters(text, map);
  return map;
}

// What sscanf makes of each line that strtok finds, with one buffer and one value for all of them.
inline void addSscanfCounters(std::string text, VmstatMap& map) {
  constexpr size_t kLongestName = 39;
  int64_t value = 0;
  for (char* line = strtok(text.data(), "\n"); line != nullptr; line = strtok(nullptr, "\n")) {
    std::vector<char> name(strlen(line) + 1);
    sscanf(line, "%s %ld", name.data(), &value);
    map[std::string(name.data()).substr(0, kLongestName)] = value;
  }
}

inline VmstatMap sscanfCountersOf(const std::string& text) {
  VmstatMap map;
  addSscanfCounters(text, map);
  return map;
}

}  // namespace tarnwick::vmstat_reading
