#include "trace/worker_signals.h"

#include <poll.h>
#include <pthread.h>

#include <array>
#include <csignal>

#include "collector/signal_set.h"

namespace tarnwick {

namespace {

// Each worker has its own: the handler runs on the thread that the stop was sent to.
thread_local volatile sig_atomic_t gStopSeen = 0;

bool stopRequested() {
  return gStopSeen != 0;
}

}  // namespace

BlockWorkerSignals::BlockWorkerSignals() {
  const sigset_t stop = setOf(SIGUSR2);
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &stop, &before);
  wasBlocked_ = sigismember(&before, SIGUSR2) == 1;
}

BlockWorkerSignals::~BlockWorkerSignals() {
  if (!wasBlocked_) {
    const sigset_t stop = setOf(SIGUSR2);
    pthread_sigmask(SIG_UNBLOCK, &stop, nullptr);
  }
}

void installWorkerHandler(void (*handler)(int)) {
  const sigset_t mains = setOf(SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &mains, nullptr);
  struct sigaction action {};
  sigemptyset(&action.sa_mask);
  action.sa_handler = handler;
  sigaction(SIGUSR2, &action, nullptr);
}

void noteStop() {
  gStopSeen = 1;
}

WorkerWait workerWait(std::initializer_list<int> fds,
                      std::optional<std::chrono::microseconds> timeout) {
  if (stopRequested()) {
    return WorkerWait::kStop;
  }
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  sigdelset(&mask, SIGUSR2);
  timespec left{};
  if (timeout) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(*timeout);
    left = {seconds.count(), std::chrono::nanoseconds(*timeout - seconds).count()};
  }
  std::array<pollfd, 2> inputs{};
  nfds_t count = 0;
  for (const int fd : fds) {
    inputs.at(count++) = {fd, POLLIN, 0};
  }
  const int ready = ppoll(inputs.data(), count, timeout ? &left : nullptr, &mask);
  // An input that is ready keeps ppoll from letting the stop in.
  constexpr timespec kNoTime = {};
  const sigset_t stop = setOf(SIGUSR2);
  if (ready > 0 && sigtimedwait(&stop, nullptr, &kNoTime) == SIGUSR2) {
    noteStop();
  }
  if (stopRequested()) {
    return WorkerWait::kStop;
  }
  return ready > 0 ? WorkerWait::kReadable : WorkerWait::kTimeout;
}

}  // namespace tarnwick
