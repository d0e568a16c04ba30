#pragma once

#include <string_view>

namespace tarnwick {

class StatsCollector;

// Switches the kernel's event tracing on around one measurement, and runs the threads that consume
// it.
//
//   startTracing(collector);  // last step of the before snapshot
//   stopTracing(collector);   // last step of the after snapshot; waits for the threads to end
//   finishTracing();          // after the report
//
// The values that the tracing files had before are neither looked at nor put back. A file that is
// missing or cannot be written ends the process with a message and status 1; what was written
// before stays. The files are below "/sys/kernel/debug/tracing", or "/sys/kernel/tracing" where
// only that one holds a mounted tracefs, as on devices whose kernel has no debugfs any more. See
// the kernel's Documentation/trace/ftrace.rst.

// Limits the memory of the records to a quarter of what is available now, or to
// kDefaultMemoryLimit where the kernel does not say. Opens trace_pipe and starts the threads, so
// that a reader is there when the first event arrives. Then switches on what the collector's flags
// ask for. A trace_pipe that is missing or has another reader ends the process with a message and
// status 1 before the first write.
void startTracing(StatsCollector& collector);

// Switches everything off, whichever flag is set, and ends the log thread, then the pipe thread.
// Skips the switch of an event that the kernel does not have, unless this measurement switched it
// on: without CONFIG_SCHEDSTATS there is no sched_stat_wait and no sched_stat_iowait.
// The kernel discards what is unread when the clock or the size of its buffer is set: before that,
// waits until the pipe thread has taken what there was, for two seconds at most.
// Does nothing when neither flag is set.
void stopTracing(StatsCollector& collector);

// For a worker that cannot do its part: switches off what this measurement has switched on, as far
// as that can be written, prints the message (given without its newline) to standard output and
// ends the process with status 1. The main thread writes no tracing file any more.
[[noreturn]] void endTraceWithError(std::string_view message);

// Releases what the measurement held for its report. Prints what its trace lacks to standard error,
// and zeroes the counts; prints nothing where nothing was lost.
void finishTracing();

}  // namespace tarnwick
