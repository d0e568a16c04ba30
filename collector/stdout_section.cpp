#include "collector/stdout_section.h"

#include <unistd.h>

#include <csignal>

namespace tarnwick {

namespace {

// Shared by the main thread and its own signal handler, hence no atomics.
volatile sig_atomic_t gInside = 0;
volatile sig_atomic_t gStopped = 0;

}  // namespace

StdoutSection::StdoutSection() {
  gInside = 1;
}

StdoutSection::~StdoutSection() {
  gInside = 0;
  if (gStopped != 0) {
    stopMainThread();
  }
}

void stopMainThread() {
  gStopped = 1;
  while (gInside == 0) {
    pause();
  }
}

}  // namespace tarnwick
