#include "collector/end_process.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "collector/messages.h"
#include "collector/stdout_section.h"

namespace tarnwick {

void endProcess(int status) {
  static std::atomic_flag ending;
  while (ending.test_and_set()) {
    pause();
  }
  // It flushes standard output. Another thread prints a whole line before that, or none.
  const StdoutSection section;
  printMessages();
  flockfile(stdout);
  exit(status);
}

}  // namespace tarnwick
