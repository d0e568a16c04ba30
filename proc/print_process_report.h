#pragma once

namespace tarnwick {

class StatsCollector;

// Prints the process section: a line for each process, or each thread of the watched process, that
// used more CPU time in the interval than `--min-cpu` says, busiest first. Prints nothing with
// `--no-proc-cpu`. Changes neither map.
void printProcessReport(StatsCollector& collector);

}  // namespace tarnwick
