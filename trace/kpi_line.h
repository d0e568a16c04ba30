#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarnwick {

// A timing line of the platform framework, in logcat's "threadtime" format:
//
//   11-20 16:41:43.123  1234  1250 I KPI-R2K-AMS-1: 5000 cmp=com.example/.Main
struct KpiLine {
  int32_t pid;                 // the process that logged it
  std::string_view tag;        // without its colon, at most 31 characters; points into the line
  int64_t timeMs;              // the message's first number, milliseconds on the trace's time axis
  std::string_view component;  // what stands behind "cmp=", up to white space; empty without it
};

// The KPI line in a line of the log, or no value when it is another one: it holds "KPI-R2K-" and is
// read as by "%*s %*s %d %d I %s %ld", all of which must be there. Pure.
std::optional<KpiLine> parseKpiLine(std::string_view line);

// The package in a component "package/class"; the whole where there is no "/". Pure.
std::string_view componentPackage(std::string_view component);

}  // namespace tarnwick
