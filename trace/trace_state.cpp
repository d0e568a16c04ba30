#include "trace/trace_state.h"

#include "trace/lock.h"
#include "trace/memory_reserve.h"

namespace tarnwick {

// NOLINTBEGIN(cert-err58-cpp): without memory at its start the process may well end
TraceRecordList& gTraceRecords = *new TraceRecordList;
pthread_mutex_t gTraceMutex = PTHREAD_MUTEX_INITIALIZER;
std::map<int32_t, int32_t>& gTidToTgid = *new std::map<int32_t, int32_t>;
std::map<int32_t, std::string>& gTgidNames = *new std::map<int32_t, std::string>;
std::map<int32_t, NameTable::Id>& gTidNames = *new std::map<int32_t, NameTable::Id>;
NameTable& gTraceNames = *new NameTable;
TraceLosses& gTraceLosses = *new TraceLosses;
pthread_mutex_t gTgidNamesMutex = PTHREAD_MUTEX_INITIALIZER;
NameTable& gKpiNames = *new NameTable;
PageCacheCounts& gPageCacheCounts = *new PageCacheCounts;
std::string& gTracingDirectory = *new std::string;
// NOLINTEND(cert-err58-cpp)
bool gTraceSched = false;
bool gTracePageCache = false;
bool gFirstTraceSeen = false;
bool gKpiPidFound = false;

bool droppedForMemory() {
  if (!memoryRanOut()) {
    return false;
  }
  const Lock lock(gTraceMutex);
  ++gTraceLosses.outOfMemory;
  return true;
}

}  // namespace tarnwick
