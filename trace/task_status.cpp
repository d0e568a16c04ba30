#include "trace/task_status.h"

#include "sysstat/scan.h"

namespace tarnwick {

std::optional<int32_t> parseTgid(std::string_view line) {
  constexpr std::string_view kTgid = "Tgid:";
  if (!line.starts_with(kTgid)) {
    return std::nullopt;
  }
  int32_t tgid = -1;
  Scanner(line.substr(kTgid.size())).integer(tgid);
  return tgid;
}

std::string_view parseComm(std::string_view text) {
  return text.substr(0, text.empty() ? 0 : text.size() - 1);
}

}  // namespace tarnwick
