#include "trace/trace_losses.h"

#include <cstring>

namespace tarnwick {

namespace {

std::string counted(uint64_t count, const char* singular) {
  return std::to_string(count) + ' ' + singular + (count == 1 ? "" : "s");
}

}  // namespace

std::string formatTraceLosses(const TraceLosses& losses) {
  constexpr const char* kPrefix = "tarnwick: trace: ";
  std::string lines;
  const auto add = [&lines](const std::string& line) { lines += kPrefix + line + '\n'; };
  if (losses.overwritten > 0) {
    add(counted(losses.overwritten, "event") + " lost: kernel buffer full");
  }
  if (losses.overwrittenUnknown > 0) {
    add("events lost " + counted(losses.overwrittenUnknown, "time") +
        ", number unknown: kernel buffer full");
  }
  if (losses.notDrained) {
    add("last events lost, number unknown: not read within 2 seconds");
  }
  if (losses.unresolved > 0) {
    add(counted(losses.unresolved, "event") + " skipped: thread ended before it was looked up");
  }
  if (losses.overMemory > 0) {
    add(counted(losses.overMemory, "record") + " dropped: memory limit of " +
        std::to_string(losses.memoryLimit / 1024) + " KB" +
        (losses.memoryLimitIsDefault ? " (MemAvailable unknown)" : ""));
  }
  if (losses.outOfMemory > 0) {
    add(counted(losses.outOfMemory, "event") + " dropped: out of memory");
  }
  if (losses.notWritten > 0) {
    add(counted(losses.notWritten, "record") +
        " not written to /data/trace.txt: " + strerror(losses.writeError));
  }
  return lines;
}

}  // namespace tarnwick
