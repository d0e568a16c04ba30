// The whole way from the files of a device to its reports: three snapshots are read, subtracted and
// printed by the collector. What it should print is made here once more, with the functions of the
// C library.
//
// An input is split at each 0x1e, the record separator of ASCII. The first part is the options: an
// "f" is --freq, a "t" is --proc, and two numbers are the length of the interval in milliseconds
// and --min-cpu. Then the files of kFiles follow, once for each snapshot. Of a later snapshot "="
// is the text of the one before, as is a part that the input lacks. "!" is a file that cannot be
// opened, "?" one that cannot be read.

#include <android/log.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "collector/stats_collector.h"
#include "sysstat/kernel_text.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/unit/support/block_stat_reading.h"
#include "tests/unit/support/cpu_times_reading.h"
#include "tests/unit/support/net_dev_reading.h"
#include "tests/unit/support/process_reading.h"
#include "tests/unit/support/time_in_state_reading.h"
#include "tests/unit/support/vmstat_reading.h"

namespace tarnwick {

namespace {

constexpr int32_t kCpus = 2;
// The walk over processes finds these, in any order. With --proc they are the threads of the first.
constexpr std::array<int32_t, 2> kTasks = {5, 7};

constexpr const char* kStat = "/proc/stat";
constexpr const char* kVmstat = "/proc/vmstat";
constexpr const char* kNetDev = "/proc/net/dev";
constexpr const char* kDisk = "/sys/block/sda/stat";
constexpr const char* kBattery = "/sys/class/power_supply/battery/temp";
constexpr const char* kBuddyinfo = "/proc/buddyinfo";
constexpr const char* kPagetypeinfo = "/proc/pagetypeinfo";
constexpr std::array<const char*, 13> kFiles = {
    kStat,
    kVmstat,
    kNetDev,
    kDisk,
    kBattery,
    kBuddyinfo,
    kPagetypeinfo,
    "/sys/devices/system/cpu/cpu0/cpufreq/stats/time_in_state",
    "/sys/devices/system/cpu/cpu1/cpufreq/stats/time_in_state",
    "5/stat",
    "7/stat",
    "5/schedstat",
    "7/schedstat"};

struct File {
  enum { kText, kMissing, kUnreadable } kind = kMissing;
  std::string text;
};

// The device at this moment, and what was printed on it.
std::map<std::string, File>& files() {
  static std::map<std::string, File> files;
  return files;
}
std::vector<std::string>& printed() {
  static std::vector<std::string> records;
  return records;
}

long openReal(int folder, const char* path, int flags, mode_t mode = 0) {
  return syscall(SYS_openat, folder, path, flags | O_CLOEXEC, mode);
}

int openFile(const File& file) {
  if (file.kind == File::kMissing) {
    errno = ENOENT;
    return -1;
  }
  if (file.kind == File::kUnreadable) {
    return static_cast<int>(openReal(AT_FDCWD, "/", O_RDONLY));
  }
  const int fd = memfd_create("file", MFD_CLOEXEC);
  if (pwrite(fd, file.text.data(), file.text.size(), 0) != static_cast<ssize_t>(file.text.size())) {
    abort();
  }
  return fd;
}

// A folder with the entries that a walk over processes meets.
const char* taskFolder() {
  static std::string folder;
  if (folder.empty()) {
    folder = "/tmp/tasks-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
      abort();
    }
    for (const int32_t task : kTasks) {
      mkdir((folder + '/' + std::to_string(task)).c_str(), 0700);
    }
    atexit([] {
      for (const int32_t task : kTasks) {
        rmdir((folder + '/' + std::to_string(task)).c_str());
      }
      rmdir(folder.c_str());
    });
  }
  return folder.c_str();
}

}  // namespace

}  // namespace tarnwick

// This program is the device's kernel and its log.

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  const auto file = tarnwick::files().find(path);
  return file != tarnwick::files().end()
             ? tarnwick::openFile(file->second)
             : static_cast<int>(tarnwick::openReal(AT_FDCWD, path, flags, mode));
}

extern "C" int openat(int folder, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  const auto file = tarnwick::files().find(path);
  return file != tarnwick::files().end()
             ? tarnwick::openFile(file->second)
             : static_cast<int>(tarnwick::openReal(folder, path, flags, mode));
}

extern "C" DIR* opendir(const char* path) {
  const std::string name = path;
  const bool tasks = name == "/proc" || name == "/proc/5/task";
  const long fd =
      tarnwick::openReal(AT_FDCWD, tasks ? tarnwick::taskFolder() : path, O_RDONLY | O_DIRECTORY);
  return fd < 0 ? nullptr : fdopendir(static_cast<int>(fd));
}

extern "C" int __android_log_write(int /*priority*/, const char* /*tag*/, const char* text) {
  tarnwick::printed().emplace_back(text);
  return 1;
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace tarnwick {

namespace {

int64_t plus(int64_t a, int64_t b) {
  int64_t sum = 0;
  static_cast<void>(__builtin_add_overflow(a, b, &sum));
  return sum;
}

int64_t minus(int64_t a, int64_t b) {
  int64_t difference = 0;
  static_cast<void>(__builtin_sub_overflow(a, b, &difference));
  return difference;
}

int64_t times(int64_t a, int64_t b) {
  int64_t product = 0;
  static_cast<void>(__builtin_mul_overflow(a, b, &product));
  return product;
}

// What a conversion of AArch64 gives on every processor.
int32_t toInt(double value) {
  constexpr auto kMin = std::numeric_limits<int32_t>::min();
  constexpr auto kMax = std::numeric_limits<int32_t>::max();
  if (!(value > kMin)) {
    return value <= kMin ? kMin : 0;
  }
  return value < kMax ? static_cast<int32_t>(value) : kMax;
}

struct Task {
  process_reading::Fields stat;
  process_reading::Schedstat schedstat{0, 0, 0, 0};
};

struct Side {
  std::array<CpuTimes, kCpus + 1> cpus;
  BlockStats disk{};
  VmstatMap vmstat;
  net_dev_reading::Interfaces interfaces;
  std::map<int32_t, Task> tasks;
  std::array<FreqMap, kCpus> frequencies;
};

// What a run with these options and files should print.
class Expected {
 public:
  Expected(bool freq, bool threads, int32_t minCpuMs)
      : freq_(freq), threads_(threads), minCpuMs_(minCpuMs) {}

  void begin() {
    if (!first_) {
      // A CPU without a line keeps what it had.
      before_ = after_;
      const auto cpus = after_.cpus;
      after_ = Side();
      after_.cpus = cpus;
      return;
    }
    first_ = false;
    readCpus(before_);
    readFrequencies(before_);
    readDisk(before_);
    readVmstat(before_);
    readInterfaces(before_);
    readTasks(before_);
  }

  void end(const StatsCollector& stamps) {
    readTasks(after_);
    readInterfaces(after_);
    readDisk(after_);
    readVmstat(after_);
    const std::string buddyinfo = read(kBuddyinfo, 512);
    const std::string battery = read(kBattery, 512);
    sscanf(battery.c_str(), "%ld", &batteryTemp_);
    readCpus(after_);
    readFrequencies(after_);

    printTasks();
    printCpus(minus(stamps.uptimeAfter, stamps.uptimeBefore));
    printDisk();
    printMemory();
    print("%s", buddyinfo.c_str());
    const std::string pagetypeinfo = read(kPagetypeinfo, 4096);
    if (const char* const summary = strstr(pagetypeinfo.c_str(), "Number of blocks")) {
      print("%s", summary);
    }
    print("body_temp=%ld\n", batteryTemp_);
    printInterfaces();
    print("uptime=%ld, realtime=%ld, proctimebefore=%ld, proctimeafter=%ld\n",
          minus(stamps.uptimeAfter, stamps.uptimeBefore),
          minus(stamps.realtimeAfter, stamps.realtimeBefore), stamps.procTimeBefore,
          stamps.procTimeAfter);
  }

  const std::vector<std::string>& records() const { return records_; }

 private:
  void print(const char* format, ...) __attribute__((format(printf, 2, 3))) {
    std::array<char, 1024> record;
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(record.data(), record.size(), format, arguments);
    va_end(arguments);
    records_.emplace_back(record.data());
  }

  // The text of a file as far as the buffer reaches, up to its first NUL byte.
  std::string read(const std::string& path, size_t size) {
    const File& file = files()[path];
    if (file.kind == File::kUnreadable) {
      print("Error opening %s: Is a directory (21)\n", path.c_str());
    }
    return file.kind == File::kText
               ? std::string(kernelText(file.text.data(), std::min(size, file.text.size())))
               : std::string();
  }

  void readCpus(Side& side) {
    for (int cpu = -1; cpu < kCpus; ++cpu) {
      CpuTimes& times = cpu < 0 ? side.cpus.back() : side.cpus[static_cast<size_t>(cpu)];
      const std::string key = cpu < 0 ? "cpu" : "cpu" + std::to_string(cpu);
      times = cpu_times_reading::sscanfTimesOf(read(kStat, size_t{1} << 20), key, times);
    }
  }

  void readFrequencies(Side& side) {
    for (size_t cpu = 0; freq_ && cpu < side.frequencies.size(); ++cpu) {
      side.frequencies[cpu] = time_in_state_reading::sscanfStatesOf(
          read("/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cpufreq/stats/time_in_state",
               4096));
    }
  }

  void readDisk(Side& side) { side.disk = block_stat_reading::sscanfStatsOf(read(kDisk, 512)); }

  void readVmstat(Side& side) {
    side.vmstat = vmstat_reading::sscanfCountersOf(read(kVmstat, 4096));
    for (const auto& [name, value] : side.vmstat) {
      seenNames_.insert(name);
    }
  }

  void readInterfaces(Side& side) {
    side.interfaces = net_dev_reading::sscanfInterfacesOf(read(kNetDev, 4096));
  }

  void readTasks(Side& side) {
    for (const int32_t id : kTasks) {
      const std::string folder = std::to_string(id);
      const File& stat = files()[folder + "/stat"];
      if (stat.kind != File::kText || stat.text.empty()) {
        continue;
      }
      Task& task = side.tasks[id];
      task.stat = process_reading::sscanfStatOf(read(folder + "/stat", 4096), {});
      if (threads_) {
        task.schedstat =
            process_reading::sscanfSchedstatOf(read(folder + "/schedstat", 4096), task.schedstat);
      }
    }
  }

  void printTasks() {
    struct Line {
      int64_t total;
      int32_t id;
    };
    std::vector<Line> lines;
    for (auto& [id, task] : after_.tasks) {
      const int64_t total = times(minus(task.stat.total, before_.tasks[id].stat.total), 10);
      if (total > minCpuMs_) {
        lines.push_back({total, id});
      }
    }
    std::stable_sort(lines.begin(), lines.end(),
                     [](const Line& a, const Line& b) { return a.total > b.total; });
    for (const Line& line : lines) {
      const Task& after = after_.tasks[line.id];
      const Task& before = before_.tasks[line.id];
      const auto ms = [](int64_t afterNs, int64_t beforeNs) {
        return static_cast<long long>(static_cast<double>(minus(afterNs, beforeNs)) / 1000000.0);
      };
      std::array<char, 512> common;
      snprintf(common.data(), common.size(),
               "%-5d %-18s: total=%-4ld utime=%-4ld stime=%-4ld min_flt=%-5ld maj_flt=%-4ld",
               after.stat.id, after.stat.name.c_str(), line.total,
               times(minus(after.stat.utime, before.stat.utime), 10),
               times(minus(after.stat.stime, before.stat.stime), 10),
               minus(after.stat.minFaults, before.stat.minFaults),
               minus(after.stat.majFaults, before.stat.majFaults));
      if (threads_) {
        print("%s rt=%-4lld wt=%-4lld switches=%-4ld\n", common.data(),
              ms(after.schedstat.runNs, before.schedstat.runNs),
              ms(after.schedstat.waitNs, before.schedstat.waitNs),
              minus(after.schedstat.switches, before.schedstat.switches));
      } else {
        print("%s\n", common.data());
      }
    }
  }

  void printCpus(int64_t intervalMs) {
    int64_t lines = 0;
    for (size_t cpu = 0; cpu <= kCpus; ++cpu) {
      const CpuTimes& a = after_.cpus[cpu];
      const CpuTimes& b = before_.cpus[cpu];
      const bool all = cpu == kCpus;
      const int64_t limit = all ? times(lines, intervalMs) : intervalMs;
      const int64_t user = times(10, plus(minus(a.user, b.user), minus(a.nice, b.nice)));
      const int64_t kernel = times(10, plus(plus(minus(a.system, b.system), minus(a.irq, b.irq)),
                                            minus(a.softirq, b.softirq)));
      const int64_t idleTicks = minus(a.idle, b.idle);
      const int64_t waitTicks = minus(a.iowait, b.iowait);
      const int64_t iowait = waitTicks < 0 ? 0 : times(10, waitTicks);
      const int64_t busy = plus(plus(user, kernel), iowait);
      if (!all && busy < 1) {
        continue;
      }
      int64_t idle = times(10, idleTicks);
      const bool implausible = idleTicks < 0 || idle > limit;
      if (implausible) {
        idle = minus(limit, busy);
      }
      const int64_t total = implausible || waitTicks < 0 ? limit : plus(busy, idle);
      const auto work = static_cast<double>(plus(user, kernel));
      // Division by zero is an infinity of the sign of the work, and no number without work.
      const double share = total != 0  ? work / static_cast<double>(total) * 100.0
                           : work != 0 ? work * std::numeric_limits<double>::infinity()
                                       : std::numeric_limits<double>::quiet_NaN();
      std::array<char, 8> label;
      snprintf(label.data(), label.size(), all ? "cpu  " : "cpu%2zu", cpu);
      print("%s: user=%-5ld kernel=%-5ld idle=%-5ld iowait=%-5ld total=%-6ld perc=%-3d",
            label.data(), user, kernel, idle, iowait, total, toInt(share));
      print("\n");
      if (all) {
        return;
      }
      ++lines;
      for (const auto& [frequency, time] : after_.frequencies[cpu]) {
        const int64_t spent = minus(time, before_.frequencies[cpu][frequency]);
        if (spent >= 1) {
          print("    freq: %-7ld %ld\n", frequency, times(spent, 10));
        }
      }
    }
  }

  // What the counters of these names gained together.
  int64_t gained(std::initializer_list<const char*> names) {
    int64_t after = 0;
    int64_t before = 0;
    for (const std::string name : names) {
      after = plus(after, after_.vmstat[name]);
      before = plus(before, before_.vmstat[name]);
    }
    return minus(after, before);
  }

  // The same of the older names, if one of them was ever seen, or else of the newer ones.
  int64_t gained(std::initializer_list<const char*> older,
                 std::initializer_list<const char*> newer) {
    const bool seen = std::any_of(older.begin(), older.end(),
                                  [this](const char* name) { return seenNames_.contains(name); });
    return gained(seen ? older : newer);
  }

  void printDisk() {
    const auto d = [this](size_t field) { return minus(after_.disk[field], before_.disk[field]); };
    print(
        "rw_reqs=%ld/%ld rw_merges=%ld/%ld rw_kb=%ld/%ld rw_ms=%ld/%ld total_ms=%ld "
        "total_queue_ms=%ld swap_inout_kb=%ld/%ld maj_flt=%ld\n",
        d(0), d(4), d(1), d(5), d(2) / 2, d(6) / 2, d(3), d(7), d(9), d(10), gained({"pswpin"}),
        gained({"pswpout"}), gained({"pgmajfault"}));
  }

  void printMemory() {
    print(
        "alloc_stalls=%ld compact_stalls=%ld kswapd_scans=%ld kswapd_steals=%ld "
        "direct_scans=%ld direct_steals=%ld\n",
        gained({"allocstall"}, {"allocstall_dma", "allocstall_dma32", "allocstall_normal",
                                "allocstall_movable", "allocstall_device"}),
        gained({"compact_stall"}),
        gained({"pgscan_kswapd_normal", "pgscan_kswapd_high", "pgscan_kswapd_dma"},
               {"pgscan_kswapd"}),
        gained({"pgsteal_kswapd_normal", "pgsteal_kswapd_high", "pgsteal_kswapd_dma"},
               {"pgsteal_kswapd"}),
        gained({"pgscan_direct_normal", "pgscan_direct_high", "pgscan_direct_dma"},
               {"pgscan_direct"}),
        gained({"pgsteal_direct_normal", "pgsteal_direct_high", "pgsteal_direct_dma"},
               {"pgsteal_direct"}));
    const auto kb = [this](std::initializer_list<const char*> names) {
      int64_t pages = 0;
      for (const std::string name : names) {
        pages = plus(pages, after_.vmstat[name]);
      }
      return times(pages, 4);
    };
    const auto change = [this](std::initializer_list<const char*> names) {
      return times(gained(names), 4);
    };
    const std::initializer_list<const char*> slab = {"nr_slab_reclaimable",
                                                     "nr_slab_unreclaimable"};
    print(
        "MemFree=%ld(%+ld) Cached=%ld(%+ld) AnonPages=%ld(%+ld) Mapped=%ld(%+ld) Slab=%ld(%+ld) "
        "Ion=%ld(%+ld) Shmem=%ld(%+ld)\n",
        kb({"nr_free_pages"}), change({"nr_free_pages"}), kb({"nr_file_pages"}),
        change({"nr_file_pages"}), kb({"nr_anon_pages"}), change({"nr_anon_pages"}),
        kb({"nr_mapped"}), change({"nr_mapped"}), kb(slab), change(slab), kb({"nr_ion"}),
        change({"nr_ion"}), kb({"nr_shmem"}), change({"nr_shmem"}));
  }

  void printInterfaces() {
    for (const auto& after : after_.interfaces) {
      const auto before = before_.interfaces.find(after.first);
      if (before == before_.interfaces.end()) {
        continue;
      }
      const auto d = [&](size_t column) {
        return minus(after.second[column], before->second[column]);
      };
      if (plus(d(1), d(3)) >= 1) {
        print("%s: rx_kb=%-6ld rx_packets=%-6ld tx_kb=%-6ld tx_packets=%-6ld\n",
              after.first.c_str(), d(0), d(1), d(2), d(3));
      }
    }
  }

  bool freq_;
  bool threads_;
  int32_t minCpuMs_;
  bool first_ = true;
  Side before_;
  Side after_;
  int64_t batteryTemp_ = 0;
  std::set<std::string> seenNames_;
  std::vector<std::string> records_;
};

// Takes the next part of the input; nothing at its end.
std::optional<std::string> takePart(std::optional<std::string_view>& input) {
  if (!input) {
    return std::nullopt;
  }
  const size_t end = input->find('\x1e');
  std::string part(input->substr(0, end));
  input = end == std::string_view::npos ? std::nullopt
                                        : std::optional<std::string_view>(input->substr(end + 1));
  return part;
}

// Lays the files of the next snapshot.
void layFiles(std::optional<std::string_view>& input) {
  for (const char* const path : kFiles) {
    const std::string part = takePart(input).value_or("=");
    File& file = files()[path];
    // A message for a process would stand where the walk meets it.
    const bool isTasks = path[0] != '/';
    if (part == "!" || (part == "?" && isTasks)) {
      file = {File::kMissing, ""};
    } else if (part == "?") {
      file = {File::kUnreadable, ""};
    } else if (part != "=") {
      file = {File::kText, part};
    }
  }
}

}  // namespace

void takeInput(std::string_view input) {
  std::optional<std::string_view> rest = input;
  const std::string options = *takePart(rest);
  const bool freq = options.find('f') != std::string::npos;
  const bool threads = options.find('t') != std::string::npos;
  long intervalMs = 1000;
  int minCpuMs = 0;
  const size_t numbers = std::min(options.find_first_of("-0123456789"), options.size());
  sscanf(options.c_str() + numbers, "%ld %d", &intervalMs, &minCpuMs);

  files().clear();
  layFiles(rest);
  hasPreviousSample = false;
  StatsCollector collector;
  collector.cpuCount = kCpus;
  collector.cpuBefore.resize(kCpus + 1);
  collector.cpuAfter.resize(kCpus + 1);
  collector.freqBefore.resize(kCpus);
  collector.freqAfter.resize(kCpus);
  collector.pmuCount.resize(kCpus);
  collector.blockDeviceNames = {"sda"};
  collector.freq = freq;
  collector.targetPid = threads ? kTasks[0] : -1;
  collector.minCpuMs = static_cast<uint32_t>(minCpuMs);
  printed().clear();

  Expected expected(freq, threads, minCpuMs);
  for (int measurement = 0; measurement < 2; ++measurement) {
    collector.beginSample();
    expected.begin();
    // As long ago as the input says, and the summary of free blocks is due.
    collector.uptimeBefore = minus(collector.uptimeBefore, intervalMs);
    collector.lastPagetypeinfoTime = -60001;
    layFiles(rest);
    collector.endSample();
    expected.end(collector);
    expectSame(printed(), expected.records());
  }
}

}  // namespace tarnwick
