// Records of scheduler events in the kernel's ring buffer, against what sscanf reads in the line
// that trace_pipe prints of them

#include "trace/ring_event.h"

#include <cinttypes>
#include <cstring>

#include "tests/fuzz/inputs.h"
#include "tests/unit/support/sched_reading.h"
#include "trace/ring_page.h"

namespace tarnwick {

namespace {

constexpr SchedEventFormat kFormat{
    7, SchedEventKind::kWait, {8, 16, false}, {24, 4, false}, {32, 8, false}, 40};

// The event of the first line that has one.
std::string sscanfEventOfLines(const std::string& lines) {
  for (const std::string& line : lines_reading::fgetsLinesOf<1024>(lines)) {
    std::string event = sched_reading::sscanfEventOf(line);
    if (event != kNone) {
      return event;
    }
  }
  return kNone;
}

}  // namespace

// The time is in the eight bytes behind the record.
void takeInput(std::string_view input) {
  constexpr size_t kRecord = 40;
  if (input.size() < kRecord + sizeof(uint64_t)) {
    return;
  }
  const LoneText lone(input.substr(0, kRecord));
  const std::string_view record = lone;
  // Years, and no more digits than a double has.
  const uint64_t time = loadAs<uint64_t>(input.data() + kRecord) >> 6U;
  SchedEventText name;
  const std::optional<SchedEvent> event = readSchedEvent(record, kFormat, 3, time, name);
  const std::string comm(record.data() + 8, strnlen(record.data() + 8, 16));
  const uint64_t micros = (time + 500) / 1000;
  char numbers[100];
  snprintf(numbers, sizeof numbers, "%5" PRIu64 ".%06" PRIu64, micros / 1000000, micros % 1000000);
  const std::string line =
      "            head-1 [003] d..1. " + std::string(numbers) + ": sched_stat_wait: comm=" + comm +
      " pid=" + std::to_string(loadAs<int32_t>(record.data() + 24)) +
      " delay=" + std::to_string(loadAs<uint64_t>(record.data() + 32)) + " [ns]\n";
  expectSame(event ? sched_reading::described('w', event->cpu, event->time, event->tid,
                                              event->value, std::string(event->comm))
                   : std::string(kNone),
             sscanfEventOfLines(line));
}

}  // namespace tarnwick
