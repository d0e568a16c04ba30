#include <utils/SystemClock.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <utility>

#include "collector/stats_collector.h"
#include "collector/stdout_section.h"
#include "proc/pmu.h"
#include "proc/read_cpu.h"
#include "proc/sample_processes.h"
#include "sysstat/counter_math.h"
#include "trace/block_source.h"
#include "trace/trace_control.h"

namespace tarnwick {

namespace {

std::string cpuKey(int32_t cpu) {
  return "cpu" + std::to_string(cpu);
}

// Hands the after side to the before side and leaves it empty.
template <typename Table>
void takeOver(Table& before, Table& after) {
  std::swap(before, after);
  after.clear();
}

}  // namespace

// The CPU times and PMU counters come first and stand closest to the start of the interval; the
// processes, whose walk takes longest, come last.
void StatsCollector::beginSample() {
  const int64_t start = android::elapsedRealtime();
  sampling = true;

  if (hasPreviousSample) {
    cpuBefore.back() = cpuAfter.back();
  } else {
    readCpuTimes(*this, "cpu", cpuBefore.back());
  }
  for (int32_t cpu = 0; cpu < cpuCount; ++cpu) {
    const auto slot = static_cast<size_t>(cpu);
    if (hasPreviousSample) {
      cpuBefore[slot] = cpuAfter[slot];
    } else {
      readCpuTimes(*this, cpuKey(cpu).c_str(), cpuBefore[slot]);
    }
    if (pmu) {
      startPmuCounters(*this, cpu);
    }
  }
  if (freq) {
    if (hasPreviousSample) {
      for (size_t slot = 0; slot < freqBefore.size(); ++slot) {
        takeOver(freqBefore[slot], freqAfter[slot]);
      }
    } else {
      readCpuFreqStats(*this, freqBefore);
    }
  }

  uptimeBefore = android::uptimeMillis();
  realtimeBefore = android::elapsedRealtime();

  if (hasPreviousSample) {
    blockBefore = blockAfter;
    std::swap(vmstatBefore, vmstatAfter);
    forgetCounters(vmstatAfter);
    takeOver(netDevBefore, netDevAfter);
    takeOver(processesBefore, processesAfter);
  } else {
    readBlockStats(*this, blockBefore);
    readVmstat(vmstatBefore);
    readNetDev(netDevBefore);
    sampleProcessesInto(processesBefore);
  }

  // Last, so that the program's own reading is not traced.
  if (blockDump) {
    startTracing(*this);
  }
  if (systrace) {
    startTracing(*this);
  }

  procTimeBefore = difference(android::elapsedRealtime(), start);
  hasPreviousSample = true;
}

// The order is not that of the before snapshot: the processes come first, the CPU times last.
void StatsCollector::endSample() {
  const int64_t start = android::elapsedRealtime();

  sampleProcessesInto(processesAfter);
  readNetDev(netDevAfter);
  readBlockStats(*this, blockAfter);
  readVmstat(vmstatAfter);
  readBuddyinfo();
  readBatteryTemp();
  readCpuTimes(*this, "cpu", cpuAfter.back());
  for (int32_t cpu = 0; cpu < cpuCount; ++cpu) {
    readCpuTimes(*this, cpuKey(cpu).c_str(), cpuAfter[static_cast<size_t>(cpu)]);
    if (pmu) {
      stopPmuCounters(*this, cpu);
    }
  }
  if (freq) {
    readCpuFreqStats(*this, freqAfter);
  }

  if (blockDump) {
    stopTracing(*this);
  }
  if (systrace) {
    stopTracing(*this);
  }

  uptimeAfter = android::uptimeMillis();
  realtimeAfter = android::elapsedRealtime();

  printReport();
  procTimeAfter = difference(android::elapsedRealtime(), start);
  output("uptime=%ld, realtime=%ld, proctimebefore=%ld, proctimeafter=%ld\n",
         difference(uptimeAfter, uptimeBefore), difference(realtimeAfter, realtimeBefore),
         procTimeBefore, procTimeAfter);

  resetSample();
  sampling = false;
  if (useStdout) {
    const StdoutSection section;
    fflush(stdout);
  }
  finishTracing();
}

// The after side stays: it is the next before side.
void StatsCollector::resetSample() {
  std::fill(cpuBefore.begin(), cpuBefore.end(), CpuTimes{});
  blockBefore = BlockStats{};
  processesBefore.clear();
  forgetCounters(vmstatBefore);
  netDevBefore.clear();
  for (FreqMap& map : freqBefore) {
    map.clear();
  }
}

void StatsCollector::sampleProcessesInto(ProcessMap& map) {
  if (targetPid == -1) {
    sampleProcesses(*this, "/proc", map);
    return;
  }
  std::array<char, 40> directory;
  snprintf(directory.data(), directory.size(), "/proc/%d/task", targetPid);
  sampleProcesses(*this, directory.data(), map);
}

}  // namespace tarnwick
