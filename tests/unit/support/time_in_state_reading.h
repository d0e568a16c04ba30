#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "proc/time_in_state.h"

namespace tarnwick::time_in_state_reading {

inline FreqMap statesOf(std::string_view text) {
  FreqMap map;
  parseTimeInState(text, map);
  return map;
}

// What sscanf makes of each line that strtok finds.
inline FreqMap sscanfStatesOf(std::string text) {
  FreqMap map;
  for (char* line = strtok(text.data(), "\n"); line != nullptr; line = strtok(nullptr, "\n")) {
    int64_t frequency = 0;
    int64_t time = 0;
    if (sscanf(line, "%ld %ld", &frequency, &time) == 2) {
      map[frequency] = time;
    }
  }
  return map;
}

}  // namespace tarnwick::time_in_state_reading
