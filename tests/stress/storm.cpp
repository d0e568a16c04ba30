// storm RATE
//
// Starts so many processes a second, evenly, until standard input ends. Each gives itself a name
// that is hard to read, lives for a hundredth of a second and ends. Prints how many there were.
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

constexpr std::array kNames = {
    "",
    " ",
    ")",
    ") R 1 1",
    "a b ) ( c d) ",
    "line\nbreak",
    "\x1b[2J\x1b[31m",
    "%s%n%s%n",
    "\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff",
};

bool inputHasEnded() {
  pollfd input = {STDIN_FILENO, POLLIN, 0};
  return poll(&input, 1, 0) == 1;
}

}  // namespace

int main(int argc, char** argv) {
  using Clock = std::chrono::steady_clock;
  const long rate = argc == 2 ? std::strtol(argv[1], nullptr, 10) : 0;
  if (rate < 1) {
    fputs("Usage: storm RATE\n", stderr);
    return 2;
  }
  // Ended children leave at once.
  signal(SIGCHLD, SIG_IGN);
  const Clock::time_point begin = Clock::now();
  long count = 0;
  while (!inputHasEnded()) {
    const std::chrono::duration<double> passed = Clock::now() - begin;
    for (; static_cast<double>(count) < passed.count() * static_cast<double>(rate); ++count) {
      if (fork() == 0) {
        prctl(PR_SET_NAME, kNames[static_cast<size_t>(count) % kNames.size()]);
        usleep(10000);
        _exit(0);
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  printf("%ld\n", count);
  return 0;
}
