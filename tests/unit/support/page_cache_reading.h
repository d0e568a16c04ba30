#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "tests/unit/support/reading.h"
#include "trace/page_cache_event.h"

namespace tarnwick::page_cache_reading {

inline std::string described(bool added, unsigned major, unsigned minor, uint64_t inode) {
  char text[80];
  snprintf(text, sizeof(text), "%c %u:%u_%lu", added ? '+' : '-', major, minor, inode);
  return text;
}

// "+ 179:2_12" for an addition, "- 179:2_12" for a removal.
inline std::string eventOf(std::string_view line) {
  const std::optional<PageCacheEvent> event = parsePageCacheEvent(line);
  return event ? described(event->added, event->file.major, event->file.minor, event->file.inode)
               : kNone;
}

// The same with the functions of the C library.
inline std::string sscanfEventOf(const std::string& line) {
  const char* const found = strstr(line.c_str(), "_page_cache: ");
  if (found == nullptr) {
    return kNone;
  }
  const bool added = found != line.c_str() && found[-1] == 'o';
  const char* const text = found + strlen("_page_cache: ");
  unsigned short major = 0;
  unsigned short minor = 0;
  unsigned long inode = 0;
  unsigned long offset = 0;
  if (sscanf(text, "dev %hu:%hu ino %lx page=%*x pfn=%*d ofs=%lu", &major, &minor, &inode,
             &offset) != 4 &&
      sscanf(text, "dev %hu:%hu ino %lx pfn=0x%*x ofs=%lu", &major, &minor, &inode, &offset) != 4 &&
      sscanf(text, "dev %hu:%hu ino %lx page=%*x pfn=0x%*x ofs=%lu", &major, &minor, &inode,
             &offset) != 4) {
    return kNone;
  }
  return described(added, major, minor, inode);
}

}  // namespace tarnwick::page_cache_reading
