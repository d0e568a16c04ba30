#pragma once

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "proc/cpu_times.h"

namespace tarnwick::cpu_times_reading {

inline constexpr CpuTimes kHeld = {-1, -2, -3, -4, -5, -6, -7};

// What the line gives over `kHeld`.
inline CpuTimes timesOf(std::string_view text, std::string_view key) {
  CpuTimes times = kHeld;
  parseCpuTimes(text, key, times);
  return times;
}

inline CpuTimes sscanfTimesOf(const std::string& text, const std::string& key,
                              CpuTimes times = kHeld) {
  // Zeros behind the text, as in the buffer of a kernel file.
  const std::string buffer = text + std::string(16, '\0');
  const char* const found = strstr(buffer.c_str(), key.c_str());
  const char* const start = found != nullptr ? found + key.size() : buffer.c_str() + key.size() - 1;
  sscanf(start, "%ld %ld %ld %ld %ld %ld %ld", &times.user, &times.nice, &times.system, &times.idle,
         &times.iowait, &times.irq, &times.softirq);
  return times;
}

}  // namespace tarnwick::cpu_times_reading
