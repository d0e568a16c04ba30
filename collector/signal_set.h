#pragma once

#include <csignal>

namespace tarnwick {

// The set of one signal.
inline sigset_t setOf(int signo) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signo);
  return set;
}

}  // namespace tarnwick
