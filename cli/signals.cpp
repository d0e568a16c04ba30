#include "cli/signals.h"

#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/prctl.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

#include "collector/stdout_section.h"

namespace tarnwick {

namespace {

volatile sig_atomic_t gSigusr1Seen = 0;
volatile sig_atomic_t gInterruptThreadRuns = 0;
sem_t gInterruptPosted;
pthread_t gMainThread;

extern "C" void exitNow(int /*signo*/) {
  _exit(0);
}

// Ends the process as exit(3) would, but from a thread of its own: what stands in the buffer of
// standard output comes out. Destructors do not run, since the main thread may be anywhere in what
// they would destroy.
void* interrupt_thread(void* /*unused*/) {
  prctl(PR_SET_NAME, "interrupt");
  while (sem_wait(&gInterruptPosted) != 0) {
  }
  // A main thread that is blocked in a write holds the lock for as long as nobody reads, and so
  // would the flush. A reader that still reads needs far less than this.
  constexpr itimerval kPatience = {{0, 0}, {0, 50000}};
  signal(SIGALRM, exitNow);
  sigset_t alarm;
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
  setitimer(ITIMER_REAL, &kPatience, nullptr);

  flockfile(stdout);
  fflush(stdout);
  _exit(0);
}

void startInterruptThread() {
  gMainThread = pthread_self();
  sem_init(&gInterruptPosted, 0, 0);
  pthread_t thread;
  // Without the thread an interrupt still ends the process, but loses what is buffered.
  if (pthread_create(&thread, nullptr, interrupt_thread, nullptr) == 0) {
    gInterruptThreadRuns = 1;
  }
}

timespec now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time;
}

timespec plus(timespec a, const timespec& b) {
  a.tv_sec += b.tv_sec;
  a.tv_nsec += b.tv_nsec;
  if (a.tv_nsec >= 1000000000) {
    a.tv_nsec -= 1000000000;
    ++a.tv_sec;
  }
  return a;
}

// 0 when the deadline has passed.
timespec timeLeft(const timespec& deadline) {
  const timespec present = now();
  timespec left = {deadline.tv_sec - present.tv_sec, deadline.tv_nsec - present.tv_nsec};
  if (left.tv_nsec < 0) {
    left.tv_nsec += 1000000000;
    --left.tv_sec;
  }
  return left.tv_sec < 0 ? timespec{} : left;
}

}  // namespace

void onSignal(int signo) {
  const int savedErrno = errno;
  if (signo == SIGUSR1) {
    gSigusr1Seen = 1;
  } else if (signo == SIGINT) {
    if (gInterruptThreadRuns == 0) {
      _exit(0);
    }
    sem_post(&gInterruptPosted);
    if (pthread_equal(pthread_self(), gMainThread) != 0) {
      stopMainThread();
    } else {
      pthread_kill(gMainThread, SIGINT);
    }
  }
  errno = savedErrno;
}

void installSignalHandlers() {
  // Whoever started the program may have left SIGINT blocked.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
  sigemptyset(&signals);
  sigaddset(&signals, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  startInterruptThread();
  signal(SIGINT, onSignal);
  signal(SIGUSR1, onSignal);
}

WaitResult waitForEvent(int inputFd, const timespec* timeout) {
  sigset_t none;
  sigemptyset(&none);
  pollfd input = {inputFd, POLLIN, 0};
  const timespec deadline = timeout == nullptr ? timespec{} : plus(now(), *timeout);
  for (;;) {
    const timespec left = timeout == nullptr ? timespec{} : timeLeft(deadline);
    const int ready = ppoll(&input, 1, timeout == nullptr ? nullptr : &left, &none);
    if (gSigusr1Seen != 0) {
      gSigusr1Seen = 0;
      return WaitResult::kSigusr1;
    }
    if (ready > 0) {
      return WaitResult::kInput;
    }
    if (ready == 0) {
      return WaitResult::kTimeout;
    }
  }
}

}  // namespace tarnwick
