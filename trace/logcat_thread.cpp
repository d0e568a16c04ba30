#include "trace/logcat_thread.h"

#include <pthread.h>
#include <sys/prctl.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "collector/end_process.h"
#include "collector/messages.h"
#include "collector/stats_collector.h"
#include "proc/find_process.h"
#include "trace/kpi_line.h"
#include "trace/lock.h"
#include "trace/process_handle.h"
#include "trace/shell_command.h"
#include "trace/stream_reader.h"
#include "trace/trace_control.h"
#include "trace/trace_state.h"

namespace tarnwick {

namespace {

// The main buffer, silent but for the tags that time the start of an application.
constexpr const char* kLogcat =
    "logcat -v threadtime -b main *:s KPI-R2K-ID-2 KPI-R2K-ZY-6 KPI-R2K-AT-1 KPI-R2K-AT-5 "
    "KPI-R2K-AT-6 KPI-R2K-AMS-1 KPI-R2K-AMS-6 KPI-R2K-AMS-8 KPI-R2K-WMS-2 KPI-R2K-WMS-3 "
    "KPI-R2K-WMS-5 KPI-R2K-WMS-6";

constexpr std::string_view kLogcatName = "logcat";

// How long the fallback may take to end the tool before it is ended itself.
constexpr std::chrono::milliseconds kFallbackTimeout{2000};

void onLogcatThreadSignal(int signo) {
  if (signo == SIGUSR2) {
    noteStop();
  } else {
    puts("logcat_thread: unexpected signal");
  }
}

// The process of the application that is being started, for the one record that carries it: the
// first line that names it. 0 for all others.
int32_t applicationPid(const KpiLine& kpi) {
  if (gKpiPidFound) {
    return 0;
  }
  if (kpi.tag == "KPI-R2K-AMS-1" && !kpi.component.empty()) {
    const int32_t pid = findProcessByName(componentPackage(kpi.component));
    gKpiPidFound = pid != -1;
    return gKpiPidFound ? pid : 0;
  }
  if (kpi.tag == "KPI-R2K-ZY-6") {
    gKpiPidFound = true;
    return kpi.pid;
  }
  return 0;
}

void takeLine(std::string_view line) {
  const std::optional<KpiLine> kpi = parseKpiLine(line);
  if (!kpi || droppedForMemory()) {
    return;
  }
  TraceRecord record;
  record.time = static_cast<double>(kpi->timeMs) / 1000.0;
  record.duration = 1000000;
  record.kind = TraceRecordKind::kKpi;
  record.tid = applicationPid(*kpi);
  {
    const Lock lock(gTraceMutex);
    record.name = gKpiNames.idOf(kpi->tag);
  }
  TraceAppender().append(record);
}

// The processes that the trace has seen under the tool's name, the lowest id first.
std::vector<pid_t> tracedLogcats() {
  std::vector<pid_t> pids;
  const Lock lock(gTgidNamesMutex);
  for (const auto& [tgid, name] : gTgidNames) {
    if (name == kLogcatName) {
      pids.push_back(tgid);
    }
  }
  return pids;
}

// The tool never ends by itself. It runs, so most traces have seen it, and the pipe thread has its
// id. Many have seen the one that cleared the log, too; it has ended, and another process can have
// its id.
void endLogcat() {
  for (const pid_t pid : tracedLogcats()) {
    const ProcessHandle process(pid);
    if (process.isNamed(kLogcatName)) {
      postMessage("Killing logcat process " + std::to_string(pid));
      process.kill();
      return;
    }
  }
  ShellCommand("busybox pkill logcat", ShellCommand::Output::kInherited).wait(kFallbackTimeout);
}

}  // namespace

void* logcat_thread(void* /*unused*/) {
  prctl(PR_SET_NAME, "logcat_thread");
  installWorkerHandler(onLogcatThreadSignal);
  // Only what is logged during the measurement counts, so nothing is captured before the end of it.
  ShellCommand("logcat -c", ShellCommand::Output::kInherited).waitOrStop();
  ShellCommand logcat(kLogcat, ShellCommand::Output::kPipe);
  if (logcat.fd() < 0) {
    endTraceWithError("popen() failed!");
  }
  // A line can cost a search of all processes.
  constexpr size_t kBlockSize = 4096;
  StreamReader(logcat.fd(), kBlockSize).run(takeLine);
  endLogcat();
  return nullptr;
}

void startLogcatThread(StatsCollector& collector) {
  const BlockWorkerSignals blocked;
  pthread_t thread{};
  const int rc = pthread_create(&thread, nullptr, logcat_thread, nullptr);
  if (rc != 0) {
    collector.output("pthread_create(logcat) failed! rc= %d\n", rc);
    endProcess(1);
  }
  collector.logcatThreadId = thread;
}

void stopLogcatThread(StatsCollector& collector) {
  // The thread is not stopped in the middle of an append.
  pthread_mutex_lock(&gTraceMutex);
  pthread_mutex_unlock(&gTraceMutex);
  if (collector.logcatThreadId) {
    pthread_kill(*collector.logcatThreadId, SIGUSR2);
    pthread_join(*collector.logcatThreadId, nullptr);
    collector.logcatThreadId.reset();
  }
}

}  // namespace tarnwick
