#include "cli/command_line.h"

#include <array>
#include <cstdlib>
#include <string_view>

namespace tarnwick {

namespace {

// As atoi(3) of the C libraries: what does not fit is cut to its low 32 bits.
int32_t toInt32(const char* text) {
  return static_cast<int32_t>(std::strtol(text, nullptr, 10));
}

struct Flag {
  std::string_view name;
  void (*apply)(Options& options);
};

constexpr std::array kFlags = {
    Flag{"--stdout", [](Options& options) { options.useStdout = true; }},
    Flag{"--sig", [](Options& options) { options.runMode = RunMode::kSignal; }},
    Flag{"--block-dump", [](Options& options) { options.blockDump = true; }},
    Flag{"--systrace", [](Options& options) { options.systrace = true; }},
    Flag{"--no-proc-cpu", [](Options& options) { options.procCpu = false; }},
    Flag{"--enter", [](Options& options) { options.runMode = RunMode::kEnter; }},
    Flag{"--freq", [](Options& options) { options.freq = true; }},
    Flag{"--pmu", [](Options& options) { options.pmu = true; }},
};

struct ValuedOption {
  std::string_view prefix;
  void (*apply)(Options& options, const char* value);
};

constexpr std::array kValuedOptions = {
    ValuedOption{"--interval=",
                 [](Options& options, const char* value) {
                   options.intervalSeconds = static_cast<uint32_t>(toInt32(value));
                 }},
    ValuedOption{"--proc=",
                 [](Options& options, const char* value) { options.processName = value; }},
    ValuedOption{"--iter=",
                 [](Options& options, const char* value) {
                   options.iterations = static_cast<uint32_t>(toInt32(value));
                 }},
    ValuedOption{"--min-cpu=",
                 [](Options& options, const char* value) { options.minCpuMs = toInt32(value); }},
};

// False when there is no such option.
bool parseArgument(std::string_view argument, Options& options) {
  for (const ValuedOption& option : kValuedOptions) {
    if (argument.starts_with(option.prefix)) {
      option.apply(options, argument.data() + option.prefix.size());
      return true;
    }
  }
  for (const Flag& flag : kFlags) {
    if (argument == flag.name) {
      flag.apply(options);
      return true;
    }
  }
  return false;
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
