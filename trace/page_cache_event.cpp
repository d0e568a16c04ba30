#include "trace/page_cache_event.h"

#include <cstring>
#include <limits>

#include "sysstat/ordinary_text.h"
#include "sysstat/scan.h"

namespace tarnwick {

namespace {

// "dev 179:2 ino c", and the blank behind it.
bool scanFile(Scanner& scan, PageCacheFile& file) {
  if (!scan.literal("dev")) {
    return false;
  }
  scan.space();
  if (!scan.unsignedShort(file.major) || !scan.literal(':') || !scan.unsignedShort(file.minor)) {
    return false;
  }
  scan.space();
  if (!scan.literal("ino")) {
    return false;
  }
  scan.space();
  if (!scan.hexNumber(file.inode)) {
    return false;
  }
  scan.space();
  return true;
}

// "page=fffffece3ae04f80", and the blank behind it.
bool scanPage(Scanner& scan) {
  if (!scan.literal("page=") || !scan.skipHexNumber()) {
    return false;
  }
  scan.space();
  return true;
}

// "ofs=4096"
bool scanOffset(Scanner& scan) {
  scan.space();
  return scan.literal("ofs=") && scan.skipNumber();
}

// "page=fffffece3ae04f80 pfn=262462 ofs=0"
bool isOlderForm(Scanner scan) {
  return scanPage(scan) && scan.literal("pfn=") && scan.skipNumber() && scanOffset(scan);
}

// "pfn=0x44c8f ofs=0 order=0", or "page=fffffece3ae04f80 pfn=0x44c8f ofs=0": as by
// "pfn=0x%*x ofs=%lu", with or without "page=%*x " in front
bool isNewerForm(Scanner scan) {
  if (scan.rest().starts_with("page=") && !scanPage(scan)) {
    return false;
  }
  return scan.literal("pfn=0x") && scan.skipHexNumber() && scanOffset(scan);
}

// "179:2 ino c page=fffffece3ae04f80 pfn=262462 ofs=0" and its newer forms, as kernels print them;
// false for all others.
bool scanOrdinaryFile(OrdinaryText text, PageCacheFile& file) {
  constexpr uint64_t kLargestNumber = std::numeric_limits<uint16_t>::max();
  uint64_t major = 0;
  uint64_t minor = 0;
  if (text.number(major) == 0 || major > kLargestNumber || !text.literal(":") ||
      text.number(minor) == 0 || minor > kLargestNumber || !text.literal(" ino ") ||
      !text.hexNumber(file.inode)) {
    return false;
  }
  const bool hasPage = text.literal(" page=");
  if ((hasPage && !text.skipHexNumber()) || !text.literal(" pfn=")) {
    return false;
  }
  if (!(text.literal("0x") ? text.skipHexNumber() : hasPage && text.skipNumber()) ||
      !text.literal(" ofs=") || !text.skipDigit()) {
    return false;
  }
  file.major = static_cast<uint16_t>(major);
  file.minor = static_cast<uint16_t>(minor);
  return true;
}

// The first ": " of a line that ends in a newline. Thread names have colons without a blank, such
// as "Binder:1042_1" and "kworker/0:1".
const char* findColonBlank(std::string_view line) {
  const char* const end = line.data() + line.size();
  const char* at = line.data();
  while ((at = static_cast<const char*>(memchr(at, ':', static_cast<size_t>(end - at)))) !=
             nullptr &&
         at[1] != ' ') {
    ++at;
  }
  return at;
}

// A line as kernels print it; false for all others, the event may then be changed.
bool scanOrdinaryLine(std::string_view line, PageCacheEvent& event) {
  if (!OrdinaryText::canRead(line)) {
    return false;
  }
  const char* const colon = findColonBlank(line);
  if (colon == nullptr || colon == line.data()) {
    return false;
  }
  // After the time. No "_page_cache: " is before it, and the digit says that it ends none.
  OrdinaryText text(colon - 1, line.data() + line.size());
  if (!text.skipDigit()) {
    return false;
  }
  event.added = text.literal(": mm_filemap_add_to_page_cache: dev ");
  return (event.added || text.literal(": mm_filemap_delete_from_page_cache: dev ")) &&
         scanOrdinaryFile(text, event.file);
}

// Any line. Not inlined, for its registers would have to be saved for every ordinary line, too.
__attribute__((noinline)) std::optional<PageCacheEvent> scanAnyLine(std::string_view line) {
  PageCacheEvent event{};
  constexpr std::string_view kEvent = "_page_cache: ";
  const size_t at = line.find(kEvent);
  if (at == std::string_view::npos) {
    return std::nullopt;
  }
  // mm_filemap_add_to_page_cache, mm_filemap_delete_from_page_cache
  event.added = at > 0 && line[at - 1] == 'o';
  Scanner scan(line.substr(at + kEvent.size()));
  if (!scanFile(scan, event.file) || (!isOlderForm(scan) && !isNewerForm(scan))) {
    return std::nullopt;
  }
  return event;
}

}  // namespace

std::optional<PageCacheEvent> parsePageCacheEvent(std::string_view line) {
  PageCacheEvent event{};
  if (scanOrdinaryLine(line, event)) {
    return event;
  }
  return scanAnyLine(line);
}

std::string pageCacheKey(const PageCacheFile& file) {
  return std::to_string(file.major) + ':' + std::to_string(file.minor) + '_' +
         std::to_string(file.inode);
}

}  // namespace tarnwick
