#pragma once

namespace tarnwick {

class StatsCollector;

// Starts the thread that reads trace_pipe during a measurement. With `--systrace` it makes records
// of the scheduler events and at its end writes them, and those of the log thread, to
// "/data/trace.txt"; with `--block-dump` it counts page-cache events by file. When the thread
// cannot be created the process ends with a message and status 1, as it does when the thread finds
// no trace_pipe.
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
