#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace tarnwick {

// The threads that the kernel has made since this object was. A thread that lives for a millisecond
// or less often has its first event in the trace when it ends, too late to look it up in /proc; the
// kernel's fork records still have its process. They cost nothing but memory while no thread is
// made: see "mmap layout" in perf_event_open(2).
class ForkLog {
 public:
  // Where a CPU's records cannot be had, the log lacks them.
  ForkLog();
  ~ForkLog();
  ForkLog(const ForkLog&) = delete;
  ForkLog& operator=(const ForkLog&) = delete;

  // Whether it has the records of any CPU.
  bool works() const { return !buffers_.empty(); }

  // Takes the records of all CPUs. Call it often: a CPU has room for several hundred.
  void update();

  // The id of the process of a thread that was made; -1 when that is not known. Updates the log for
  // a thread that it does not have.
  int32_t tgidOf(int32_t tid);

 private:
  // The buffer of a CPU: a page that says where records are, and the pages of the records.
  struct Buffer {
    int fd;
    char* pages;
  };

  static Buffer open(int cpu);
  void take(const Buffer& buffer);

  std::vector<Buffer> buffers_;
  std::unordered_map<int32_t, int32_t> tgids_;
  std::vector<char> records_;
};

}  // namespace tarnwick
