#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarnwick {

// How many events the kernel dropped on one CPU because its buffer was full; no count if the kernel
// gives none.
struct LostEvents {
  std::optional<uint64_t> count;

  bool operator==(const LostEvents&) const = default;
};

// The losses in a line of trace_pipe, which has them between the events:
//
//   CPU:1 [LOST 2825 EVENTS]
//   CPU:1 [LOST EVENTS]
//
// Read as by "CPU:%*d [LOST %lu EVENTS]" and "CPU:%*d [LOST EVENTS]", or no value for any other
// line. Pure; see print_trace_line() in kernel/trace/trace.c of the kernel.
std::optional<LostEvents> parseLostEvents(std::string_view line);

}  // namespace tarnwick
