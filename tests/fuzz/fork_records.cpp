// The records of a perf buffer

#include <linux/perf_event.h>

#include <cstring>

#include "tests/fuzz/inputs.h"
#include "trace/fork_records.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  constexpr size_t kHeader = sizeof(perf_event_header);
  constexpr size_t kFork = kHeader + 4 * sizeof(int32_t);
  std::vector<int32_t> expected;
  for (size_t at = 0; at + kHeader <= input.size();) {
    perf_event_header header;
    memcpy(&header, &input[at], kHeader);
    if (header.size < kHeader || at + header.size > input.size()) {
      break;
    }
    if (header.type == PERF_RECORD_FORK && header.size >= kFork) {
      for (const size_t field : {size_t{0}, size_t{2}}) {
        int32_t id = 0;
        memcpy(&id, &input[at + kHeader + field * sizeof id], sizeof id);
        expected.push_back(id);
      }
    }
    at += header.size;
  }
  std::vector<int32_t> ids;
  for (const ForkRecord& fork : parseForkRecords(LoneText(input))) {
    ids.push_back(fork.tgid);
    ids.push_back(fork.tid);
  }
  expectSame(ids, expected);
}

}  // namespace tarnwick
