#pragma once

namespace tarnwick {

class StatsCollector;

// Prints the CPU section: a line for each CPU that worked in the interval, with its PMU figures and
// frequencies where they are asked for, and always the line of all CPUs together. Frequencies that
// the before maps lack are added to them with 0.
void printCpuReport(StatsCollector& collector);

}  // namespace tarnwick
