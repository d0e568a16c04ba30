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

// Nanoseconds of the ring as trace_pipe prints them: rounded to microseconds, halves up (ns2usecs
// in kernel/trace/trace.c of the kernel).
inline uint64_t ringMicroseconds(uint64_t nanoseconds) {
  constexpr uint64_t kNanosecondsPerMicrosecond = 1000;
  return (nanoseconds + kNanosecondsPerMicrosecond / 2) / kNanosecondsPerMicrosecond;
}

constexpr uint64_t kMicrosecondsPerSecond = 1000000;

// The same in seconds. A quotient of two numbers that a double holds exactly is rounded once, as
// scanf rounds.
inline double ringSeconds(uint64_t nanoseconds) {
  return static_cast<double>(ringMicroseconds(nanoseconds)) /
         static_cast<double>(kMicrosecondsPerSecond);
}

// What stands in the record of a scheduler event.
struct SchedEventFields {
  std::string_view comm;  // with its NUL and what follows that
  int32_t tid;
  uint64_t value;  // nanoseconds
};

// The fields of a record with this format. No value when the record is shorter than they are.
inline std::optional<SchedEventFields> schedEventFields(std::string_view record,
                                                        const SchedEventFormat& format) {
  if (record.size() < format.minSize) {
    return std::nullopt;
  }
  uint32_t offset = format.comm.offset;
  uint32_t size = format.comm.size;
  if (format.comm.dynamic) {
    const auto place = loadAs<uint32_t>(record.data() + offset);
    offset = place & 0xFFFFU;
    size = place >> 16U;
  }
  if (offset > record.size() || size > record.size() - offset) {
    return std::nullopt;
  }
  return SchedEventFields{record.substr(offset, size),
                          loadAs<int32_t>(record.data() + format.pid.offset),
                          loadAs<uint64_t>(record.data() + format.value.offset)};
}

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
