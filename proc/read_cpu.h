#pragma once

#include <vector>

#include "proc/cpu_times.h"
#include "proc/time_in_state.h"

namespace tarnwick {

class StatsCollector;

// Reads /proc/stat, whole however many CPUs there are, and fills `out` as parseCpuTimes does. When
// the file cannot be read `out` stays as it is.
void readCpuTimes(StatsCollector& collector, const char* key, CpuTimes& out);

// Fills the map of every CPU, `maps[cpu]`, from its cpufreq/stats/time_in_state. The map of a CPU
// that is offline or has no cpufreq statistics stays as it is.
void readCpuFreqStats(StatsCollector& collector, std::vector<FreqMap>& maps);

}  // namespace tarnwick
