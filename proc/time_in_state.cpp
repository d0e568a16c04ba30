#include "proc/time_in_state.h"

#include "sysstat/counter_math.h"
#include "sysstat/lines.h"
#include "sysstat/ordinary_text.h"
#include "sysstat/scan.h"

namespace tarnwick {

namespace {

// Stores the lines from the start of the text on that are as kernels print them. Returns the rest.
std::string_view takeOrdinaryLines(std::string_view text, FreqMap& map) {
  if (!OrdinaryText::canRead(text)) {
    return text;
  }
  const char* const end = text.data() + text.size();
  OrdinaryText scan(text.data(), end);
  const char* rest = text.data();
  uint64_t frequency = 0;
  uint64_t time = 0;
  while (rest != end && scan.number(frequency) > 0 && scan.literal(" ") && scan.number(time) > 0 &&
         scan.literal("\n")) {
    map[static_cast<int64_t>(frequency)] = static_cast<int64_t>(time);
    rest = scan.at();
  }
  return {rest, static_cast<size_t>(end - rest)};
}

}  // namespace

void parseTimeInState(std::string_view text, FreqMap& map) {
  text = takeOrdinaryLines(text, map);
  forEachLine(text, [&map](std::string_view line) {
    Scanner scan(line);
    int64_t frequency = 0;
    int64_t time = 0;
    if (scan.number(frequency) && scan.number(time)) {
      map[frequency] = time;
    }
  });
}

void formatTimeInState(FreqMap& before, const FreqMap& after, ReportSink& sink) {
  for (const auto& [frequency, time] : after) {
    const int64_t spent = difference(time, before[frequency]);
    if (spent >= 1) {
      sink.output("    freq: %-7ld %ld\n", frequency, multiply(spent, 10));
    }
  }
}

}  // namespace tarnwick
