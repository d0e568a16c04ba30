#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "tests/unit/support/reading.h"
#include "trace/sched_event.h"

namespace tarnwick::sched_reading {

// An event as one text; its time in hexadecimal, which is exact.
inline std::string described(char kind, int32_t cpu, double time, int32_t tid, int64_t value,
                             const std::string& comm) {
  char numbers[120];
  snprintf(numbers, sizeof(numbers), "%c cpu=%d time=%a tid=%d value=%ld comm=", kind, cpu, time,
           tid, value);
  return numbers + comm;
}

inline char letterOf(SchedEventKind kind) {
  switch (kind) {
    case SchedEventKind::kWait:
      return 'w';
    case SchedEventKind::kIoWait:
      return 'i';
    case SchedEventKind::kRuntime:
      return 'r';
  }
  return '?';
}

inline std::string eventOf(std::string_view line) {
  const std::optional<SchedEvent> event = parseSchedEvent(line);
  return event ? described(letterOf(event->kind), event->cpu, event->time, event->tid, event->value,
                           std::string(event->comm))
               : kNone;
}

// The same with the functions of the C library.
inline std::string sscanfEventOf(const std::string& line) {
  const char* const found = strstr(line.c_str(), " [");
  if (found == nullptr) {
    return kNone;
  }
  const char* const head = found + 1;
  const char* const event = strstr(head, "sched_stat_");
  const char* const comm = strstr(head, "comm=");
  const char* const pid = strstr(head, "pid=");
  if (event == nullptr || comm == nullptr || pid == nullptr) {
    return kNone;
  }
  const char kind = event[strlen("sched_stat_")];
  const char* const name = comm + strlen("comm=");
  int cpu = 0;
  double time = 0;
  int tid = 0;
  long value = 0;
  const int numbers = kind == 'w' || kind == 'i' ? sscanf(pid, "pid=%d delay=%ld", &tid, &value)
                      : kind == 'r'              ? sscanf(pid, "pid=%d runtime=%ld", &tid, &value)
                                                 : 0;
  if (pid - name < 1 || sscanf(head, "[%d] %*s %lf:", &cpu, &time) != 2 || numbers != 2) {
    return kNone;
  }
  char copy[80] = "";
  strncpy(copy, name, std::min(static_cast<size_t>(pid - name - 1), sizeof(copy) - 1));
  return described(kind, cpu, time, tid, value, pid - name == 1 ? "blank" : copy);
}

}  // namespace tarnwick::sched_reading
