#include "trace/fork_records.h"

#include <linux/perf_event.h>

#include <cstddef>
#include <cstring>

namespace tarnwick {

namespace {

// What follows the header of PERF_RECORD_FORK, up to its time.
struct Fork {
  int32_t tgid;
  int32_t parentTgid;
  int32_t tid;
  int32_t parentTid;
};

}  // namespace

std::vector<ForkRecord> parseForkRecords(std::string_view records) {
  std::vector<ForkRecord> forks;
  perf_event_header header;
  while (records.size() >= sizeof header) {
    memcpy(&header, records.data(), sizeof header);
    if (header.size < sizeof header || header.size > records.size()) {
      break;
    }
    if (header.type == PERF_RECORD_FORK && header.size >= sizeof header + sizeof(Fork)) {
      Fork fork;
      memcpy(&fork, records.data() + sizeof header, sizeof fork);
      forks.push_back({fork.tgid, fork.tid});
    }
    records.remove_prefix(header.size);
  }
  return forks;
}

}  // namespace tarnwick
