// /proc/loadavg

#include <algorithm>
#include <cstdlib>

#include "tests/fuzz/inputs.h"
#include "trace/new_tids.h"

namespace tarnwick {

namespace {

std::optional<int32_t> strtollLastTidOf(const std::string& text) {
  constexpr long long kMaxTid = 4194304;
  const size_t blank = text.rfind(' ');
  if (blank == std::string::npos) {
    return std::nullopt;
  }
  const std::string field = text.substr(blank + 1, text.find('\n', blank) - blank - 1);
  const bool digits = field.find_first_not_of("0123456789") == std::string::npos;
  const long long tid = digits ? strtoll(field.c_str(), nullptr, 10) : 0;
  return tid > 0 && tid <= kMaxTid ? std::optional(static_cast<int32_t>(tid)) : std::nullopt;
}

}  // namespace

void takeInput(std::string_view input) {
  const std::string text = kernelTextOf(input);
  expectSame(parseLastTid(LoneText(text)), strtollLastTidOf(text));
}

}  // namespace tarnwick
