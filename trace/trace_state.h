#pragma once

#include <pthread.h>

#include <cstdint>
#include <map>
#include <string>

#include "trace/lock.h"
#include "trace/name_table.h"
#include "trace/page_cache_report.h"
#include "trace/trace_losses.h"
#include "trace/trace_record.h"

namespace tarnwick {

// What the worker threads of tracing leave for each other and for the report. None of it is ever
// destroyed: a thread may still be at work when the process ends.

// In the order of appending, by both threads.
extern TraceRecordList& gTraceRecords;
extern pthread_mutex_t gTraceMutex;  // guards gTraceRecords

// The pipe thread's caches of a measurement: thread id to process id, process id to process name,
// and thread id to the name that the trace last gave it. The names of the records are ids of
// gTraceNames.
extern std::map<int32_t, int32_t>& gTidToTgid;
extern std::map<int32_t, std::string>& gTgidNames;
extern std::map<int32_t, NameTable::Id>& gTidNames;
extern NameTable& gTraceNames;

// What the trace of this measurement lacks. The pipe thread counts; after its end the main thread
// prints and zeroes it. The log thread counts as well, so gTraceMutex guards overMemory and
// outOfMemory. The main thread alone sets notDrained.
extern TraceLosses& gTraceLosses;

// Appends to gTraceRecords. It holds gTraceMutex as long as it lives: a lock for each record would
// cost more than the record.
class TraceAppender {
 public:
  // Counts the record in gTraceLosses if there is no room.
  // NOLINTNEXTLINE(readability-convert-member-functions-to-static): it needs the lock
  void append(const TraceRecord& record) {
    gTraceLosses.overMemory += gTraceRecords.append(record) ? 0U : 1U;
  }

 private:
  Lock lock_{gTraceMutex};
};

// Whether memory has run out (memory_reserve.h), so that the caller drops its event. Counts it in
// gTraceLosses.
bool droppedForMemory();

// Guards gTgidNames: the log thread reads it at its end while the pipe thread may add to it.
extern pthread_mutex_t gTgidNamesMutex;

// The tags of KPI records. Guarded by gTraceMutex, too.
extern NameTable& gKpiNames;

// They add up over all measurements.
extern PageCacheCounts& gPageCacheCounts;

// Where the tracing files of this measurement are. Set before the threads start.
extern std::string& gTracingDirectory;

// Options of the collector, copied before the pipe thread starts.
extern bool gTraceSched;
extern bool gTracePageCache;

// Set once in the life of the process.
extern bool gFirstTraceSeen;
extern bool gKpiPidFound;

}  // namespace tarnwick
