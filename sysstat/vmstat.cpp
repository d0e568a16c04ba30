#include "sysstat/vmstat.h"

#include "sysstat/lines.h"
#include "sysstat/scan.h"

namespace tarnwick {

namespace {

constexpr size_t kLongestName = 39;

}  // namespace

std::string_view vmstatName(std::string_view line) {
  std::string_view name;
  Scanner(line).word(name);
  return name.substr(0, kLongestName);
}

void parseVmstat(std::string_view text, VmstatMap& map) {
  int64_t value = 0;
  forEachLine(text, [&](std::string_view line) {
    Scanner scan(line);
    std::string_view name;
    if (scan.word(name)) {
      scan.number(value);
    }
    map.insert_or_assign(std::string(name.substr(0, kLongestName)), value);
  });
}

}  // namespace tarnwick
