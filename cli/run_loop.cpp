#include "cli/run_loop.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "cli/options.h"
#include "cli/signals.h"
#include "collector/stats_collector.h"
#include "proc/find_process.h"

namespace tarnwick {

namespace {

// 113 dashes, as a C string that is never destroyed: a worker may end the process while it is
// printed.
constexpr auto kSeparator = [] {
  std::array<char, 114> line{};
  std::fill_n(line.begin(), 113, '-');
  return line;
}();

void stopSample() {
  gCollector->output("%s\n", kSeparator.data());
  gCollector->endSample();
}

// What a SIGUSR1 asks for, in whichever run mode it arrives.
void toggleSample() {
  if (gCollector->sampling) {
    gCollector->output("SIGUSR1->stop()\n");
    stopSample();
  } else {
    gCollector->output("SIGUSR1->start()\n");
    startSample();
  }
}

// As sleep(3): a signal is acted on and ends the sleep early. Another one that arrived in the
// meantime is acted on before the sleep returns.
void sleepInterval(uint32_t seconds) {
  std::chrono::seconds rest(seconds);
  while (waitForEvent(-1, rest) == WaitResult::kSigusr1) {
    toggleSample();
    rest = std::chrono::seconds::zero();
  }
}

// Returns when standard input has given a line, or as much of one as an 80-byte fgets(3) takes, or
// has ended. Signals are acted on meanwhile.
void waitForEnter() {
  std::array<char, 79> line;
  size_t filled = 0;
  while (filled < line.size()) {
    if (waitForEvent(STDIN_FILENO, std::nullopt) == WaitResult::kSigusr1) {
      toggleSample();
      continue;
    }
    const ssize_t got = read(STDIN_FILENO, line.data(), line.size() - filled);
    if (got > 0) {
      if (memchr(line.data(), '\n', static_cast<size_t>(got)) != nullptr) {
        return;
      }
      filled += static_cast<size_t>(got);
    } else if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
      return;
    }
  }
}

void loopMode() {
  for (;;) {
    if (gOptions.iterations != Options::kNoLimit) {
      if (gOptions.iterations == 0) {
        return;
      }
      --gOptions.iterations;
    }
    startSample();
    sleepInterval(gOptions.intervalSeconds);
    stopSample();
  }
}

void enterMode() {
  startSample();
  waitForEnter();
  stopSample();
}

}  // namespace

void startSample() {
  if (gOptions.processName) {
    gCollector->targetPid = findProcessByName(*gOptions.processName);
  }
  gCollector->beginSample();
}

void waitForSignals() {
  for (;;) {
    if (waitForEvent(-1, std::nullopt) == WaitResult::kSigusr1) {
      toggleSample();
    }
  }
}

void runLoop() {
  if (gCollector == nullptr) {
    return;
  }
  switch (gOptions.runMode) {
    case RunMode::kLoop:
      loopMode();
      break;
    case RunMode::kSignal:
      waitForSignals();
    case RunMode::kEnter:
      enterMode();
      break;
  }
}

}  // namespace tarnwick
