#include "collector/end_process.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>

#include "collector/stdout_section.h"

namespace tarnwick {

void endProcess(int status) {
  static std::atomic_flag ending;
  while (ending.test_and_set()) {
    pause();
  }
  // It flushes standard output.
  const StdoutSection section;
  exit(status);
}

}  // namespace tarnwick
