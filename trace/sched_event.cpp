#include "trace/sched_event.h"

#include <algorithm>
#include <cstring>

#include "sysstat/ordinary_text.h"
#include "sysstat/scan.h"

namespace tarnwick {

namespace {

constexpr ptrdiff_t kLongestName = 79;

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

// "wait: comm=", "iowait: comm=" or "runtime: comm="
bool scanKind(OrdinaryText& text, SchedEventKind& kind) {
  if (text.literal("runtime: comm=")) {
    kind = SchedEventKind::kRuntime;
    return true;
  }
  if (text.literal("wait: comm=")) {
    kind = SchedEventKind::kWait;
    return true;
  }
  kind = SchedEventKind::kIoWait;
  return text.literal("iowait: comm=");
}

// A line as kernels print it; false for all others.
bool scanOrdinaryLine(std::string_view line, SchedEvent& event) {
  if (!OrdinaryText::canRead(line)) {
    return false;
  }
  const char* const end = line.data() + line.size();
  const void* const bracket = memchr(line.data(), '[', line.size());
  if (bracket == nullptr || bracket == line.data()) {
    return false;
  }
  OrdinaryText text(static_cast<const char*>(bracket) - 1, end);
  if (!text.literal(" [") || !text.integer(event.cpu) || !text.literal("] ")) {
    return false;
  }
  // So few characters, and none of them "=": nothing that is looked for further on.
  constexpr int kMostFlags = 5;
  constexpr int kDecimals = 6;
  constexpr uint64_t kMillion = 1000000;
  int32_t seconds = 0;
  uint64_t micros = 0;
  if (!text.word(kMostFlags)) {
    return false;
  }
  text.blanks();
  if (!text.integer(seconds) || !text.literal(".") || !text.digits<kDecimals>(micros) ||
      !text.literal(": sched_stat_") || !scanKind(text, event.kind)) {
    return false;
  }
  constexpr ptrdiff_t kPid = 4;  // " pid"
  const char* const name = text.at();
  const char* const equals =
      static_cast<const char*>(memchr(name, '=', static_cast<size_t>(end - name)));
  if (equals == nullptr || equals - name <= kPid || equals - name - kPid > kLongestName) {
    return false;
  }
  text = OrdinaryText(equals - kPid, end);
  uint64_t value = 0;
  if (!text.literal(" pid=") || !text.integer(event.tid) ||
      !(event.kind == SchedEventKind::kRuntime ? text.literal(" runtime=")
                                               : text.literal(" delay=")) ||
      text.number(value) == 0) {
    return false;
  }
  event.comm = {name, static_cast<size_t>(equals - name - kPid)};
  // A quotient of two numbers that a double holds exactly is rounded once, as scanf rounds.
  event.time = static_cast<double>(static_cast<uint64_t>(seconds) * kMillion + micros) /
               static_cast<double>(kMillion);
  event.value = static_cast<int64_t>(value);
  return true;
}

// Any line. Not inlined, for its registers would have to be saved for every ordinary line, too.
__attribute__((noinline)) std::optional<SchedEvent> scanAnyLine(std::string_view line) {
  SchedEvent event{};
  constexpr std::string_view kEvent = "sched_stat_";
  constexpr std::string_view kComm = "comm=";
  const size_t head = line.find(" [");
  if (head == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view text = line.substr(head + 1);
  const size_t kindAt = text.find(kEvent);
  if (kindAt == std::string_view::npos || kindAt + kEvent.size() >= text.size()) {
    return std::nullopt;
  }
  const std::optional<SchedEventKind> kind = kindOf(text[kindAt + kEvent.size()]);
  const size_t comm = text.find(kComm);
  const size_t pid = text.find("pid=");
  if (!kind || comm == std::string_view::npos || pid == std::string_view::npos ||
      pid < comm + kComm.size() + 1) {
    return std::nullopt;
  }
  event.kind = *kind;
  const size_t name = comm + kComm.size();
  event.comm = text.substr(name, std::min(pid - name - 1, size_t{kLongestName}));
  if (event.comm.empty()) {
    event.comm = "blank";
  }
  const std::string_view valueName = *kind == SchedEventKind::kRuntime ? "runtime=" : "delay=";
  if (!scanHead(text, event) || !scanNumbers(text.substr(pid), valueName, event)) {
    return std::nullopt;
  }
  return event;
}

}  // namespace

std::optional<SchedEvent> parseSchedEvent(std::string_view line) {
  SchedEvent event{};
  if (scanOrdinaryLine(line, event)) {
    return event;
  }
  return scanAnyLine(line);
}

}  // namespace tarnwick
