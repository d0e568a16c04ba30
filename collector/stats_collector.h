#pragma once

#ifdef TARNWICK_PURE
#error "Parsing, subtracting and formatting know nothing of the collector."
#endif

#include <linux/perf_event.h>
#include <pthread.h>

#include <array>
#include <cstdarg>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "proc/cpu_times.h"
#include "proc/pmu_events.h"
#include "proc/process_record.h"
#include "proc/time_in_state.h"
#include "sysstat/net_dev.h"
#include "sysstat/reclaim.h"
#include "sysstat/report_sink.h"
#include "sysstat/vmstat.h"
#include "trace/block_stat.h"
#include "trace/inode_paths.h"

namespace tarnwick {

// An open folder of kernel files.
struct KernelFolder {
  int fd;
  std::string path;  // for messages; ends in "/"
};

// The one object that a run revolves around: what the options ask for, the snapshot of every source
// before and after the interval, and the order in which they are taken and printed.
//
//   collector.beginSample();  // before snapshot
//   ...                       // the interval
//   collector.endSample();    // after snapshot, report, reset
//
// Only the first before snapshot reads the kernel. Every later one takes over the after snapshot of
// the measurement before it, so that counters are read once per boundary and no tick is lost
// between two reports; its intervals therefore begin where the last report's ended, while the time
// stamps and the PMU counts are taken afresh.
//
// The collector is used by the main thread alone; there are no locks. Operations are defined in the
// folder of their subject, and the tables are open to them.
class StatsCollector final : public ReportSink {
 public:
  StatsCollector();

  void beginSample();
  void endSample();

  // Report text: to standard output as it is, or as one record of the system log with the tag
  // "Tarnwick" and the priority of an error, cut at 1023 characters without a mark. On a terminal
  // control characters are shown as '?', but for newline and tab. Failures are ignored.
  int output(const char* format, ...) override __attribute__((format(printf, 2, 3)));

  // Reads a kernel file with one open, one read and one close into a buffer that is zeroed first.
  // What lies beyond `size` bytes is not seen, and a file that fills the buffer leaves no
  // terminator. Returns the bytes read, 0 without a message when the file cannot be opened, -1 with
  // one when it cannot be read.
  int64_t readKernelFile(const char* path, char* buffer, int32_t size);

  // The same without filling the buffer first. Returns the text, which is empty when there was
  // nothing to read.
  std::string_view readKernelText(const char* path, std::span<char> buffer);

  // The same of a file that is named within an open folder, which saves the kernel the way there.
  // Nothing when not one byte could be read; a file that begins with a NUL byte gives an empty
  // text.
  std::optional<std::string_view> readKernelTextAt(const KernelFolder& folder, const char* name,
                                                   std::span<char> buffer);

  // Writes a value to a kernel control file with one open, one write and one close. A file that
  // does not take it whole ends the process with a message and status 1: a half-configured kernel
  // makes a false report.
  void writeKernelFile(const char* path, const char* text);

  // Reads /proc/vmstat, up to 4096 bytes, into a map as parseVmstat does, and tells from the text
  // how the kernel counts reclaim. Without the file the map stays as it is.
  void readVmstat(VmstatMap& map);

  // Reads the first 512 bytes of /proc/buddyinfo into buddyinfoText, which is emptied first. See
  // proc(5).
  void readBuddyinfo();

  // Reads /proc/net/dev, up to 4096 bytes, into a map as parseNetDev does. Without the file the map
  // stays as it is.
  void readNetDev(NetDevMap& map);

  // Reads /sys/class/power_supply/battery/temp. Without a number there the last reading stays.
  void readBatteryTemp();

  // True from the start of beginSample to the end of endSample.
  bool sampling = false;

  // Options.
  bool useStdout = false;
  bool stdoutIsTerminal = false;
  bool blockDump = false;
  bool systrace = false;
  bool procCpu = true;
  bool freq = false;
  bool pmu = false;
  uint32_t minCpuMs = 0;
  int32_t targetPid = -1;  // the process whose threads are sampled; -1 for all processes

  int32_t cpuCount;  // configured CPUs, online or not

  // Milliseconds. Uptime stands still while the system sleeps, realtime does not.
  int64_t uptimeBefore = 0;
  int64_t uptimeAfter = 0;
  int64_t realtimeBefore = 0;
  int64_t realtimeAfter = 0;

  // How long the program itself took for the before snapshot, and for the after snapshot and
  // report.
  int64_t procTimeBefore = 0;
  int64_t procTimeAfter = 0;

  // One entry a CPU, and the sum of all CPUs behind the last.
  std::vector<CpuTimes> cpuBefore;
  std::vector<CpuTimes> cpuAfter;

  ProcessMap processesBefore;
  ProcessMap processesAfter;

  // One entry a CPU.
  std::vector<FreqMap> freqBefore;
  std::vector<FreqMap> freqAfter;
  perf_event_attr pmuAttr{};
  std::vector<PmuFds> pmuFd;
  std::vector<PmuCounts> pmuCount;

  NetDevMap netDevBefore;
  NetDevMap netDevAfter;

  // All disks together, and the names of the disks, which are looked for until some are found.
  BlockStats blockBefore{};
  BlockStats blockAfter{};
  std::vector<std::string> blockDeviceNames;

  // Reports add the names that they look up to both maps.
  VmstatMap vmstatBefore;
  VmstatMap vmstatAfter;
  VmstatPlaces vmstatPlaces;
  ReclaimNaming reclaimNaming;

  // Texts as they are read, without a terminator where they fill their buffer.
  std::array<char, 512> buddyinfoText{};
  std::array<char, 4096> pagetypeinfoText{};

  // When the block summary was last printed, in milliseconds of the elapsed-realtime clock: the
  // start of the program counts, so that a short run has none.
  int64_t lastPagetypeinfoTime;

  int64_t batteryTemp = 0;  // tenths of a degree Celsius; read at the after snapshot only

  // Which file an inode is, for the page-cache lines.
  InodePaths inodePaths;

  // The worker threads of tracing, while they run. A measurement can be ended twice, by a signal
  // and by the run mode, but a thread is joined once.
  std::optional<pthread_t> pipeThreadId;
  std::optional<pthread_t> logcatThreadId;

  // What /proc/stat is read into, kept because its size grows with the machine.
  std::vector<char> statText;

 private:
  // Reads and closes a file that was just opened, of the path `folder` + `name`.
  int64_t readOnce(int fd, const char* folder, const char* name, std::span<char> buffer);
  static int printToTerminal(const char* format, va_list arguments)
      __attribute__((format(printf, 1, 0)));
  void printReport();
  void printMemoryReport();
  void printNetworkReport();
  void resetSample();
  void sampleProcessesInto(ProcessMap& map);
};

// The collector of this run: null until `main` creates it.
extern StatsCollector* gCollector;

// True once a before snapshot was taken: from then on they are taken over, not read.
extern bool hasPreviousSample;

}  // namespace tarnwick
