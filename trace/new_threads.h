#pragma once

#include <cstdint>

#include "trace/new_tids.h"

namespace tarnwick {

// Finds threads that were made since it looked last. A thread that ends soon has its first event of
// the trace when it ends, too late to look it up.
class NewThreads {
 public:
  NewThreads();
  ~NewThreads();
  NewThreads(const NewThreads&) = delete;
  NewThreads& operator=(const NewThreads&) = delete;

  // None where there is no /proc/loadavg, nor at the first look.
  TidRange look();

 private:
  int loadavg_;
  int32_t last_ = -1;
};

}  // namespace tarnwick
