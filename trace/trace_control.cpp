#include "trace/trace_control.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <span>

#include "collector/stats_collector.h"
#include "trace/logcat_thread.h"
#include "trace/pipe_thread.h"

namespace tarnwick {

namespace {

struct ControlWrite {
  const char* file;  // below the tracing directory
  const char* value;
};

constexpr ControlWrite kSchedEventsOn[] = {
    {"events/sched/sched_stat_wait/enable", "1"},
    {"events/sched/sched_stat_iowait/enable", "1"},
    {"events/sched/sched_stat_runtime/enable", "1"},
};

constexpr ControlWrite kPageCacheEventsOn[] = {
    {"events/filemap/mm_filemap_add_to_page_cache/enable", "1"},
    {"events/filemap/mm_filemap_delete_from_page_cache/enable", "1"},
};

constexpr ControlWrite kTracingOn[] = {
    {"buffer_size_kb", "8192"},
    // One clock for all CPUs, or their events would come out of order.
    {"trace_clock", "global"},
    {"options/overwrite", "1"},
    {"tracing_on", "1"},
};

// Also what this run never switched on: a run before it may have ended in the middle.
constexpr ControlWrite kTracingOff[] = {
    {"tracing_on", "0"},
    {"options/overwrite", "0"},
    {"events/sched/sched_stat_wait/enable", "0"},
    {"events/sched/sched_stat_iowait/enable", "0"},
    {"events/sched/sched_stat_runtime/enable", "0"},
    {"events/filemap/mm_filemap_delete_from_page_cache/enable", "0"},
    {"events/filemap/mm_filemap_add_to_page_cache/enable", "0"},
    {"trace_clock", "local"},
    {"buffer_size_kb", "1"},
};

void writeAll(StatsCollector& collector, const std::string& directory,
              std::span<const ControlWrite> writes) {
  for (const ControlWrite& write : writes) {
    collector.writeKernelFile((directory + '/' + write.file).c_str(), write.value);
  }
}

}  // namespace

std::string tracingDirectory() {
  constexpr const char* kDebugfs = "/sys/kernel/debug/tracing";
  constexpr const char* kTracefs = "/sys/kernel/tracing";
  struct stat unused {};
  const bool onlyTracefs = stat(kDebugfs, &unused) != 0 && errno == ENOENT &&
                           access((std::string(kTracefs) + "/trace_pipe").c_str(), F_OK) == 0;
  return onlyTracefs ? kTracefs : kDebugfs;
}

void startTracing(StatsCollector& collector) {
  const std::string directory = tracingDirectory();
  if (collector.systrace) {
    startLogcatThread(collector);
  }
  startPipeThread(collector);
  if (collector.systrace) {
    writeAll(collector, directory, kSchedEventsOn);
  }
  if (collector.blockDump) {
    writeAll(collector, directory, kPageCacheEventsOn);
  }
  writeAll(collector, directory, kTracingOn);
}

void stopTracing(StatsCollector& collector) {
  if (!collector.systrace && !collector.blockDump) {
    return;
  }
  writeAll(collector, tracingDirectory(), kTracingOff);
  if (collector.systrace) {
    stopLogcatThread(collector);
  }
  stopPipeThread(collector);
}

}  // namespace tarnwick
