#include <cstdio>
#include <cstdlib>

#include "cli/options.h"
#include "collector/stats_collector.h"

namespace tarnwick {

void printUsage(char** argv) {
  fprintf(stderr, "Usage: %s [OPTION]...\n", argv[0]);
  fputs(
      "  --interval=n  Computation interval in normal loop mode\n"
      "  --iter=n      Run only this number of iterations\n"
      "  --stdout      Use stdout even for Android\n"
      "  --sig         Start/stop trace via SIGUSR1 signals\n"
      "  --block-dump  Include per-thread block IO stats\n"
      "  --systrace    Include per-thread context switch stats\n"
      "  --no-proc-cpu Exclude per-process CPU stats\n"
      "  --min-cpu=n   Require n ms of processing to print process\n"
      "  --freq        Include CPU frequency time in state\n"
      "  --pmu         Include PMU HW counters like cache, etc.\n"
      "  --proc=name   Show CPU stats per-thread for this proc\n"
      "  --enter       Run until you hit enter\n"
      "  --help        Show this message\n"
      "\n"
      "Notes:\n"
      "  - interval and iter will be ignored if sig enabled\n"
      "  - systrace and block-dump cannot be used together\n"
      "  - systrace/block-dump require sig, enter, or iter=1\n",
      stderr);
  // exit does not unwind, so whoever holds the collector does not free it once more.
  delete gCollector;
  exit(0);
}

}  // namespace tarnwick
