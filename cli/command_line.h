#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tarnwick {

enum class RunMode : int32_t {
  kLoop = 0,    // measurement after measurement, each as long as the interval
  kSignal = 1,  // SIGUSR1 starts and stops
  kEnter = 2,   // one measurement, up to the Enter key
};

// What the command line asks for.
struct Options {
  static constexpr uint32_t kNoLimit = 0xFFFFFFFF;

  uint32_t intervalSeconds = 2;
  uint32_t iterations = kNoLimit;
  RunMode runMode = RunMode::kLoop;
  std::optional<std::string> processName;
  bool useStdout = false;
  bool blockDump = false;
  bool systrace = false;
  bool freq = false;
  bool pmu = false;
  bool procCpu = true;
  int32_t minCpuMs = 0;
};

// Reads a command line; argv[0] is not looked at. No value when it must be answered with the usage:
// an unknown argument, or both kinds of tracing in a run mode that allows tracing. In a loop of
// more than one measurement tracing is switched off instead, silently. Numbers are read as by
// atoi(3), unchecked; of options that contradict each other the last one holds. Pure.
std::optional<Options> parseCommandLine(int argc, const char* const* argv);

}  // namespace tarnwick
