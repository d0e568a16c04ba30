#include "trace/sched_event.h"

#include <algorithm>

#include "sysstat/scan.h"
#include "trace/find_text.h"

namespace tarnwick {

namespace {

constexpr size_t kLongestName = 79;

std::optional<SchedEventKind> kindOf(char c) {
  switch (c) {
    case 'w':
      return SchedEventKind::kWait;
    case 'i':
      return SchedEventKind::kIoWait;
    case 'r':
      return SchedEventKind::kRuntime;
    default:
      return std::nullopt;
  }
}

// "[001] d....    35.993756:"
bool scanHead(std::string_view text, SchedEvent& event) {
  Scanner scan(text);
  return scan.literal('[') && scan.integer(event.cpu) && scan.literal(']') && scan.skipWord() &&
         scan.real(event.time);
}

// "pid=240 runtime=110816"
bool scanNumbers(std::string_view text, std::string_view valueName, SchedEvent& event) {
  Scanner scan(text);
  if (!scan.literal("pid=") || !scan.integer(event.tid)) {
    return false;
  }
  scan.space();
  return scan.literal(valueName) && scan.number(event.value);
}

}  // namespace

std::optional<SchedEvent> parseSchedEvent(std::string_view line) {
  constexpr std::string_view kEvent = "sched_stat_";
  constexpr std::string_view kComm = "comm=";
  const size_t head = findText(line, " [", 1);
  if (head == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view text = line.substr(head + 1);
  const size_t kindAt = findText(text, "sched_stat_", 5);
  if (kindAt == std::string_view::npos || kindAt + kEvent.size() >= text.size()) {
    return std::nullopt;
  }
  const std::optional<SchedEventKind> kind = kindOf(text[kindAt + kEvent.size()]);
  const size_t comm = findText(text, "comm=", 4);
  const size_t pid = findText(text, "pid=", 3);
  if (!kind || comm == std::string_view::npos || pid == std::string_view::npos ||
      pid < comm + kComm.size() + 1) {
    return std::nullopt;
  }
  SchedEvent event{};
  event.kind = *kind;
  const size_t name = comm + kComm.size();
  event.comm = text.substr(name, std::min(pid - name - 1, kLongestName));
  if (event.comm.empty()) {
    event.comm = "blank";
  }
  const std::string_view valueName = *kind == SchedEventKind::kRuntime ? "runtime=" : "delay=";
  if (!scanHead(text, event) || !scanNumbers(text.substr(pid), valueName, event)) {
    return std::nullopt;
  }
  return event;
}

}  // namespace tarnwick
