#include "trace/memory_reserve.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "tests/unit/collector/temporary_directory.h"
#include "trace/trace_state.h"

// Sanitizers have an allocator of their own, which ends the process when it fails.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TARNWICK_OWN_ALLOCATOR
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TARNWICK_OWN_ALLOCATOR
#endif
#endif

namespace tarnwick {
namespace {

constexpr size_t kBlock = size_t{1} << 20U;

// Lets the process have so many bytes more than it has.
void limitMemoryTo(size_t more) {
  size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const rlim_t bytes = pages * static_cast<size_t>(sysconf(_SC_PAGESIZE)) + more;
  const rlimit limit = {bytes, bytes};
  setrlimit(RLIMIT_AS, &limit);
}

// Whether the limit is kept. An emulator of a process takes it, and does not keep it.
[[maybe_unused]] bool limitsHold() {
  const pid_t child = fork();
  if (child == 0) {
    limitMemoryTo(kBlock);
    const void* const block =
        mmap(nullptr, 64 * kBlock, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    _exit(block == MAP_FAILED ? 0 : 1);
  }
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

class MemoryReserve : public testing::Test {
 protected:
  void SetUp() override {
#ifdef TARNWICK_OWN_ALLOCATOR
    GTEST_SKIP() << "the sanitizer's allocator ends the process when it fails";
#else
    if (!limitsHold()) {
      GTEST_SKIP() << "no limit of memory is kept here";
    }
#endif
  }
};

[[noreturn]] void survive() {
  limitMemoryTo(64 * kBlock);
  reserveMemory();
  std::vector<std::unique_ptr<char[]>> blocks(1000);
  size_t next = 0;
  while (!memoryRanOut()) {
    blocks[next++].reset(new char[kBlock]);
  }
  // The report has most of the reserve.
  for (int i = 0; i < 24; ++i) {
    blocks[next++].reset(new char[kBlock]);
  }
  _exit(7);
}

TEST_F(MemoryReserve, AllocationsGoOnAfterTheFirstThatFails) {
  EXPECT_EXIT(survive(), testing::ExitedWithCode(7), "^$");
}

[[noreturn]] void startWithoutReserve() {
  limitMemoryTo(16 * kBlock);
  reserveMemory();
  _exit(memoryRanOut() ? 7 : 8);
}

TEST_F(MemoryReserve, MemoryThatCannotBeSetAsideHasRunOut) {
  EXPECT_EXIT(startWithoutReserve(), testing::ExitedWithCode(7), "^$");
}

[[noreturn]] void useAll() {
  limitMemoryTo(64 * kBlock);
  reserveMemory();
  printf("what was printed before");
  std::vector<std::unique_ptr<char[]>> blocks(1000);
  for (auto& block : blocks) {
    block.reset(new char[kBlock]);
  }
  _exit(7);
}

TEST_F(MemoryReserve, EndWithoutMemorySwitchesTracingOff) {
  const TemporaryDirectory directory;
  const std::string control = std::string(directory.path()) + "/tracing_on";
  std::ofstream(control) << "1";
  gTracingDirectory = directory.path();
  EXPECT_EXIT(useAll(), testing::ExitedWithCode(1), "tarnwick: out of memory\n$");
  std::string text;
  std::ifstream(control) >> text;
  EXPECT_EQ(text, "0");
  gTracingDirectory.clear();
}

TEST_F(MemoryReserve, IsThereAnewForEachMeasurement) {
  reserveMemory();
  EXPECT_FALSE(memoryRanOut());
  releaseMemory();
  reserveMemory();
  reserveMemory();
  EXPECT_FALSE(memoryRanOut());
  releaseMemory();
  releaseMemory();
}

}  // namespace
}  // namespace tarnwick
