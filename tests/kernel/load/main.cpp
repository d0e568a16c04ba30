#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/times.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "tests/kernel/load/load.h"

namespace load {

int64_t threadCpuNs() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

void burn(int64_t milliseconds) {
  const int64_t end = threadCpuNs() + milliseconds * 1000000;
  while (threadCpuNs() < end) {
    // Looking at the clock is an event for who traces the scheduler, so it is done seldom.
    for (int i = 0; i < 50000; ++i) {
      asm volatile("");
    }
  }
}

void pinTo(int cpu) {
  cpu_set_t cpus;
  CPU_ZERO(&cpus);
  CPU_SET(static_cast<size_t>(cpu), &cpus);
  if (sched_setaffinity(0, sizeof cpus, &cpus) != 0) {
    fail("sched_setaffinity");
  }
}

void nameThread(const char* name) {
  prctl(PR_SET_NAME, name);
}

void fail(const char* what) {
  perror(what);
  exit(1);
}

void awaitLine() {
  char character = 0;
  while (read(STDIN_FILENO, &character, 1) == 1 && character != '\n') {
  }
}

namespace {

// Of the process.
long cpuTicks() {
  tms used{};
  times(&used);
  return used.tms_utime + used.tms_stime;
}

}  // namespace

// burn CPU MILLISECONDS...: prints the process id, and waits for a line before each burning. Behind
// it stand the ticks of CPU time that it took.
int burnCommand(int argc, char** argv) {
  if (argc < 2) {
    return 2;
  }
  setvbuf(stdout, nullptr, _IOLBF, 0);
  pinTo(atoi(argv[0]));
  printf("%d\n", getpid());
  for (int i = 1; i < argc; ++i) {
    awaitLine();
    const long before = cpuTicks();
    burn(atoi(argv[i]));
    printf("%ld\n", cpuTicks() - before);
  }
  awaitLine();
  return 0;
}

namespace {

bool hasPendingUsr1(const std::string& folder) {
  FILE* const file = fopen((folder + "/status").c_str(), "re");
  if (file == nullptr) {
    return false;
  }
  bool pending = false;
  std::array<char, 256> line{};
  while (fgets(line.data(), line.size(), file) != nullptr) {
    unsigned long long signals = 0;
    if (sscanf(line.data(), "SigPnd: %llx", &signals) == 1 ||
        sscanf(line.data(), "ShdPnd: %llx", &signals) == 1) {
      pending = pending || (signals >> (SIGUSR1 - 1) & 1) != 0;
    }
  }
  fclose(file);
  return pending;
}

bool sleepsInPpoll(const std::string& folder) {
  FILE* const file = fopen((folder + "/syscall").c_str(), "re");
  long call = -1;
  const bool found = file != nullptr && fscanf(file, "%ld", &call) == 1;
  if (file != nullptr) {
    fclose(file);
  }
  return found && call == SYS_ppoll;
}

}  // namespace

// waiting PID: returns 0 when the program sleeps in its wait and no SIGUSR1 is on its way to it, or
// 1 after some seconds without that.
int waitingCommand(int argc, char** argv) {
  if (argc < 1) {
    return 2;
  }
  const std::string folder = std::string("/proc/") + argv[0];
  constexpr int kTries = 1000;
  for (int i = 0; i < kTries; ++i) {
    // In this order: a signal leaves the set only when the wait that it ended is over, so a wait
    // that is seen afterwards is a later one.
    if (!hasPendingUsr1(folder) && sleepsInPpoll(folder)) {
      return 0;
    }
    usleep(2000);
  }
  return 1;
}

}  // namespace load

int main(int argc, char** argv) {
  struct Command {
    const char* name;
    int (*run)(int argc, char** argv);
  };
  constexpr Command kCommands[] = {
      {"burn", load::burnCommand},       {"counters", load::countersCommand},
      {"pages", load::pagesCommand},     {"swap", load::swapCommand},
      {"events", load::eventsCommand},   {"threads", load::threadsCommand},
      {"waiting", load::waitingCommand}, {"hold", load::holdCommand},
  };
  for (const Command& command : kCommands) {
    if (argc > 1 && strcmp(argv[1], command.name) == 0) {
      return command.run(argc - 2, argv + 2);
    }
  }
  fprintf(stderr, "usage: load burn|counters|events|hold|pages|swap|threads|waiting ...\n");
  return 2;
}
