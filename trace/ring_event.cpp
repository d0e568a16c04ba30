#include "trace/ring_event.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <limits>

#include "sysstat/eight_characters.h"
#include "trace/line_splitter.h"

namespace tarnwick {

namespace {

// How many characters are before the first control character or "=".
size_t nameLength(std::string_view text) {
  constexpr size_t kWord = 8;
  size_t length = 0;
  while (text.size() >= kWord && length < text.size()) {
    // The last word can begin within the one before.
    const size_t at = std::min(length, text.size() - kWord);
    const auto count = static_cast<size_t>(EightCharacters(text.data() + at).nameCharacters());
    length = at + count;
    if (count < kWord) {
      return length;
    }
  }
  while (length < text.size() && static_cast<unsigned char>(text[length]) >= ' ' &&
         text[length] != '=') {
    ++length;
  }
  return length;
}

const char* kindName(SchedEventKind kind) {
  switch (kind) {
    case SchedEventKind::kWait:
      return "wait";
    case SchedEventKind::kIoWait:
      return "iowait";
    case SchedEventKind::kRuntime:
      break;
  }
  return "runtime";
}

// By way of the line in trace_pipe, without its first two words, which are not looked at.
// Not inlined, for its registers would have to be saved for every ordinary name, too.
__attribute__((noinline)) std::optional<SchedEvent> readByLine(SchedEventKind kind,
                                                               std::string_view comm, int32_t tid,
                                                               uint64_t value, int32_t cpu,
                                                               uint64_t nanoseconds,
                                                               SchedEventText& text) {
  constexpr size_t kMaxName = 128;  // the kernel's are shorter than 16
  const uint64_t micros = ringMicroseconds(nanoseconds);
  const int length =
      snprintf(text.data(), text.size(),
               " [%03" PRId32 "] d.... %5" PRIu64 ".%06" PRIu64
               ": sched_stat_%s: comm=%.*s pid=%" PRId32 " %s=%" PRIu64 " [ns]\n",
               cpu, micros / kMicrosecondsPerSecond, micros % kMicrosecondsPerSecond,
               kindName(kind), static_cast<int>(std::min(comm.size(), kMaxName)), comm.data(), tid,
               kind == SchedEventKind::kRuntime ? "runtime" : "delay", value);
  std::optional<SchedEvent> event;
  const std::string_view lines(text.data(), std::min(static_cast<size_t>(length), text.size() - 1));
  LineSplitter().feed(lines, [&event](std::string_view line) {
    if (!event) {
      event = parseSchedEvent(line);
    }
  });
  return event;
}

}  // namespace

std::optional<SchedEvent> readSchedEvent(std::string_view record, const SchedEventFormat& format,
                                         int32_t cpu, uint64_t nanoseconds, SchedEventText& text) {
  constexpr size_t kMaxOrdinaryName = 16;
  const std::optional<SchedEventFields> fields = schedEventFields(record, format);
  if (!fields) {
    return std::nullopt;
  }
  const auto& [field, tid, value] = *fields;
  const std::string_view comm = field.substr(0, nameLength(field));
  const bool whole = comm.size() == field.size() || field[comm.size()] == '\0';
  if (!whole || comm.size() > kMaxOrdinaryName) {
    const std::string_view odd = field.substr(0, field.find('\0'));
    return readByLine(format.kind, odd, tid, value, cpu, nanoseconds, text);
  }
  // scanf's %ld stops at the largest number, too.
  constexpr uint64_t kMaxValue = std::numeric_limits<int64_t>::max();
  return SchedEvent{format.kind,
                    ringSeconds(nanoseconds),
                    static_cast<int64_t>(std::min(value, kMaxValue)),
                    cpu,
                    tid,
                    comm.empty() ? std::string_view("blank") : comm};
}

std::optional<PageCacheEvent> readPageCacheEvent(std::string_view record,
                                                 const PageCacheEventFormat& format) {
  if (record.size() < format.minSize) {
    return std::nullopt;
  }
  // dev_t of the kernel: MAJOR and MINOR in include/linux/kdev_t.h
  constexpr uint32_t kMinorBits = 20;
  const auto device = loadAs<uint32_t>(record.data() + format.device.offset);
  const char* const inode = record.data() + format.inode.offset;
  PageCacheEvent event{};
  event.added = format.added;
  // Lines are read by %hu, which keeps the low 16 bits.
  event.file.major = static_cast<uint16_t>(device >> kMinorBits);
  event.file.minor = static_cast<uint16_t>(device & ((1U << kMinorBits) - 1));
  event.file.inode =
      format.inode.size == sizeof(uint64_t) ? loadAs<uint64_t>(inode) : loadAs<uint32_t>(inode);
  return event;
}

}  // namespace tarnwick
