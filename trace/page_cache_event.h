#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick {

// A file as page-cache events name it: the numbers of its device, and its inode.
struct PageCacheFile {
  uint16_t major;
  uint16_t minor;
  uint64_t inode;

  bool operator==(const PageCacheFile&) const = default;
};

struct PageCacheFileHash {
  size_t operator()(const PageCacheFile& file) const {
    // Inodes of a device count up from 1; the device stays clear of them.
    return file.inode ^ (uint64_t{file.major} << 48U | uint64_t{file.minor} << 32U);
  }
};

// One page-cache event of a line of trace_pipe: pages of a file came or went.
struct PageCacheEvent {
  bool added;
  PageCacheFile file;
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
// or, where that does not fit, as kernels since 5.14 print it: "pfn=0x%*x", and since 5.17 without
// "page=%*x". An event for several pages ("order=4") is one event. Pure; see
// include/trace/events/filemap.h of the kernel.
std::optional<PageCacheEvent> parsePageCacheEvent(std::string_view line);

// The key of a file in inode caches and reports, "major:minor_inode" in decimal.
std::string pageCacheKey(const PageCacheFile& file);

}  // namespace tarnwick
