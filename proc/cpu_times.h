#pragma once

#include <cstdint>
#include <string_view>

namespace tarnwick {

// The first seven numbers of a "cpu" line of /proc/stat, in the kernel's order. All are counters in
// clock ticks; iowait, and idle after a CPU came back, can go backwards. See proc(5).
struct CpuTimes {
  int64_t user = 0;
  int64_t nice = 0;
  int64_t system = 0;
  int64_t idle = 0;
  int64_t iowait = 0;
  int64_t irq = 0;
  int64_t softirq = 0;

  bool operator==(const CpuTimes&) const = default;
};

// Fills `out` from the line of /proc/stat that the key names: "cpu" for the sum of all CPUs, "cpu3"
// for one. Numbers that the line does not have keep what `out` held.
//
// The key is found wherever it first stands in the text. The kernel lists the CPUs in ascending
// order, so "cpu1" meets its own line before that of CPU 10. An offline CPU has no line: its
// numbers are then taken from the head of the text, which is the line of the sum, so that such a
// CPU carries the sum's counters. Pure.
void parseCpuTimes(std::string_view text, std::string_view key, CpuTimes& out);

}  // namespace tarnwick
