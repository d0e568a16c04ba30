#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iomanip>
#include <ostream>
#include <string>
#include <string_view>

#include "proc/process_stat.h"

namespace tarnwick::process_reading {

// The fields of a record, which unlike a record can be copied and compared.
struct Fields {
  int32_t id = 0;
  std::string name;
  int32_t ppid = 0;
  int64_t minFaults = 0;
  int64_t majFaults = 0;
  int64_t utime = 0;
  int64_t stime = 0;
  int64_t total = 0;
  int64_t numThreads = 0;
  int64_t blkioTicks = 0;

  bool operator==(const Fields&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Fields& fields) {
  return out << fields.id << " (" << std::quoted(fields.name) << ") " << fields.ppid << ' '
             << fields.minFaults << ' ' << fields.majFaults << ' ' << fields.utime << ' '
             << fields.stime << ' ' << fields.total << ' ' << fields.numThreads << ' '
             << fields.blkioTicks;
}

inline Fields fieldsOf(const ProcessRecord& record) {
  return {.id = record.id,
          .name = record.name.data(),
          .ppid = record.ppid,
          .minFaults = record.minFaults,
          .majFaults = record.majFaults,
          .utime = record.utime,
          .stime = record.stime,
          .total = record.total,
          .numThreads = record.numThreads,
          .blkioTicks = record.blkioTicks};
}

// A record with something else than 0 in every field.
inline android::sp<ProcessRecord> heldRecord() {
  android::sp<ProcessRecord> record = new ProcessRecord;
  record->id = -1;
  record->name.fill('#');
  record->name.back() = '\0';
  record->ppid = -2;
  record->minFaults = -3;
  record->majFaults = -4;
  record->utime = -5;
  record->stime = -6;
  record->total = -7;
  record->numThreads = -8;
  record->blkioTicks = -9;
  record->runNs = -10;
  record->waitNs = -11;
  record->switches = -12;
  return record;
}

// What the text gives over the held record.
inline Fields statOf(std::string_view text) {
  const android::sp<ProcessRecord> record = heldRecord();
  parseProcessStat(text, *record);
  return fieldsOf(*record);
}

inline Fields sscanfStatOf(const std::string& text, Fields fields = fieldsOf(*heldRecord())) {
  std::string name(text.size() + 1, '\0');
  char state = 0;
  int64_t no = 0;  // fields that are read and dropped
  sscanf(text.c_str(),
         "%d (%[^)]) %c %d %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld "
         "%ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld",
         &fields.id, name.data(), &state, &fields.ppid, &no, &no, &no, &no, &no,        // 5 to 9
         &fields.minFaults, &no, &fields.majFaults, &no, &fields.utime, &fields.stime,  //
         &no, &no, &no, &no, &fields.numThreads,                                        // 16 to 20
         &no, &no, &no, &no, &no, &no, &no, &no, &no, &no,                              // 21 to 30
         &no, &no, &no, &no, &no, &no, &no, &no, &no, &no, &no,                         // 31 to 41
         &fields.blkioTicks);
  fields.name = name.substr(0, std::min(name.find('\0'), size_t{39}));
  fields.total = static_cast<int64_t>(static_cast<uint64_t>(fields.utime) +
                                      static_cast<uint64_t>(fields.stime));
  return fields;
}

struct Schedstat {
  int fields = 0;
  int64_t runNs = -10;
  int64_t waitNs = -11;
  int64_t switches = -12;

  bool operator==(const Schedstat&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Schedstat& schedstat) {
  return out << schedstat.fields << ": " << schedstat.runNs << ' ' << schedstat.waitNs << ' '
             << schedstat.switches;
}

inline Schedstat schedstatOf(std::string_view text) {
  const android::sp<ProcessRecord> record = heldRecord();
  const int fields = parseProcessSchedstat(text, *record);
  return {fields, record->runNs, record->waitNs, record->switches};
}

inline Schedstat sscanfSchedstatOf(const std::string& text, const Schedstat& held = {}) {
  long long run = held.runNs;
  long long wait = held.waitNs;
  long switches = held.switches;
  const int fields = sscanf(text.c_str(), "%lld %lld %ld", &run, &wait, &switches);
  // The end of the text before the first field is -1 to sscanf and no field to us.
  return {std::max(fields, 0), run, wait, switches};
}

}  // namespace tarnwick::process_reading
