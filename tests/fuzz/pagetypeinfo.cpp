// /proc/pagetypeinfo

#include <cstring>

#include "sysstat/kernel_text.h"
#include "sysstat/memory_report.h"
#include "tests/fuzz/inputs.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  const std::string text(kernelText(input.data(), input.size()));
  const LoneText lone(text);
  const char* const summary = strstr(text.c_str(), "Number of blocks");
  expectSame(std::string(pagetypeinfoSummary(lone)),
             std::string(summary != nullptr ? summary : ""));
}

}  // namespace tarnwick
