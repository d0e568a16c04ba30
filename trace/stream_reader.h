#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "trace/drain_pace.h"
#include "trace/drain_request.h"
#include "trace/line_splitter.h"
#include "trace/worker_signals.h"

namespace tarnwick {

// Reads a descriptor without ever blocking in it, line by line, until the stop arrives; what is
// there at that moment is still delivered, but for what two seconds are not enough for.
//
//   StreamReader reader(fd, 64 * 1024);
//   reader.run([](std::string_view line) { ... });
//
// Reading rests for a while after each drain, see DrainPace.
class StreamReader {
 public:
  // Switches the descriptor to non-blocking. It stays the caller's. Reads up to `blockSize` bytes
  // at a time. Before its own drain a stop can wait for that of the moment, a tenth of a second and
  // the lines of one block.
  StreamReader(int fd, size_t blockSize);

  // Returns after the stop. The end of the stream only ends the reading: what the caller does next
  // may need what other threads still do before their stop. A last line without a newline counts
  // when the stream has ended, not when it was stopped in the middle. `request`, if there is one,
  // is answered meanwhile. `pace`, if there is one, says how long to rest. `endBlock` is called
  // after the lines of each read(2).
  template <typename Visit, typename EndBlock>
  void run(Visit visit, EndBlock endBlock, DrainRequest* request, DrainPace* pace) {
    const int requestFd = request == nullptr ? -1 : request->fd();
    bool stop = false;
    DrainPace::Rest rest = DrainPace::Rest::zero();
    while (!stop && !ended_) {
      // The first wait is not on the stream: one that can always be read would leave no rest.
      stop = workerWait({requestFd}, rest) == WorkerWait::kStop ||
             workerWait({fd_, requestFd}, std::nullopt) == WorkerWait::kStop;
      const bool asked = request != nullptr && request->take();
      if (pace != nullptr) {
        pace->startDrain();
      }
      startDrain(stop || asked);
      for (std::string_view bytes; !(bytes = next()).empty();) {
        splitter_.feed(bytes, visit);
        endBlock();
      }
      if (asked) {
        request->answer(!leftSomething_ || drainBytes_ == 0);
      }
      rest = pace == nullptr ? DrainPace::kLongRest : pace->rest();
      if (leftSomething_) {
        rest = DrainPace::Rest::zero();
      }
    }
    if (ended_) {
      splitter_.finish(visit);
      endBlock();
    }
    if (request != nullptr) {
      request->answer();
    }
    while (!stop) {
      stop = workerWait({}, std::nullopt) == WorkerWait::kStop;
    }
  }

  template <typename Visit>
  void run(Visit visit) {
    run(
        visit, [] {}, nullptr, nullptr);
  }

 private:
  using Clock = std::chrono::steady_clock;

  // A drain takes what is there, for a tenth of a second at most. A thorough one takes what is
  // there at its start or, where that cannot be told, until nothing is there; for two seconds at
  // most.
  void startDrain(bool thorough);

  // The next bytes of a drain; none at its end.
  std::string_view next();

  bool hungUp() const;

  int fd_;
  bool isPipe_;
  bool ended_ = false;
  bool thorough_ = false;
  bool leftSomething_ = false;
  size_t drainBytes_ = 0;  // what the current drain may still take
  Clock::time_point drainEnd_;
  LineSplitter splitter_;
  std::vector<char> block_;
};

}  // namespace tarnwick
