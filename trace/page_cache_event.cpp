#include "trace/page_cache_event.h"

#include "sysstat/scan.h"

namespace tarnwick {

namespace {

// "dev 179:2 ino c", and the blank behind it.
bool scanFile(Scanner& scan, PageCacheEvent& event) {
  if (!scan.literal("dev")) {
    return false;
  }
  scan.space();
  if (!scan.unsignedShort(event.major) || !scan.literal(':') || !scan.unsignedShort(event.minor)) {
    return false;
  }
  scan.space();
  if (!scan.literal("ino")) {
    return false;
  }
  scan.space();
  if (!scan.hexNumber(event.inode)) {
    return false;
  }
  scan.space();
  return true;
}

// "page=fffffece3ae04f80", and the blank behind it.
bool scanPage(Scanner& scan) {
  uint64_t ignored = 0;
  if (!scan.literal("page=") || !scan.hexNumber(ignored)) {
    return false;
  }
  scan.space();
  return true;
}

// "ofs=4096"
bool scanOffset(Scanner& scan) {
  uint64_t ignored = 0;
  scan.space();
  return scan.literal("ofs=") && scan.unsignedNumber(ignored);
}

// "page=fffffece3ae04f80 pfn=262462 ofs=0"
bool isOlderForm(Scanner scan) {
  int64_t ignored = 0;
  return scanPage(scan) && scan.literal("pfn=") && scan.number(ignored) && scanOffset(scan);
}

// "pfn=0x44c8f ofs=0 order=0", or "page=fffffece3ae04f80 pfn=0x44c8f ofs=0": as by
// "pfn=0x%*x ofs=%lu", with or without "page=%*x " in front
bool isNewerForm(Scanner scan) {
  uint64_t ignored = 0;
  if (scan.rest().starts_with("page=") && !scanPage(scan)) {
    return false;
  }
  return scan.literal("pfn=0x") && scan.hexNumber(ignored) && scanOffset(scan);
}

}  // namespace

std::optional<PageCacheEvent> parsePageCacheEvent(std::string_view line) {
  constexpr std::string_view kEvent = "_page_cache: ";
  const size_t at = line.find(kEvent);
  if (at == std::string_view::npos) {
    return std::nullopt;
  }
  PageCacheEvent event{};
  // mm_filemap_add_to_page_cache, mm_filemap_delete_from_page_cache
  event.added = at > 0 && line[at - 1] == 'o';
  Scanner scan(line.substr(at + kEvent.size()));
  if (!scanFile(scan, event) || (!isOlderForm(scan) && !isNewerForm(scan))) {
    return std::nullopt;
  }
  return event;
}

std::string pageCacheKey(const PageCacheEvent& event) {
  return std::to_string(event.major) + ':' + std::to_string(event.minor) + '_' +
         std::to_string(event.inode);
}

}  // namespace tarnwick
