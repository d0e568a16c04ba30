// A load of scheduler events: each time that a thread gives way, the kernel accounts its run time.
//
//   yields RATE SECONDS
//
// Gives way so many times a second, spread as evenly as short sleeps allow; with the rate 0 as
// often as it can. Prints how many times that was.

#include <sched.h>
#include <sys/prctl.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

int main(int argc, char** argv) {
  using Clock = std::chrono::steady_clock;
  if (argc != 3) {
    fputs("yields RATE SECONDS\n", stderr);
    return 1;
  }
  const double rate = strtod(argv[1], nullptr);
  const double seconds = strtod(argv[2], nullptr);
  // A sleep of a tenth of a millisecond would otherwise last half as long again.
  prctl(PR_SET_TIMERSLACK, 1);
  const Clock::time_point start = Clock::now();
  uint64_t done = 0;
  for (;;) {
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    if (elapsed.count() >= seconds) {
      break;
    }
    const auto due = rate > 0 ? static_cast<uint64_t>(rate * elapsed.count()) : done + 100;
    for (; done < due; ++done) {
      sched_yield();
    }
    if (rate > 0) {
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  }
  printf("%lu\n", static_cast<unsigned long>(done));
}
