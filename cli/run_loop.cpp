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

// Returns when standard input has given a line, 79 characters of one, or has ended. Signals are
// acted on meanwhile. For whoever reads on, standard input is left as by a program that calls
// fgets(3) on 80 bytes and then exit(3): a terminal has given the whole line, and the offset of a
// file is after what was taken. Of a pipe no more than 79 bytes are read.
void waitForEnter() {
  constexpr size_t kMaxCharacters = 79;
  // The terminal gives no longer line; see "canonical mode" in termios(3).
  std::array<char, 4096> text;
  const bool terminal = isatty(STDIN_FILENO) == 1;
  size_t filled = 0;
  while (filled < kMaxCharacters) {
    if (waitForEvent(STDIN_FILENO, std::nullopt) == WaitResult::kSigusr1) {
      toggleSample();
      continue;
    }
    const ssize_t got =
        read(STDIN_FILENO, text.data(), terminal ? text.size() : kMaxCharacters - filled);
    if (got > 0) {
      const auto* const newline =
          static_cast<const char*>(memchr(text.data(), '\n', static_cast<size_t>(got)));
      if (newline != nullptr) {
        // Fails for what has no offset.
        lseek(STDIN_FILENO, newline + 1 - (text.data() + got), SEEK_CUR);
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
