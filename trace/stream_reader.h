#pragma once

#include <array>
#include <chrono>
#include <string_view>

#include "trace/line_splitter.h"
#include "trace/worker_signals.h"

namespace tarnwick {

// Reads a descriptor without ever blocking in it, line by line, until the stop arrives; what is in
// the pipe at that moment is still delivered.
//
//   StreamReader reader(fd, 15ms);
//   reader.run([](std::string_view line) { ... });
//
// Reading rests for a while after each drain: a reader that the kernel wakes for every event is
// traced for every event, and slows down what it measures.
class StreamReader {
 public:
  // Switches the descriptor to non-blocking. It stays the caller's.
  StreamReader(int fd, std::chrono::milliseconds rest);

  // Returns after the stop. The end of the stream only ends the reading: what the caller does next
  // may need what other threads still do before their stop. A last line without a newline counts
  // when the stream has ended, not when it was stopped in the middle.
  template <typename Visit>
  void run(Visit visit) {
    bool stop = false;
    while (!stop && !ended_) {
      // The second wait is on no descriptor: one that is always ready would keep the stop out.
      stop = workerWait(fd_, std::nullopt) == WorkerWait::kStop ||
             workerWait(-1, drainBytes_ == 0 ? std::chrono::milliseconds::zero() : rest_) ==
                 WorkerWait::kStop;
      startDrain(stop);
      for (std::string_view bytes; !(bytes = next()).empty();) {
        splitter_.feed(bytes, visit);
      }
    }
    if (ended_) {
      splitter_.finish(visit);
    }
    while (!stop) {
      stop = workerWait(-1, std::nullopt) == WorkerWait::kStop;
    }
  }

 private:
  // A drain takes what is there, but no more than a stop can wait for. The last one takes what is
  // there at its start or, where that cannot be told, what comes in two seconds.
  void startDrain(bool last);

  // The next bytes of a drain; none at its end.
  std::string_view next();

  bool hungUp() const;

  int fd_;
  std::chrono::milliseconds rest_;
  bool ended_ = false;
  bool lastDrain_ = false;
  size_t drainBytes_ = 1;  // what the current drain may still take; 0 when it left something
  std::chrono::steady_clock::time_point drainEnd_;
  LineSplitter splitter_;
  std::array<char, size_t{64} * 1024> buffer_;
};

}  // namespace tarnwick
