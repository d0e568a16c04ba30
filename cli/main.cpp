#include <fcntl.h>
#include <unistd.h>

#include <memory>

#include "cli/options.h"
#include "cli/run_loop.h"
#include "cli/signals.h"
#include "collector/stats_collector.h"
#include "proc/pmu.h"

namespace {

// A standard descriptor that was closed would be given to the next kernel file that is opened, and
// the report written there.
void openStandardDescriptors() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(fd, F_GETFD) == -1) {
      // The lowest free descriptor is the missing one.
      static_cast<void>(
          open("/dev/null", O_RDWR));  // NOLINT(android-cloexec-open): these are to be inherited
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  using namespace tarnwick;

  openStandardDescriptors();
  parseOptions(argc, argv);

  auto collector = std::make_unique<StatsCollector>();
  collector->useStdout = gOptions.useStdout;
  collector->stdoutIsTerminal = isatty(STDOUT_FILENO) == 1;
  collector->blockDump = gOptions.blockDump;
  collector->systrace = gOptions.systrace;
  collector->procCpu = gOptions.procCpu;
  collector->freq = gOptions.freq;
  collector->pmu = gOptions.pmu;
  collector->minCpuMs = static_cast<uint32_t>(gOptions.minCpuMs);
  gCollector = collector.get();

  installSignalHandlers();
  initPmu(*collector);
  runLoop();
  return 0;
}
