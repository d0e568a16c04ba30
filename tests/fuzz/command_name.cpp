// /proc/PID/cmdline

#include <cstring>
#include <optional>
#include <sstream>

#include "proc/command_name.h"
#include "tests/fuzz/inputs.h"

namespace tarnwick {

namespace {

std::optional<std::string> strrchrNameOf(const std::string& cmdline) {
  std::istringstream lines(cmdline);
  std::string text;
  std::getline(lines, text);
  if (text.empty()) {
    return std::nullopt;
  }
  const char* const slash = strrchr(text.c_str(), '/');
  return slash != nullptr ? slash + 1 : text.c_str();
}

}  // namespace

void takeInput(std::string_view input) {
  const LoneText cmdline(input);
  const std::optional<std::string_view> name = commandName(cmdline);
  expectSame(name ? std::optional<std::string>(*name) : std::nullopt,
             strrchrNameOf(std::string(input)));
}

}  // namespace tarnwick
