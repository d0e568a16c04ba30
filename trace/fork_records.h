#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace tarnwick {

// A thread that the kernel has made: what is used of PERF_RECORD_FORK (perf_event_open(2),
// include/uapi/linux/perf_event.h of the kernel).
struct ForkRecord {
  int32_t tgid;  // the id of its process
  int32_t tid;
};

// The fork records among the records of a perf buffer, which follow each other without gaps. Ends
// at a record whose size makes no sense. Pure.
std::vector<ForkRecord> parseForkRecords(std::string_view records);

}  // namespace tarnwick
