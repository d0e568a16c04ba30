#include "sysstat/vmstat.h"

#include <algorithm>
#include <cstddef>

#include "sysstat/lines.h"
#include "sysstat/scan.h"

namespace tarnwick {

namespace {

constexpr size_t kLongestName = 39;

// Whether a line begins with the name of an entry, and a blank.
bool hasName(std::string_view line, const VmstatMap& map, size_t place) {
  if (place >= map.size()) {
    return false;
  }
  const std::string_view name = map.begin()[static_cast<ptrdiff_t>(place)].first;
  return !name.empty() && line.size() > name.size() && line[name.size()] == ' ' &&
         line.starts_with(name);
}

}  // namespace

std::string_view vmstatName(std::string_view line) {
  std::string_view name;
  Scanner(line).word(name);
  return name.substr(0, kLongestName);
}

bool parseVmstat(std::string_view text, VmstatMap& map, VmstatPlaces& places) {
  bool searched = false;
  size_t lines = 0;
  int64_t value = 0;
  forEachLine(text, [&](std::string_view line) {
    const size_t number = lines++;
    if (number < places.size() && hasName(line, map, places[number])) {
      auto& [name, counter] = map.begin()[static_cast<ptrdiff_t>(places[number])];
      Scanner(line.substr(name.size())).number(value);
      counter = value;
      return;
    }
    searched = true;
    Scanner scan(line);
    std::string_view name;
    if (scan.word(name)) {
      scan.number(value);
    }
    const auto entry = map.entry(name.substr(0, kLongestName));
    entry->second = value;
    places.resize(std::max(places.size(), lines));
    places[number] = static_cast<size_t>(entry - map.begin());
  });
  return searched;
}

void forgetCounters(VmstatMap& map) {
  for (auto& [name, value] : map) {
    value = 0;
  }
}

}  // namespace tarnwick
