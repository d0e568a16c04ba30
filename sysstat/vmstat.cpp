#include "sysstat/vmstat.h"

#include <algorithm>
#include <cstddef>

#include "sysstat/lines.h"
#include "sysstat/scan.h"

namespace tarnwick {

namespace {

constexpr size_t kLongestName = 39;

// Takes the value in "name value\n" at the start of the text, if the name is this one. Returns the
// length of that line; 0 for all other lines, names that were cut among them.
size_t takeKnownLine(std::string_view text, std::string_view name, int64_t& value) {
  const size_t length = name.size();
  if (length == 0 || text.size() < length + 3 || text[length] != ' ' || text[length + 1] < '0' ||
      !text.starts_with(name)) {
    return 0;
  }
  Scanner scan(text.substr(length + 1));
  int64_t found = 0;
  if (!scan.number(found) || !scan.literal('\n')) {
    return 0;
  }
  value = found;
  return text.size() - scan.rest().size();
}

}  // namespace

std::string_view vmstatName(std::string_view line) {
  std::string_view name;
  Scanner(line).word(name);
  return name.substr(0, kLongestName);
}

bool parseVmstat(std::string_view text, VmstatMap& map, VmstatPlaces& places) {
  bool searched = false;
  int64_t value = 0;
  size_t number = 0;
  while (!text.empty()) {
    if (number < places.size() && places[number] < map.size()) {
      auto& [name, counter] = map.begin()[static_cast<ptrdiff_t>(places[number])];
      const size_t length = takeKnownLine(text, name, value);
      if (length > 0) {
        counter = value;
        text.remove_prefix(length);
        ++number;
        continue;
      }
    }
    const std::string_view line = takeLine(text);
    if (line.empty()) {
      continue;
    }
    searched = true;
    Scanner scan(line);
    std::string_view name;
    if (scan.word(name)) {
      scan.number(value);
    }
    const auto entry = map.entry(name.substr(0, kLongestName));
    entry->second = value;
    places.resize(std::max(places.size(), number + 1));
    places[number++] = static_cast<size_t>(entry - map.begin());
  }
  return searched;
}

void forgetCounters(VmstatMap& map) {
  for (auto& [name, value] : map) {
    value = 0;
  }
}

}  // namespace tarnwick
