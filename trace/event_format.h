#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "trace/sched_event.h"

namespace tarnwick {

// Where the fields of trace events are in the records of the kernel's ring buffer, as the files
// events/*/*/format of the tracing directory say:
//
//   ID: 363
//   format:
//           field:__data_loc char[] comm;   offset:8;  size:4;  signed:0;
//           field:pid_t pid;                offset:12; size:4;  signed:1;
//
// All of it is pure. See "Event formats" in the kernel's Documentation/trace/events.rst.

// A field. Offset and size are bytes.
struct EventField {
  uint32_t offset;
  uint32_t size;
  // __data_loc: 32 bits, the offset of the text in the low half, its size in the high.
  bool dynamic;

  uint32_t end() const { return offset + size; }
};

// The field with this name. No value when there is none, when its numbers do not parse, or when it
// is of a kind that is not known here (__rel_loc).
std::optional<EventField> parseEventField(std::string_view format, std::string_view name);

// A scheduler statistics event: the format of sched_stat_wait, sched_stat_iowait or
// sched_stat_runtime.
struct SchedEventFormat {
  uint16_t id;  // what the record's common_type is
  SchedEventKind kind;
  EventField comm;   // text
  EventField pid;    // 32 bits
  EventField value;  // 64 bits, nanoseconds: "delay", or "runtime"
  uint32_t minSize;  // of a record that has all these fields
};

// No value when a field is missing or has another size.
std::optional<SchedEventFormat> parseSchedEventFormat(std::string_view format, SchedEventKind kind);

// A page-cache event: the format of mm_filemap_add_to_page_cache or
// mm_filemap_delete_from_page_cache. Both have kept these fields in all layouts.
struct PageCacheEventFormat {
  uint16_t id;
  bool added;
  EventField device;  // s_dev, 32 bits
  EventField inode;   // i_ino, 32 or 64 bits
  uint32_t minSize;
};

// No value when a field is missing or has another size.
std::optional<PageCacheEventFormat> parsePageCacheEventFormat(std::string_view format, bool added);

}  // namespace tarnwick
