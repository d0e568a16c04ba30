#pragma once

#ifdef TARNWICK_PURE
#error "Parsing, subtracting and formatting know nothing of the collector."
#endif

namespace tarnwick {

// How SIGINT and standard output go together. From the moment of the signal nothing more may be
// printed, but what is buffered must come out; so the main thread is stopped where it stands,
// except where it holds the lock of standard output. There it is stopped as soon as it has let go.

// Stands around each use of standard output by the main thread, and around the end of the process:
//
//   const StdoutSection section;
//   vprintf(format, arguments);
class StdoutSection {
 public:
  StdoutSection();
  ~StdoutSection();
  StdoutSection(const StdoutSection&) = delete;
  StdoutSection& operator=(const StdoutSection&) = delete;
};

// Called by the signal handler on the main thread. Returns only inside a StdoutSection, whose end
// then does not return. Async-signal-safe.
void stopMainThread();

}  // namespace tarnwick
