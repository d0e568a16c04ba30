#include "trace/new_threads.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace tarnwick {

NewThreads::NewThreads() : loadavg_(open("/proc/loadavg", O_RDONLY | O_CLOEXEC)) {}

NewThreads::~NewThreads() {
  if (loadavg_ >= 0) {
    close(loadavg_);
  }
}

TidRange NewThreads::look() {
  constexpr int32_t kMost = 64;  // so that a storm of threads does not hold the reader
  constexpr TidRange kNone{1, 0};
  std::array<char, 128> text;
  const ssize_t got = pread(loadavg_, text.data(), text.size(), 0);
  const std::optional<int32_t> last =
      got > 0 ? parseLastTid({text.data(), static_cast<size_t>(got)}) : std::nullopt;
  if (!last) {
    return kNone;
  }
  const int32_t before = std::exchange(last_, *last);
  return before < 0 ? kNone : tidsSince(before, *last, kMost);
}

}  // namespace tarnwick
