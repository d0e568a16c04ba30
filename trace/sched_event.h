#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarnwick {

enum class SchedEventKind : uint8_t {
  kWait,     // sched_stat_wait: runnable, but another task had the CPU
  kIoWait,   // sched_stat_iowait: asleep until a block device answered
  kRuntime,  // sched_stat_runtime: on the CPU
};

// One scheduler statistics event of a line of trace_pipe.
struct SchedEvent {
  SchedEventKind kind;
  double time;    // seconds, of the trace clock
  int64_t value;  // nanoseconds: the delay, or the run time
  int32_t cpu;
  int32_t tid;            // the event's "pid=": the thread that waited or ran
  std::string_view comm;  // the thread's name, "blank" where it is empty; points into the line
};

// The event in a line such as
//
//   cat-240     [001] d....    35.993756: sched_stat_runtime: comm=cat pid=240 runtime=110816 [ns]
//
// or no value when it holds none. The head is found at the first " [", read as by "[%d] %*s %lf:";
// the kind is told by the character behind the first "sched_stat_" (w, i or r); the name stands
// between the first "comm=" and the blank before the first "pid=", cut at 79 characters; the
// numbers are read as by "pid=%d delay=%ld", or "pid=%d runtime=%ld". A line that lacks one of
// these has no event. Pure; see include/trace/events/sched.h of the kernel.
std::optional<SchedEvent> parseSchedEvent(std::string_view line);

}  // namespace tarnwick
