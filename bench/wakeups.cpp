// A load of scheduler events: two threads that wake each other.
//
//   wakeups RATE SECONDS
//
// The first wakes the second so many times a second, in bursts of a millisecond's worth, and is
// woken in return; with the rate 0 as often as it can. Prints how many times that was.

#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

void post(int fd) {
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(fd, &one, sizeof(one));
}

void await(int fd) {
  uint64_t count = 0;
  [[maybe_unused]] const ssize_t got = read(fd, &count, sizeof(count));
}

}  // namespace

int main(int argc, char** argv) {
  using Clock = std::chrono::steady_clock;
  if (argc != 3) {
    fputs("wakeups RATE SECONDS\n", stderr);
    return 1;
  }
  const double rate = strtod(argv[1], nullptr);
  const double seconds = strtod(argv[2], nullptr);
  const int there = eventfd(0, EFD_CLOEXEC);
  const int back = eventfd(0, EFD_CLOEXEC);
  std::thread([=] {
    for (;;) {
      await(there);
      post(back);
    }
  }).detach();

  const Clock::time_point start = Clock::now();
  uint64_t done = 0;
  for (;;) {
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    if (elapsed.count() >= seconds) {
      break;
    }
    const auto due = rate > 0 ? static_cast<uint64_t>(rate * elapsed.count()) : done + 100;
    for (; done < due; ++done) {
      post(there);
      await(back);
    }
    if (rate > 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  printf("%lu\n", static_cast<unsigned long>(done));
  fflush(stdout);
  _exit(0);
}
