#include "trace/stream_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <string>
#include <thread>

#include "trace/worker_signals.h"

namespace tarnwick {
namespace {

// What a reader takes of a file when its stop has come before its start. The stop belongs to a
// thread, hence a thread of its own.
std::string takenAtTheStop(const char* path) {
  std::string taken;
  std::thread([&] {
    noteStop();
    const int fd = open(path, O_RDONLY);
    StreamReader(fd, 16).run([&](std::string_view line) { taken.append(line); });
    close(fd);
  }).join();
  return taken;
}

TEST(StreamReader, takesAllOfAKernelFileAtTheStop) {
  // As the kernel's trace: a regular file that has no size, whatever can be read from it.
  constexpr const char* kKernelFile = "/proc/version";
  std::string expected;
  std::getline(std::ifstream(kKernelFile), expected);
  ASSERT_GT(expected.size(), 32U);
  EXPECT_EQ(takenAtTheStop(kKernelFile), expected + '\n');
}

TEST(WorkerWait, inputThatCanAlwaysBeReadDoesNotKeepTheStopOut) {
  WorkerWait result{};
  std::thread([&] {
    const BlockWorkerSignals blocked;
    installWorkerHandler([](int) { noteStop(); });
    pthread_kill(pthread_self(), SIGUSR2);
    const int fd = open("/dev/zero", O_RDONLY);
    result = workerWait({fd}, std::nullopt);
    close(fd);
  }).join();
  EXPECT_EQ(result, WorkerWait::kStop);
}

}  // namespace
}  // namespace tarnwick
