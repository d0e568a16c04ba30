// The program's own command line, its arguments apart by NUL bytes as in /proc/PID/cmdline

#include <cstdlib>
#include <cstring>
#include <optional>
#include <tuple>

#include "cli/command_line.h"
#include "tests/fuzz/inputs.h"

namespace tarnwick {

namespace {

// Where the value of an argument stands that begins with the prefix.
const char* valueOf(const char* argument, const char* prefix) {
  const size_t length = strlen(prefix);
  return strncmp(argument, prefix, length) == 0 ? argument + length : nullptr;
}

bool takeArgument(const char* argument, Options& options) {
  const auto is = [argument](const char* name) { return strcmp(argument, name) == 0; };
  if (const char* const interval = valueOf(argument, "--interval=")) {
    options.intervalSeconds = static_cast<uint32_t>(atoi(interval));
  } else if (const char* const iterations = valueOf(argument, "--iter=")) {
    options.iterations = static_cast<uint32_t>(atoi(iterations));
  } else if (const char* const minCpu = valueOf(argument, "--min-cpu=")) {
    options.minCpuMs = atoi(minCpu);
  } else if (const char* const name = valueOf(argument, "--proc=")) {
    options.processName = name;
  } else if (is("--sig")) {
    options.runMode = RunMode::kSignal;
  } else if (is("--enter")) {
    options.runMode = RunMode::kEnter;
  } else if (is("--no-proc-cpu")) {
    options.procCpu = false;
  } else {
    options.useStdout |= is("--stdout");
    options.blockDump |= is("--block-dump");
    options.systrace |= is("--systrace");
    options.freq |= is("--freq");
    options.pmu |= is("--pmu");
    return is("--stdout") || is("--block-dump") || is("--systrace") || is("--freq") || is("--pmu");
  }
  return true;
}

std::optional<Options> optionsOf(const std::vector<const char*>& arguments) {
  Options options;
  for (size_t i = 1; i < arguments.size(); ++i) {
    if (!takeArgument(arguments[i], options)) {
      return std::nullopt;
    }
  }
  const bool mayTrace = options.runMode != RunMode::kLoop || options.iterations == 1;
  if (mayTrace && options.systrace && options.blockDump) {
    return std::nullopt;
  }
  options.systrace &= mayTrace;
  options.blockDump &= mayTrace;
  return options;
}

auto fieldsOf(const Options& options) {
  return std::tuple(options.intervalSeconds, options.iterations, options.runMode,
                    options.processName, options.useStdout, options.blockDump, options.systrace,
                    options.freq, options.pmu, options.procCpu, options.minCpuMs);
}

}  // namespace

void takeInput(std::string_view input) {
  const std::string text(input);
  std::vector<const char*> arguments;
  for (size_t at = 0; at < text.size(); at += strlen(&text[at]) + 1) {
    arguments.push_back(&text[at]);
  }
  const std::optional<Options> options =
      parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
  const std::optional<Options> expected = optionsOf(arguments);
  expectSame(options.has_value(), expected.has_value());
  if (options) {
    expectSame(fieldsOf(*options), fieldsOf(*expected));
  }
}

}  // namespace tarnwick
