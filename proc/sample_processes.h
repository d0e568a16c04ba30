#pragma once

#include <cstdint>

#include "proc/process_record.h"

namespace tarnwick {

class StatsCollector;
struct KernelFolder;

// Fills the map with one new record for each numeric entry of a directory: "/proc", or the task
// directory of the process that the collector watches. Does nothing when process statistics are off
// or the directory cannot be opened; entries that vanish on the way are left out. Costs one open,
// read and close a process, two of each a thread.
void sampleProcesses(StatsCollector& collector, const char* directory, ProcessMap& map);

// Fills the stat fields from ID/stat in the folder of the tasks, which is /proc or the task
// directory of the watched process. Returns false when not one byte could be read. A text that
// begins with a NUL byte counts as read; its fields are 0 and its name empty in a new record.
bool readProcessStat(StatsCollector& collector, const KernelFolder& tasks, int32_t id,
                     ProcessRecord& record);

// Fills the schedstat fields from ID/schedstat likewise; they stay as they are when the file cannot
// be read. Returns the number of fields that were there.
int readProcessSchedstat(StatsCollector& collector, const KernelFolder& tasks, int32_t id,
                         ProcessRecord& record);

}  // namespace tarnwick
