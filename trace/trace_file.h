#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "trace/name_table.h"
#include "trace/trace_record.h"

namespace tarnwick {

// What the processes and names of a trace file are taken from: what was looked up during the
// measurement, the last name of each thread, and what the ids of the records stand for.
struct TraceNames {
  std::map<int32_t, int32_t>& tidToTgid;
  std::map<int32_t, std::string>& tgidNames;
  std::map<int32_t, NameTable::Id>& tidNames;
  const NameTable& names;
  const NameTable& kpiNames;
};

// Takes the next bytes of the file. Returns how many of them, from the first on, it has taken.
using TraceFileOutput = std::function<size_t(std::string_view bytes)>;

// What a trace file has got, up to the end of its last whole line.
struct WrittenRecords {
  uint64_t records = 0;
  uint64_t bytes = 0;
};

// Writes a line for each record, in their order:
//
//   time=35.993756 tag=r duration=110816 cpu=1 tgid=240 tgid_name=cat tid=240 tid_name=cat name=cat
//
// A process that was about to be named when its event came has the name that it got later, or none.
// The main thread's run time is named after its process. The thread's name is the last one that the
// trace gave it. Control characters of all names are written as '?': a newline would begin a record
// of the name's own. Ids that the maps lack are added to them, as 0 or with an empty name. Nothing
// is written after the first bytes that `out` did not take.
WrittenRecords writeTraceRecords(const TraceRecordList& records, const TraceNames& names,
                                 const TraceFileOutput& out);

}  // namespace tarnwick
