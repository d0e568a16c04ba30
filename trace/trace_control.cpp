#include "trace/trace_control.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>

#include "collector/end_process.h"
#include "collector/messages.h"
#include "collector/stats_collector.h"
#include "sysstat/kernel_text.h"
#include "trace/lock.h"
#include "trace/logcat_thread.h"
#include "trace/memory_limit.h"
#include "trace/memory_reserve.h"
#include "trace/pipe_thread.h"
#include "trace/trace_state.h"

namespace tarnwick {

namespace {

struct StartWrite {
  const char* file;  // below the tracing directory
  const char* value;
  bool StatsCollector::*onlyWith = nullptr;
};

constexpr StartWrite kStart[] = {
    {"events/sched/sched_stat_wait/enable", "1", &StatsCollector::systrace},
    {"events/sched/sched_stat_iowait/enable", "1", &StatsCollector::systrace},
    {"events/sched/sched_stat_runtime/enable", "1", &StatsCollector::systrace},
    {"events/filemap/mm_filemap_add_to_page_cache/enable", "1", &StatsCollector::blockDump},
    {"events/filemap/mm_filemap_delete_from_page_cache/enable", "1", &StatsCollector::blockDump},
    {"buffer_size_kb", "8192"},
    // One clock for all CPUs, or their events would come out of order.
    {"trace_clock", "global"},
    {"options/overwrite", "1"},
    {"tracing_on", "1"},
};

struct StopWrite {
  const char* file;
  const char* value;
  bool discardsUnread = false;
};

// Also what this run never switched on: a run before it may have ended in the middle.
constexpr StopWrite kStop[] = {
    {"tracing_on", "0"},
    {"options/overwrite", "0"},
    {"events/sched/sched_stat_wait/enable", "0"},
    {"events/sched/sched_stat_iowait/enable", "0"},
    {"events/sched/sched_stat_runtime/enable", "0"},
    {"events/filemap/mm_filemap_delete_from_page_cache/enable", "0"},
    {"events/filemap/mm_filemap_add_to_page_cache/enable", "0"},
    {"trace_clock", "local", true},
    {"buffer_size_kb", "1", true},
};

// Held for all writes of a start, of a stop or of a worker that ends the trace.
pthread_mutex_t gControlMutex = PTHREAD_MUTEX_INITIALIZER;

// Of each write of kStart: this measurement has made it, and no stop has undone it. Guarded by
// gControlMutex.
std::array<bool, std::size(kStart)> gStarted{};

bool switchedOn(std::string_view file) {
  for (size_t i = 0; i < std::size(kStart); ++i) {
    if (gStarted.at(i) && kStart[i].file == file) {
      return true;
    }
  }
  return false;
}

// Whether a control file is the switch of an event that the kernel does not have, as
// sched_stat_wait without CONFIG_SCHEDSTATS.
bool isOfMissingEvent(std::string_view file) {
  if (!file.starts_with("events/")) {
    return false;
  }
  const std::string folder = gTracingDirectory + '/' + std::string(file.substr(0, file.rfind('/')));
  struct stat unused {};
  return stat(folder.c_str(), &unused) != 0 && errno == ENOENT;
}

void writeControl(StatsCollector& collector, const char* file, const char* value) {
  collector.writeKernelFile((gTracingDirectory + '/' + file).c_str(), value);
}

// Failures are ignored.
void tryWriteControl(const char* file, std::string_view value) {
  const int fd = open((gTracingDirectory + '/' + file).c_str(), O_WRONLY | O_CLOEXEC);
  if (fd >= 0) {
    static_cast<void>(write(fd, value.data(), value.size()) == 0);
    close(fd);
  }
}

bool isWrittenAtStart(const StatsCollector& collector, const StartWrite& write) {
  return write.onlyWith == nullptr || collector.*write.onlyWith;
}

// Before the first write. If that one would fail too, as without a mounted tracefs or without
// privileges, its message says why.
[[noreturn]] void endWithoutPipe(StatsCollector& collector) {
  const StartWrite& first = *std::find_if(
      std::begin(kStart), std::end(kStart),
      [&collector](const StartWrite& write) { return isWrittenAtStart(collector, write); });
  const int fd = open((gTracingDirectory + '/' + first.file).c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) {
    writeControl(collector, first.file, first.value);
  }
  postMessage("fopen(trace_pipe) failed!");
  endProcess(1);
}

std::string findTracingDirectory() {
  constexpr const char* kDebugfs = "/sys/kernel/debug/tracing";
  constexpr const char* kTracefs = "/sys/kernel/tracing";
  struct stat unused {};
  const bool onlyTracefs = stat(kDebugfs, &unused) != 0 && errno == ENOENT &&
                           access((std::string(kTracefs) + "/trace_pipe").c_str(), F_OK) == 0;
  return onlyTracefs ? kTracefs : kDebugfs;
}

void limitMemory() {
  // MemAvailable is among the first lines.
  std::array<char, 4096> text;
  ssize_t got = 0;
  const int fd = open("/proc/meminfo", O_RDONLY | O_CLOEXEC);
  if (fd >= 0) {
    got = read(fd, text.data(), text.size());
    close(fd);
  }
  const MemoryLimit limit = memoryLimitOf(
      parseMemAvailable(kernelText(text.data(), static_cast<size_t>(std::max<ssize_t>(got, 0)))));
  gTraceRecords.setLimit(limit.bytes);
  gTraceLosses.memoryLimit = limit.bytes;
  gTraceLosses.memoryLimitIsDefault = limit.isDefault;
}

void switchOff(StatsCollector& collector) {
  const Lock lock(gControlMutex);
  bool drained = false;
  for (const StopWrite& write : kStop) {
    if (write.discardsUnread && !drained) {
      drainPipeThread();
      drained = true;
    }
    if (!switchedOn(write.file) && isOfMissingEvent(write.file)) {
      continue;
    }
    writeControl(collector, write.file, write.value);
  }
  gStarted = {};
}

}  // namespace

void startTracing(StatsCollector& collector) {
  gTracingDirectory = findTracingDirectory();
  limitMemory();
  reserveMemory();
  startMessageThread();
  if (!openTrace(collector)) {
    endWithoutPipe(collector);
  }
  if (collector.systrace) {
    startLogcatThread(collector);
  }
  startPipeThread(collector);
  const Lock lock(gControlMutex);
  for (size_t i = 0; i < std::size(kStart); ++i) {
    const StartWrite& write = kStart[i];
    if (isWrittenAtStart(collector, write)) {
      writeControl(collector, write.file, write.value);
      gStarted.at(i) = true;
    }
  }
}

void stopTracing(StatsCollector& collector) {
  if (!collector.systrace && !collector.blockDump) {
    return;
  }
  switchOff(collector);
  if (collector.systrace) {
    stopLogcatThread(collector);
  }
  stopPipeThread(collector);
  stopMessageThread();
}

void endTraceWithError(std::string_view message) {
  // Never released: the main thread would go on.
  pthread_mutex_lock(&gControlMutex);
  for (const StopWrite& write : kStop) {
    if (switchedOn(write.file)) {
      tryWriteControl(write.file, write.value);
    }
  }
  postMessage(message);
  endProcess(1);
}

void finishTracing() {
  releaseMemory();
  const std::string lines = formatTraceLosses(gTraceLosses);
  fwrite(lines.data(), 1, lines.size(), stderr);
  gTraceLosses = {};
}

}  // namespace tarnwick
