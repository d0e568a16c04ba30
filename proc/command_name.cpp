#include "proc/command_name.h"

namespace tarnwick {

std::optional<std::string_view> commandName(std::string_view cmdline) {
  const std::string_view line = cmdline.substr(0, cmdline.find('\n'));
  if (line.empty()) {
    return std::nullopt;
  }
  // The first argument is the program's path; an application process has its package name there.
  const std::string_view path = line.substr(0, line.find('\0'));
  const size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

}  // namespace tarnwick
