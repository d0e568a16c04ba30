#include "proc/sample_processes.h"

#include <dirent.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "collector/stats_collector.h"
#include "proc/process_stat.h"
#include "sysstat/scan.h"

namespace tarnwick {

namespace {

using Path = std::array<char, 40>;
using FileText = std::array<char, 4096>;

Path taskPath(const StatsCollector& collector, int32_t id, const char* file) {
  Path path{};
  if (collector.targetPid == -1) {
    snprintf(path.data(), path.size(), "/proc/%d/%s", id, file);
  } else {
    snprintf(path.data(), path.size(), "/proc/%d/task/%d/%s", collector.targetPid, id, file);
  }
  return path;
}

bool isNumber(const char* name) {
  return *name != '\0' && name[strspn(name, "0123456789")] == '\0';
}

}  // namespace

bool readProcessStat(StatsCollector& collector, int32_t id, ProcessRecord& record) {
  const Path path = taskPath(collector, id, "stat");
  FileText text;
  if (collector.readKernelFile(path.data(), text.data(), text.size()) < 1) {
    return false;
  }
  parseProcessStat(kernelText(text.data(), text.size()), record);
  return true;
}

int readProcessSchedstat(StatsCollector& collector, int32_t id, ProcessRecord& record) {
  const Path path = taskPath(collector, id, "schedstat");
  FileText text;
  return parseProcessSchedstat(collector.readKernelText(path.data(), text), record);
}

void sampleProcesses(StatsCollector& collector, const char* directory, ProcessMap& map) {
  if (!collector.procCpu) {
    return;
  }
  const std::unique_ptr<DIR, int (*)(DIR*)> tasks(opendir(directory), closedir);
  if (tasks == nullptr) {
    return;
  }
  while (const dirent* entry = readdir(tasks.get())) {
    if (!isNumber(entry->d_name)) {
      continue;
    }
    const auto id = static_cast<int32_t>(strtol(entry->d_name, nullptr, 10));
    android::sp<ProcessRecord> record = new ProcessRecord;
    if (!readProcessStat(collector, id, *record)) {
      continue;
    }
    if (collector.targetPid != -1) {
      readProcessSchedstat(collector, id, *record);
    }
    // Directory order is ascending on a real /proc, so the end is the right place.
    map.insert_or_assign(map.end(), id, record);
  }
}

}  // namespace tarnwick
