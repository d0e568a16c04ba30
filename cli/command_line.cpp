#include <cstdlib>
#include <string_view>

#include "cli/options.h"

namespace tarnwick {

namespace {

// As atoi(3) of the C libraries: what does not fit is cut to its low 32 bits.
int32_t toInt32(const char* text) {
  return static_cast<int32_t>(std::strtol(text, nullptr, 10));
}

// The value of a "--name=value" argument, or null when it is another option.
const char* valueOf(const char* argument, std::string_view prefix) {
  return std::string_view(argument).starts_with(prefix) ? argument + prefix.size() : nullptr;
}

bool parseArgument(const char* argument, Options& options) {
  if (const char* value = valueOf(argument, "--interval=")) {
    options.intervalSeconds = static_cast<uint32_t>(toInt32(value));
    return true;
  }
  if (const char* value = valueOf(argument, "--proc=")) {
    options.processName = value;
    return true;
  }
  if (const char* value = valueOf(argument, "--iter=")) {
    options.iterations = static_cast<uint32_t>(toInt32(value));
    return true;
  }
  if (const char* value = valueOf(argument, "--min-cpu=")) {
    options.minCpuMs = toInt32(value);
    return true;
  }
  const std::string_view name = argument;
  if (name == "--stdout") {
    options.useStdout = true;
  } else if (name == "--sig") {
    options.runMode = RunMode::kSignal;
  } else if (name == "--block-dump") {
    options.blockDump = true;
  } else if (name == "--systrace") {
    options.systrace = true;
  } else if (name == "--no-proc-cpu") {
    options.procCpu = false;
  } else if (name == "--enter") {
    options.runMode = RunMode::kEnter;
  } else if (name == "--freq") {
    options.freq = true;
  } else if (name == "--pmu") {
    options.pmu = true;
  } else {
    return false;
  }
  return true;
}

}  // namespace

std::optional<Options> parseCommandLine(int argc, const char* const* argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    if (!parseArgument(argv[i], options)) {
      return std::nullopt;
    }
  }
  // Tracing covers exactly one measurement at a time, so a loop may trace only if it is the one.
  if (options.runMode == RunMode::kLoop && options.iterations != 1) {
    options.systrace = false;
    options.blockDump = false;
  } else if (options.systrace && options.blockDump) {
    return std::nullopt;
  }
  return options;
}

}  // namespace tarnwick
