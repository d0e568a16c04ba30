#pragma once

#include <atomic>

namespace tarnwick {

// How a traced measurement survives the end of memory. The tables of a trace grow with what is
// traced, in many places, and none of them can be checked where exceptions are off. So memory is
// set aside before the measurement, and operator new, when it first fails, gives that back and
// tries again (see std::set_new_handler). From then on the workers drop all events, and nothing
// grows but what the report needs.

// Whether an allocation has failed since reserveMemory; memoryRanOut reads it.
extern std::atomic<bool> gMemoryRanOut;

// Sets the memory aside. Where there is none, it has run out already.
void reserveMemory();

// Gives it back, when the report is out. From here on a failed allocation ends the process.
void releaseMemory();

// Whether an allocation has failed since reserveMemory. Any thread.
inline bool memoryRanOut() {
  return gMemoryRanOut.load(std::memory_order_relaxed);
}

}  // namespace tarnwick
