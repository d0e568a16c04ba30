#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "proc/process_record.h"

namespace tarnwick {

// The process or thread id that an entry of /proc or /proc/PID/task names: decimal digits and
// nothing else. Only its low 32 bits count. Pure.
std::optional<int32_t> parseTaskId(const char* name);

// Fills the stat fields of a record from the text of /proc/PID/stat (or /proc/PID/task/TID/stat)
// and sums up `total`. The text is read as by the scan format
//
//   "%d (%[^)]) %c %d %ld %ld ..." with 38 times "%ld", fields 5 to 42
//
// so a name ends at its first ")", wherever that stands, and what follows is read from there.
// Fields that a short or odd text does not reach keep what the record held; the name is cleared
// first. Pure; see proc(5).
void parseProcessStat(std::string_view text, ProcessRecord& record);

// Fills runNs, waitNs and switches from the text of /proc/PID/schedstat ("97000 145000 134").
// Returns the number of fields that were there; the others keep what the record held. Pure; see the
// kernel's Documentation/scheduler/sched-stats.rst.
int parseProcessSchedstat(std::string_view text, ProcessRecord& record);

}  // namespace tarnwick
