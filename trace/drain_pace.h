#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace tarnwick {

// How long a reader rests after each drain. A thread is looked up while it lives, so the rests are
// short while threads come that were not seen before. Otherwise it rests longer from drain to
// drain: a reader that the kernel wakes for every event is traced for every event, and slows down
// what it measures. Pure.
class DrainPace {
 public:
  using Rest = std::chrono::microseconds;

  // Long rests stay within the kernel's buffer of 8 MB a CPU.
  static constexpr Rest kLongRest{15000};

  // The short rest. It is longer with fork records, which name a thread that has ended.
  static constexpr Rest kShortRest{100};
  static constexpr Rest kShortRestWithForks{1000};

  // How long the rests are short after a new thread.
  static constexpr Rest kShortRestsAfterNewThread{2000};

  // kShortRest at first.
  void setShortRest(Rest rest) { shortRest_ = rest; }

  // A drain begins.
  void startDrain() { ++drain_; }

  // The number of the current drain.
  uint32_t drain() const { return drain_; }

  // It met a thread that was not known.
  void metNewThread() { lastNew_ = drain_; }

  // After the drain: the short rest for kShortTime after a new thread, then twice the rest before,
  // up to kLongRest.
  Rest rest() {
    const bool isShort = drain_ - lastNew_ < kShortRestsAfterNewThread / shortRest_;
    rest_ = isShort ? shortRest_ : std::min(rest_ * 2, kLongRest);
    return rest_;
  }

 private:
  uint32_t drain_ = 0;
  uint32_t lastNew_ = 0;
  Rest shortRest_ = kShortRest;
  Rest rest_ = kShortRest;
};

}  // namespace tarnwick
