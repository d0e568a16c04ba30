// /proc/TID/status and /proc/TGID/comm

#include "trace/task_status.h"
#include "sysstat/kernel_text.h"
#include "tests/fuzz/inputs.h"
#include "tests/unit/support/lines_reading.h"
#include "tests/unit/support/task_status_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  std::optional<int32_t> first;
  for (const std::string& line : lines_reading::fgetsLinesOf<80>(input)) {
    const std::optional<int32_t> tgid = task_status_reading::sscanfTgidOf(line);
    expectSame(parseTgid(LoneText(line)), tgid);
    first = first ? first : tgid;
  }
  expectSame(parseTgidOfStatus(LoneText(input)), first);
  constexpr size_t kLongestComm = 128;
  const std::string text(kernelText(input.data(), std::min(input.size(), kLongestComm)));
  const LoneText lone(text);
  std::string name = text;
  if (!name.empty()) {
    name.pop_back();
  }
  expectSame(std::string(parseComm(lone)), name);
}

}  // namespace tarnwick
