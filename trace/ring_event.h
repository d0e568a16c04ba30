#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "trace/event_format.h"
#include "trace/page_cache_event.h"
#include "trace/ring_page.h"
#include "trace/sched_event.h"

namespace tarnwick {

// Records of the kernel's ring buffer, read into what parseSchedEvent and parsePageCacheEvent make
// of their lines in trace_pipe. All of it is pure.

// The event of a record: its common_type; no value for a record that has none.
inline std::optional<uint16_t> ringEventId(std::string_view record) {
  if (record.size() < sizeof(uint16_t)) {
    return std::nullopt;
  }
  return loadAs<uint16_t>(record.data());
}

// Seconds, as trace_pipe prints a time of the ring: nanoseconds rounded to microseconds, halves
// up (ns2usecs in kernel/trace/trace.c of the kernel).
double ringSeconds(uint64_t nanoseconds);

// Where a thread's name that trace_pipe's line would not give back is put.
using SchedEventText = std::array<char, 256>;

// The scheduler event of a record with this format. A name with "=" or a newline in it goes through
// the line that trace_pipe would print, so that the rules for lines hold for it, too. No value when
// the record is shorter than its fields, or that line holds no event. The name points into the
// record or into `text`.
std::optional<SchedEvent> readSchedEvent(std::string_view record, const SchedEventFormat& format,
                                         int32_t cpu, uint64_t nanoseconds, SchedEventText& text);

// The page-cache event of a record with this format. No value when the record is too short.
std::optional<PageCacheEvent> readPageCacheEvent(std::string_view record,
                                                 const PageCacheEventFormat& format);

}  // namespace tarnwick
