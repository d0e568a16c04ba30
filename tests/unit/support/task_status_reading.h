#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

namespace tarnwick::task_status_reading {

inline std::optional<int32_t> sscanfTgidOf(const std::string& line) {
  if (strncmp(line.c_str(), "Tgid:", strlen("Tgid:")) != 0) {
    return std::nullopt;
  }
  int32_t tgid = -1;
  sscanf(line.c_str(), "Tgid:\t%d", &tgid);
  return tgid;
}

}  // namespace tarnwick::task_status_reading
