#include "trace/task_names.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>

#include "sysstat/kernel_text.h"
#include "trace/lock.h"
#include "trace/task_status.h"
#include "trace/trace_state.h"

namespace tarnwick {

int32_t tgidOf(int32_t tid) {
  const auto known = gTidToTgid.find(tid);
  if (known != gTidToTgid.end()) {
    return known->second;
  }
  std::array<char, 40> path;
  snprintf(path.data(), path.size(), "/proc/%d/status", tid);
  const std::unique_ptr<FILE, int (*)(FILE*)> status(fopen(path.data(), "re"), fclose);
  if (status == nullptr) {
    return -1;
  }
  std::array<char, 80> line;
  while (fgets(line.data(), line.size(), status.get()) != nullptr) {
    if (const std::optional<int32_t> tgid = parseTgid(line.data())) {
      return gTidToTgid[tid] = *tgid;
    }
  }
  return -1;
}

bool hasTgidName(int32_t tgid) {
  const auto known = gTgidNames.find(tgid);
  if (known != gTgidNames.end()) {
    return !known->second.empty();
  }
  std::array<char, 40> path;
  snprintf(path.data(), path.size(), "/proc/%d/comm", tgid);
  const int fd = open(path.data(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return false;
  }
  std::array<char, 128> text{};
  const ssize_t got = read(fd, text.data(), text.size());
  close(fd);
  if (got == 0) {
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
