#include "proc/sample_processes.h"

#include <dirent.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <optional>
#include <utility>

#include "collector/stats_collector.h"
#include "proc/process_stat.h"

namespace tarnwick {

namespace {

// "/proc/", "/task/" and "/schedstat", two numbers of up to 11 characters, and the NUL.
using Path = std::array<char, 45>;
using FileText = std::array<char, 4096>;

char* append(char* end, std::string_view text) {
  return std::copy(text.begin(), text.end(), end);
}

char* append(char* end, int32_t number) {
  constexpr ptrdiff_t kLongest = 11;
  return std::to_chars(end, end + kLongest, number).ptr;
}

// "/proc/ID/FILE" or "/proc/TARGET/task/ID/FILE". Put together by hand, since it is made for every
// process of every snapshot.
Path taskPath(const StatsCollector& collector, int32_t id, std::string_view file) {
  Path path;
  char* end = append(path.data(), "/proc/");
  if (collector.targetPid != -1) {
    end = append(append(end, collector.targetPid), "/task/");
  }
  *append(append(append(end, id), "/"), file) = '\0';
  return path;
}

// The number that a name consists of.
std::optional<int32_t> toNumber(const char* name) {
  uint32_t number = 0;
  const char* at = name;
  for (; *at >= '0' && *at <= '9'; ++at) {
    number = number * 10 + static_cast<uint32_t>(*at - '0');
  }
  if (at == name || *at != '\0') {
    return std::nullopt;
  }
  return static_cast<int32_t>(number);
}

}  // namespace

bool readProcessStat(StatsCollector& collector, int32_t id, ProcessRecord& record) {
  const Path path = taskPath(collector, id, "stat");
  FileText buffer;
  const std::string_view text = collector.readKernelText(path.data(), buffer);
  if (text.empty()) {
    return false;
  }
  parseProcessStat(text, record);
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
  ProcessMap::Entries records;
  while (const dirent* entry = readdir(tasks.get())) {
    const std::optional<int32_t> id = toNumber(entry->d_name);
    if (!id) {
      continue;
    }
    android::sp<ProcessRecord> record = new ProcessRecord;
    if (!readProcessStat(collector, *id, *record)) {
      continue;
    }
    if (collector.targetPid != -1) {
      readProcessSchedstat(collector, *id, *record);
    }
    records.emplace_back(*id, std::move(record));
  }
  map.insertOrAssignAll(std::move(records));
}

}  // namespace tarnwick
