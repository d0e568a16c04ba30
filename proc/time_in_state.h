#pragma once

#include <cstdint>
#include <string_view>

#include "sysstat/flat_map.h"
#include "sysstat/report_sink.h"

namespace tarnwick {

// Frequency in kHz to the time spent at it since boot, in units of 10 ms, ascending.
using FreqMap = FlatMap<int64_t, int64_t>;

// Stores every "frequency time" line of a CPU's cpufreq/stats/time_in_state in the map, over what
// was there. A line that does not have both numbers is passed over. Pure; see the kernel's
// Documentation/cpu-freq/cpufreq-stats.rst.
void parseTimeInState(std::string_view text, FreqMap& map);

// Prints a line for each frequency of `after` at which time was spent since `before`, in ascending
// order and in milliseconds. A frequency that `before` does not know counts from 0, and is added to
// it with 0. Pure but for the sink.
void formatTimeInState(FreqMap& before, const FreqMap& after, ReportSink& sink);

}  // namespace tarnwick
