#include "proc/time_in_state.h"

#include "sysstat/counter_math.h"
#include "sysstat/lines.h"
#include "sysstat/scan.h"

namespace tarnwick {

void parseTimeInState(std::string_view text, FreqMap& map) {
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
