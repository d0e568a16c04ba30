#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "trace/name_table.h"

namespace tarnwick {

// What a line of the trace file stands for. Its tag is "r" for run time and "nr" for the rest.
enum class TraceRecordKind : uint32_t {
  kWait,     // on a run queue; named "wait"
  kIoWait,   // asleep until a block device answered; named "iowait"
  kRuntime,  // on a CPU; named after the thread
  kKpi,      // a timing line of the platform's log; named after its tag
};

// One event of a thread on the trace's time axis. Small, since a long trace has millions: names are
// ids, the kind and the duration share a word, and what the file says besides follows from the
// thread, since it does not change from event to event:
//   - the thread's process, and that process's name, are looked up once in a measurement,
//   - a thread's name as the file has it is the last one that the trace gave it,
//   - a KPI record has the process id 0, and "kpi" for the names of its process and thread.
struct TraceRecord {
  static constexpr int64_t kLongestDuration = 300000000;  // nanoseconds; longer events are left out

  double time = 0;             // seconds
  uint32_t duration : 29 = 0;  // nanoseconds, up to kLongestDuration
  TraceRecordKind kind : 3 = TraceRecordKind::kWait;
  int32_t cpu = 0;
  int32_t tid = 0;         // thread id; of a KPI record, the application's process id or 0
  NameTable::Id name = 0;  // the thread's name at the time, or a KPI record's tag
};
static_assert(sizeof(TraceRecord) == 24);

// The records in the order of their appending. It grows without moving what is in it.
class TraceRecordList {
 public:
  // False when the list is full and the record was dropped.
  bool append(const TraceRecord& record) {
    if (room_ == 0 && !addChunk()) {
      return false;
    }
    --room_;
    chunks_.back().push_back(record);
    return true;
  }

  // Limits the memory of the records to so many bytes; at first there is no limit. Call it while
  // the list is empty.
  void setLimit(uint64_t bytes) { maxRecords_ = bytes / sizeof(TraceRecord); }

  size_t size() const {
    return chunks_.empty() ? 0 : (chunks_.size() - 1) * kChunkRecords + chunks_.back().size();
  }
  bool empty() const { return chunks_.empty(); }

  // Frees the records. The limit stays.
  void clear();

  // Calls `visit` with each record.
  template <typename Visit>
  void forEach(Visit visit) const {
    for (const std::vector<TraceRecord>& chunk : chunks_) {
      for (const TraceRecord& record : chunk) {
        visit(record);
      }
    }
  }

 private:
  static constexpr size_t kChunkRecords = 8192;

  bool addChunk();

  std::vector<std::vector<TraceRecord>> chunks_;  // each with room for all its records at once
  size_t room_ = 0;                               // in the last chunk
  uint64_t maxRecords_ = std::numeric_limits<uint64_t>::max();
};

}  // namespace tarnwick
