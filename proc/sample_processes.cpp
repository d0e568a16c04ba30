#include "proc/sample_processes.h"

#include <dirent.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "collector/stats_collector.h"
#include "proc/process_stat.h"

namespace tarnwick {

namespace {

using FileText = std::array<char, 4096>;

// A number of up to 11 characters, "/schedstat" and the NUL.
using TaskPath = std::array<char, 22>;

// "ID/FILE". Put together by hand, since it is made for every process of every snapshot.
TaskPath taskPath(int32_t id, std::string_view file) {
  constexpr ptrdiff_t kLongest = 11;
  TaskPath path;
  char* end = std::to_chars(path.data(), path.data() + kLongest, id).ptr;
  *end++ = '/';
  *std::copy(file.begin(), file.end(), end) = '\0';
  return path;
}

}  // namespace

bool readProcessStat(StatsCollector& collector, const KernelFolder& tasks, int32_t id,
                     ProcessRecord& record) {
  FileText buffer;
  const auto text = collector.readKernelTextAt(tasks, taskPath(id, "stat").data(), buffer);
  if (!text) {
    return false;
  }
  parseProcessStat(*text, record);
  return true;
}

int readProcessSchedstat(StatsCollector& collector, const KernelFolder& tasks, int32_t id,
                         ProcessRecord& record) {
  FileText buffer;
  const auto text = collector.readKernelTextAt(tasks, taskPath(id, "schedstat").data(), buffer);
  return parseProcessSchedstat(text.value_or(""), record);
}

void sampleProcesses(StatsCollector& collector, const char* directory, ProcessMap& map) {
  if (!collector.procCpu) {
    return;
  }
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(directory), closedir);
  if (entries == nullptr) {
    return;
  }
  const KernelFolder tasks = {dirfd(entries.get()), std::string(directory) + '/'};
  ProcessMap::Entries records;
  while (const dirent* entry = readdir(entries.get())) {
    const std::optional<int32_t> id = parseTaskId(entry->d_name);
    if (!id) {
      continue;
    }
    android::sp<ProcessRecord> record = new ProcessRecord;
    if (!readProcessStat(collector, tasks, *id, *record)) {
      continue;
    }
    if (collector.targetPid != -1) {
      readProcessSchedstat(collector, tasks, *id, *record);
    }
    records.emplace_back(*id, std::move(record));
  }
  map.insertOrAssignAll(std::move(records));
}

}  // namespace tarnwick
