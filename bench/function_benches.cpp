// The program's own functions beside what no implementation of them can avoid, in pairs named
// "ROW/ours" and "ROW/floor". Standard output takes report text: ask for the figures with
// --benchmark_out=FILE.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "bench/floors.h"
#include "collector/stats_collector.h"
#include "proc/print_process_report.h"
#include "proc/process_report.h"
#include "proc/read_cpu.h"
#include "proc/sample_processes.h"
#include "trace/block_source.h"

namespace tarnwick::bench {

namespace {

// What processes are in a measurement of a loop: the snapshot, its subtraction from the one before,
// whose records are dropped, and the report.
void takeSnapshots(benchmark::State& state, int32_t targetPid, const char* directory) {
  StatsCollector collector;
  collector.useStdout = true;
  collector.targetPid = targetPid;
  for ([[maybe_unused]] const auto round : state) {
    collector.processesBefore.clear();
    std::swap(collector.processesBefore, collector.processesAfter);
    sampleProcesses(collector, directory, collector.processesAfter);
    printProcessReport(collector);
  }
  state.counters["entries"] = static_cast<double>(collector.processesAfter.size());
}

void walk(benchmark::State& state, const char* directory, const std::vector<const char*>& files) {
  size_t entries = 0;
  for ([[maybe_unused]] const auto round : state) {
    entries = walkNumbered(directory, files);
  }
  state.counters["entries"] = static_cast<double>(entries);
}

// The threads are those of the first process: the benches run in a PID namespace.
constexpr int32_t kCrowd = 1;
constexpr const char* kCrowdTasks = "/proc/1/task";

// All that the after snapshot reads besides the processes, in its order.
void readRest(benchmark::State& state) {
  StatsCollector collector;
  const auto cpus = static_cast<size_t>(collector.cpuCount);
  for ([[maybe_unused]] const auto round : state) {
    collector.netDevAfter.clear();
    forgetCounters(collector.vmstatAfter);
    collector.readNetDev(collector.netDevAfter);
    readBlockStats(collector, collector.blockAfter);
    collector.readVmstat(collector.vmstatAfter);
    collector.readBuddyinfo();
    collector.readBatteryTemp();
    readCpuTimes(collector, "cpu", collector.cpuAfter.back());
    for (size_t cpu = 0; cpu < cpus; ++cpu) {
      readCpuTimes(collector, ("cpu" + std::to_string(cpu)).c_str(), collector.cpuAfter[cpu]);
    }
    for (auto& map : collector.freqAfter) {
      map.clear();
    }
    readCpuFreqStats(collector, collector.freqAfter);
  }
}

// The same files, as often.
void readRestFloor(benchmark::State& state) {
  StatsCollector collector;
  findBlockDevices(collector, "/sys/block/");
  struct File {
    std::string path;
    size_t size;
  };
  std::vector<File> files = {{"/proc/net/dev", 4096}};
  for (const std::string& disk : collector.blockDeviceNames) {
    files.push_back({"/sys/block/" + disk + "/stat", 512});
  }
  files.push_back({"/proc/vmstat", 4096});
  files.push_back({"/proc/buddyinfo", 512});
  files.push_back({"/sys/class/power_supply/battery/temp", 512});
  files.insert(files.end(), static_cast<size_t>(collector.cpuCount) + 1,
               {"/proc/stat", collector.statText.size()});
  for (int32_t cpu = 0; cpu < collector.cpuCount; ++cpu) {
    files.push_back(
        {"/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cpufreq/stats/time_in_state",
         4096});
  }
  std::vector<char> buffer;
  for ([[maybe_unused]] const auto round : state) {
    for (const File& file : files) {
      buffer.resize(file.size);
      readWhole(file.path.c_str(), buffer);
    }
    if (collector.blockDeviceNames.empty()) {
      // Disks are looked for until there are some.
      walkNumbered("/sys/block", {});
    }
  }
}

std::vector<android::sp<ProcessRecord>> busyProcesses() {
  constexpr int32_t kProcesses = 4000;
  std::vector<android::sp<ProcessRecord>> deltas;
  for (int32_t id = 1; id <= kProcesses; ++id) {
    android::sp<ProcessRecord> record = new ProcessRecord;
    record->id = id;
    snprintf(record->name.data(), record->name.size(), "process-%d", id);
    record->utime = id * 10L % 3000;
    record->stime = id * 10L % 700;
    record->total = record->utime + record->stime + 1;
    record->minFaults = id * 7L % 5000;
    record->majFaults = id % 3;
    deltas.push_back(record);
  }
  return deltas;
}

void printProcesses(benchmark::State& state) {
  const auto deltas = busyProcesses();
  StatsCollector collector;
  collector.useStdout = true;
  for ([[maybe_unused]] const auto round : state) {
    formatProcessReport(deltas, ProcessColumns::kProcesses, collector);
  }
  state.counters["entries"] = static_cast<double>(deltas.size());
}

void printProcessesFloor(benchmark::State& state) {
  const auto deltas = busyProcesses();
  for ([[maybe_unused]] const auto round : state) {
    for (const auto& delta : deltas) {
      printf("%-5d %-18s: total=%-4ld utime=%-4ld stime=%-4ld min_flt=%-5ld maj_flt=%-4ld\n",
             delta->id, delta->name.data(), delta->total, delta->utime, delta->stime,
             delta->minFaults, delta->majFaults);
    }
  }
  state.counters["entries"] = static_cast<double>(deltas.size());
}

void processFloor(benchmark::State& state) {
  walk(state, "/proc", {"stat"});
}

void processes(benchmark::State& state) {
  takeSnapshots(state, -1, "/proc");
}

void threadFloor(benchmark::State& state) {
  walk(state, kCrowdTasks, {"stat", "schedstat"});
}

void threads(benchmark::State& state) {
  takeSnapshots(state, kCrowd, kCrowdTasks);
}

BENCHMARK(processFloor)->Name("processes/floor");
BENCHMARK(processes)->Name("processes/ours");
BENCHMARK(threadFloor)->Name("threads/floor");
BENCHMARK(threads)->Name("threads/ours");
BENCHMARK(readRestFloor)->Name("rest/floor");
BENCHMARK(readRest)->Name("rest/ours");
BENCHMARK(printProcessesFloor)->Name("print/floor");
BENCHMARK(printProcesses)->Name("print/ours");

}  // namespace

}  // namespace tarnwick::bench

BENCHMARK_MAIN();
