#pragma once

#include <chrono>
#include <initializer_list>
#include <optional>

namespace tarnwick {

// How the worker threads of tracing are stopped. SIGUSR2 is blocked in them but for the time of a
// wait, so one that arrives anywhere else is held and ends the next wait: a stop cannot be lost.

// Blocks SIGUSR2 in the calling thread and in the threads that it starts, for as long as it lives.
// A worker is started inside, or a stop that comes early would end the process.
class BlockWorkerSignals {
 public:
  BlockWorkerSignals();
  ~BlockWorkerSignals();
  BlockWorkerSignals(const BlockWorkerSignals&) = delete;
  BlockWorkerSignals& operator=(const BlockWorkerSignals&) = delete;

 private:
  bool wasBlocked_;
};

// First thing in a worker: blocks SIGUSR1, which is the main thread's, and installs the handler for
// SIGUSR2, without SA_RESTART. A handler belongs to the whole process; that of the worker that came
// last serves all. For any signal but SIGUSR2 it prints "NAME: unexpected signal" to standard
// output.
void installWorkerHandler(void (*handler)(int));

// What a worker's handler does for SIGUSR2. Async-signal-safe.
void noteStop();

enum class WorkerWait { kReadable, kTimeout, kStop };

// Sleeps in ppoll(2) until one of the descriptors (two at most; -1 is none) can be read or has
// ended, the time has run (none: for good), or the stop arrives. Worker threads only.
WorkerWait workerWait(std::initializer_list<int> fds,
                      std::optional<std::chrono::microseconds> timeout);

}  // namespace tarnwick
