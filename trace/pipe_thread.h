#pragma once

namespace tarnwick {

class StatsCollector;

// Opens trace_pipe for the thread, and the ring buffers if the kernel has them. Returns false when
// trace_pipe is missing or has another reader. See "trace_pipe" in the kernel's
// Documentation/trace/ftrace.rst.
bool openTrace(const StatsCollector& collector);

// Starts the thread that reads what openTrace has opened during a measurement. With `--systrace` it
// makes records of the scheduler events and at its end writes them, and those of the log thread, to
// "/data/trace.txt"; with `--block-dump` it counts page-cache events by file. When the thread
// cannot be created the process ends with a message and status 1.
void startPipeThread(StatsCollector& collector);

// Returns when the thread has taken what the kernel's buffer holds now, or after two seconds, which
// gTraceLosses then says.
void drainPipeThread();

// Stops the thread and returns when it has ended and its file is written. What the pipe still holds
// at the stop is taken, for two seconds at most.
void stopPipeThread(StatsCollector& collector);

// The thread.
void* pipe_thread(void* unused);

}  // namespace tarnwick
