#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "trace/drain_pace.h"
#include "trace/drain_request.h"
#include "trace/ring_page.h"
#include "trace/worker_signals.h"

namespace tarnwick {

// Reads the kernel's ring buffers, one of each CPU, page by page and without ever blocking, until
// the stop arrives; what is there at that moment is still delivered, but for what two seconds are
// not enough for. Reads by time: poll(2) on these files wakes only when a part of the buffer is
// full. See "trace_pipe_raw" in the kernel's Documentation/trace/ftrace.rst.
class RingReader {
 public:
  // Opens per_cpu/cpu*/trace_pipe_raw of the tracing directory, whose pages have this layout. Null
  // when there is none, or one cannot be opened.
  static std::unique_ptr<RingReader> open(const std::string& tracing, const RingPageLayout& layout);

  ~RingReader();
  RingReader(const RingReader&) = delete;
  RingReader& operator=(const RingReader&) = delete;

  // How many CPUs there are, and the kernel's number of each.
  const std::vector<int>& cpus() const { return cpus_; }

  // What the reader calls.
  class Sink {
   public:
    virtual ~Sink() = default;

    // A page of the CPU with this index in cpus(). False: the bytes are no page at all, reading
    // ends.
    virtual bool takePage(size_t cpu, std::string_view bytes) = 0;

    // This pass leaves pages of the CPU unread.
    virtual void leaveUnread(size_t cpu) = 0;

    // All CPUs have been read.
    virtual void endPass() = 0;

    // Nothing is left that was there at the request or the stop.
    virtual void endDrain() = 0;
  };

  // Returns true after the stop, false when a page was refused. `request` is answered meanwhile;
  // one that came when the page was refused still stands.
  bool run(Sink& sink, DrainRequest& request, DrainPace& pace);

 private:
  using Clock = std::chrono::steady_clock;
  enum class Pass { kAll, kSome, kRefused };

  RingReader() = default;

  // Takes what each CPU has, up to a bound. kSome: a CPU has more.
  Pass readAll(Sink& sink);
  Pass readCpu(size_t cpu, Sink& sink);

  // Passes until one has taken everything, for two seconds at most.
  Pass drain(Sink& sink);

  std::vector<int> fds_;
  std::vector<int> cpus_;
  std::vector<char> page_;
};

}  // namespace tarnwick
