#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace tarnwick {

// The threads created since this object was constructed. A thread that lives for a millisecond or
// less often has its first event in the trace when it ends, too late to look it up in /proc; the
// kernel's fork records still have its process. They cost nothing but memory while no thread is
// created: see "MMAP layout" in perf_event_open(2).
class ForkLog {
 public:
  // If a CPU's records cannot be opened, the threads that it creates are missing; so they are after
  // a CPU has been offline.
  ForkLog();
  ~ForkLog();
  ForkLog(const ForkLog&) = delete;
  ForkLog& operator=(const ForkLog&) = delete;

  // Whether it had the records of all CPUs that were online.
  bool works() const { return works_; }

  // Takes the records of all CPUs. Call it often: a CPU has room for several hundred threads, each
  // of which takes two records, one when it ends.
  void update();

  // The process id of a thread; -1 when that is not known. Updates the log for
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
  bool works_ = false;
  std::unordered_map<int32_t, int32_t> tgids_;
  std::vector<char> records_;
};

}  // namespace tarnwick
