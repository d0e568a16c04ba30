#include "trace/memory_reserve.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <new>
#include <string_view>

#include "trace/lock.h"
#include "trace/trace_state.h"
#include "trace/unfinished_file.h"

namespace tarnwick {

std::atomic<bool> gMemoryRanOut = false;

namespace {

// Enough for the names of half a million threads in the trace file, or for the table of a million
// paths. Never touched, so it costs no memory until it is given back.
constexpr size_t kReserveBytes = size_t{32} << 20U;

pthread_mutex_t gReserveMutex = PTHREAD_MUTEX_INITIALIZER;
void* gReserve = MAP_FAILED;
std::atomic<uint32_t> gReserves = 0;  // that there have been

// Whether there was something to give back.
bool giveBack() {
  const Lock lock(gReserveMutex);
  if (gReserve == MAP_FAILED) {
    return false;
  }
  munmap(gReserve, kReserveBytes);
  gReserve = MAP_FAILED;
  return true;
}

// Without any allocation, and without a lock that the caller of operator new may hold.
[[noreturn]] void endWithoutMemory() {
  constexpr std::string_view kMessage = "tarnwick: out of memory\n";
  static_cast<void>(write(STDERR_FILENO, kMessage.data(), kMessage.size()) == 0);
  std::array<char, 128> path;
  snprintf(path.data(), path.size(), "%s/tracing_on", gTracingDirectory.c_str());
  const int fd = open(path.data(), O_WRONLY | O_CLOEXEC);
  if (fd >= 0) {
    static_cast<void>(write(fd, "0", 1) == 0);
  }
  abandonUnfinishedFiles();
  if (ftrylockfile(stdout) == 0) {
    fflush(stdout);
  }
  _exit(1);
}

void onAllocationFailure() {
  if (giveBack()) {
    gMemoryRanOut = true;
    return;
  }
  // Another thread may have given it back after the allocation of this one failed.
  thread_local uint32_t triedAgain = 0;
  if (triedAgain == gReserves) {
    endWithoutMemory();
  }
  triedAgain = gReserves;
}

}  // namespace

void reserveMemory() {
  ++gReserves;
  giveBack();
  gReserve =
      mmap(nullptr, kReserveBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  gMemoryRanOut = gReserve == MAP_FAILED;
  std::set_new_handler(onAllocationFailure);
}

void releaseMemory() {
  std::set_new_handler(nullptr);
  giveBack();
}

}  // namespace tarnwick
