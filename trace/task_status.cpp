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

std::optional<int32_t> parseTgidOfStatus(std::string_view status) {
  constexpr size_t kMaxLine = 79;
  while (!status.empty()) {
    const std::string_view next = status.substr(0, kMaxLine);
    const std::string_view line = next.substr(0, next.find('\n') + 1);
    const std::string_view piece = line.empty() ? next : line;
    if (const std::optional<int32_t> tgid = parseTgid(piece)) {
      return tgid;
    }
    status.remove_prefix(piece.size());
  }
  return std::nullopt;
}

std::string_view parseComm(std::string_view text) {
  return text.substr(0, text.empty() ? 0 : text.size() - 1);
}

}  // namespace tarnwick
