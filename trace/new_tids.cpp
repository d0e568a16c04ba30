#include "trace/new_tids.h"

#include <algorithm>
#include <charconv>

namespace tarnwick {

std::optional<int32_t> parseLastTid(std::string_view loadavg) {
  constexpr int32_t kMaxTid = 4 * 1024 * 1024;  // PID_MAX_LIMIT in include/linux/threads.h
  const size_t blank = loadavg.rfind(' ');
  if (blank == std::string_view::npos) {
    return std::nullopt;
  }
  const char* const end = loadavg.data() + loadavg.size();
  int32_t tid = 0;
  const auto [at, error] = std::from_chars(loadavg.data() + blank + 1, end, tid);
  const bool whole = at == end || *at == '\n';
  const bool isTid = error == std::errc{} && whole && tid > 0 && tid <= kMaxTid;
  return isTid ? std::optional(tid) : std::nullopt;
}

TidRange tidsSince(int32_t before, int32_t last, int32_t most) {
  const int32_t oldest = std::max(last - most + 1, 1);
  return {before <= last ? std::max(before + 1, oldest) : oldest, last};
}

}  // namespace tarnwick
