#include "collector/stdout_section.h"

#include <unistd.h>

#include <atomic>

namespace tarnwick {

namespace {

// Lock-free, so that a signal handler may use them.
std::atomic<bool> gInside = false;
std::atomic<bool> gStopped = false;

}  // namespace

StdoutSection::StdoutSection() {
  gInside = true;
}

StdoutSection::~StdoutSection() {
  gInside = false;
  if (gStopped) {
    stopMainThread();
  }
}

void stopMainThread() {
  gStopped = true;
  while (!gInside) {
    pause();
  }
}

}  // namespace tarnwick
