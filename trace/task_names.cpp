#include "trace/task_names.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <optional>
#include <string_view>

#include "sysstat/kernel_text.h"
#include "trace/lock.h"
#include "trace/task_status.h"
#include "trace/trace_state.h"

namespace tarnwick {

namespace {

constexpr ssize_t kNotOpened = -2;

// What one read(2) gives, or kNotOpened.
template <size_t size>
ssize_t readFile(const char* path, std::array<char, size>& text) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return kNotOpened;
  }
  const ssize_t got = read(fd, text.data(), text.size());
  close(fd);
  return got;
}

}  // namespace

int32_t tgidOf(int32_t tid) {
  const auto known = gTidToTgid.find(tid);
  if (known != gTidToTgid.end()) {
    return known->second;
  }
  std::array<char, 40> path;
  snprintf(path.data(), path.size(), "/proc/%d/status", tid);
  // The line is the fourth, and those before it are short.
  std::array<char, 1024> text;
  const ssize_t got = readFile(path.data(), text);
  if (got <= 0) {
    return -1;
  }
  const std::optional<int32_t> tgid = parseTgidOfStatus({text.data(), static_cast<size_t>(got)});
  return tgid ? gTidToTgid[tid] = *tgid : -1;
}

bool hasTgidName(int32_t tgid) {
  const auto known = gTgidNames.find(tgid);
  if (known != gTgidNames.end()) {
    return !known->second.empty();
  }
  std::array<char, 40> path;
  snprintf(path.data(), path.size(), "/proc/%d/comm", tgid);
  std::array<char, 128> text{};
  const ssize_t got = readFile(path.data(), text);
  if (got == 0 || got == kNotOpened) {
    return false;
  }
  const std::string_view name = parseComm(kernelText(text.data(), text.size()));
  // What it has between its fork and its own naming of itself.
  if (name == "re-initialized>") {
    return true;
  }
  const Lock lock(gTgidNamesMutex);
  return !(gTgidNames[tgid] = name).empty();
}

}  // namespace tarnwick
