#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/unit/support/reading.h"
#include "trace/kpi_line.h"

namespace tarnwick::kpi_reading {

inline std::string described(int32_t pid, const std::string& tag, int64_t timeMs,
                             const std::string& component) {
  return "pid=" + std::to_string(pid) + " tag=" + tag + " time=" + std::to_string(timeMs) +
         " cmp=" + component;
}

inline std::string kpiOf(std::string_view text) {
  const std::optional<KpiLine> kpi = parseKpiLine(text);
  return kpi ? described(kpi->pid, std::string(kpi->tag), kpi->timeMs, std::string(kpi->component))
             : kNone;
}

// The same with the functions of the C library, and with buffers that no line fills.
inline std::string sscanfKpiOf(const std::string& text) {
  if (strstr(text.c_str(), "KPI-R2K-") == nullptr) {
    return kNone;
  }
  int pid = 0;
  int tid = 0;
  long value = 0;
  std::vector<char> token(text.size() + 1);
  if (sscanf(text.c_str(), "%*s %*s %d %d I %s %ld", &pid, &tid, token.data(), &value) != 4) {
    return kNone;
  }
  token[strlen(token.data()) - 1] = 0;
  std::vector<char> component(text.size() + 1);
  if (const char* const found = strstr(text.c_str(), "cmp=")) {
    sscanf(found + strlen("cmp="), "%s", component.data());
  }
  return described(pid, std::string(token.data()).substr(0, 31), value,
                   std::string(component.data()).substr(0, 255));
}

}  // namespace tarnwick::kpi_reading
