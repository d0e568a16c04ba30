#pragma once

namespace tarnwick {

class StatsCollector;

// Prints the I/O section. Swap and fault counters that the vmstat maps lack are added to them with
// 0.
void printIoReport(StatsCollector& collector);

}  // namespace tarnwick
