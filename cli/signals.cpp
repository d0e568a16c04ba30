#include "cli/signals.h"

#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/prctl.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include "collector/messages.h"
#include "collector/signal_set.h"
#include "collector/stdout_section.h"
#include "trace/unfinished_file.h"

namespace tarnwick {

namespace {

volatile sig_atomic_t gSigusr1Seen = 0;
// Lock-free, so that the handler may use it, on whichever thread it runs.
std::atomic<bool> gInterruptThreadRuns = false;
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
  // A reader that has gone is no reason to end by SIGPIPE here.
  const sigset_t brokenPipe = setOf(SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
  while (sem_wait(&gInterruptPosted) != 0) {
  }
  // A main thread that is blocked in a write holds the lock for as long as nobody reads, and so
  // would the flush. A reader that still reads needs far less than this.
  constexpr itimerval kPatience = {{0, 0}, {0, 50000}};
  signal(SIGALRM, exitNow);
  const sigset_t alarm = setOf(SIGALRM);
  pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
  setitimer(ITIMER_REAL, &kPatience, nullptr);

  printMessages();
  flockfile(stdout);
  fflush(stdout);
  _exit(0);
}

void startInterruptThread() {
  sem_init(&gInterruptPosted, 0, 0);
  pthread_t thread;
  // Without the thread an interrupt still ends the process, but loses what is buffered.
  if (pthread_create(&thread, nullptr, interrupt_thread, nullptr) == 0) {
    gInterruptThreadRuns = true;
  }
}

timespec toTimespec(std::chrono::nanoseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {seconds.count(), (time - seconds).count()};
}

}  // namespace

void onSignal(int signo) {
  const int savedErrno = errno;
  if (signo == SIGUSR1) {
    gSigusr1Seen = 1;
  } else if (signo == SIGINT) {
    abandonUnfinishedFiles();
    if (!gInterruptThreadRuns) {
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
  gMainThread = pthread_self();
  const sigset_t held = setOf(SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &held, nullptr);
  // The handlers stay after a signal, and calls that it interrupts go on.
  signal(SIGINT, onSignal);
  signal(SIGUSR1, onSignal);
  startInterruptThread();
  // Whoever started the program may have left SIGINT blocked.
  const sigset_t interrupt = setOf(SIGINT);
  pthread_sigmask(SIG_UNBLOCK, &interrupt, nullptr);
}

WaitResult waitForEvent(int inputFd, std::optional<std::chrono::seconds> timeout) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + timeout.value_or(std::chrono::seconds::zero());
  sigset_t none;
  sigemptyset(&none);
  pollfd input = {inputFd, POLLIN, 0};

  // Input that is ready keeps ppoll from letting a signal in, so a held one has its turn first.
  constexpr timespec kNoTime = {};
  ppoll(nullptr, 0, &kNoTime, &none);
  for (;;) {
    if (gSigusr1Seen != 0) {
      gSigusr1Seen = 0;
      return WaitResult::kSigusr1;
    }
    const timespec left =
        toTimespec(std::max(Clock::duration(deadline - Clock::now()), Clock::duration::zero()));
    const int ready = ppoll(&input, inputFd < 0 ? 0 : 1, timeout ? &left : nullptr, &none);
    if (ready == 0) {
      return WaitResult::kTimeout;
    }
    // An input that cannot be waited for is left to whoever reads it, and learns why.
    if (ready > 0 || (errno != EINTR && inputFd >= 0)) {
      return WaitResult::kInput;
    }
  }
}

}  // namespace tarnwick
