#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick {

// One page-cache event of a line of trace_pipe: pages of a file came or went.
struct PageCacheEvent {
  bool added;
  uint16_t major;
  uint16_t minor;
  uint64_t inode;
};

// The event in a line such as
//
//   cat-204 [000] .... 40.794419: mm_filemap_add_to_page_cache: dev 179:2 ino c page=ffe0
//   pfn=262462 ofs=0
//
// or no value when it holds none. What follows "_page_cache: " is read as by
//
//   "dev %hu:%hu ino %lx page=%*x pfn=%*d ofs=%lu"
//
// or, where that does not fit, as kernels since 5.14 print it: "pfn=0x" and hexadecimal digits, and
// since 5.17 without "page=". An event for several pages ("order=4") is one event. Pure; see
// include/trace/events/filemap.h of the kernel.
std::optional<PageCacheEvent> parsePageCacheEvent(std::string_view line);

// The key of the event's file, "major:minor_inode" in decimal.
std::string pageCacheKey(const PageCacheEvent& event);

}  // namespace tarnwick
