#include "trace/pipe_thread.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <unordered_map>

#include "collector/end_process.h"
#include "collector/messages.h"
#include "collector/stats_collector.h"
#include "trace/drain_request.h"
#include "trace/lock.h"
#include "trace/lost_events.h"
#include "trace/page_cache_event.h"
#include "trace/save_trace.h"
#include "trace/sched_event.h"
#include "trace/stream_reader.h"
#include "trace/task_names.h"
#include "trace/trace_state.h"

namespace tarnwick {

namespace {

// The request of the current measurement.
DrainRequest* gDrainRequest = nullptr;

void onPipeThreadSignal(int signo) {
  if (signo == SIGUSR2) {
    noteStop();
  } else {
    puts("pipe_thread: unexpected signal");
  }
}

TraceRecordKind recordKind(SchedEventKind kind) {
  switch (kind) {
    case SchedEventKind::kWait:
      return TraceRecordKind::kWait;
    case SchedEventKind::kIoWait:
      return TraceRecordKind::kIoWait;
    case SchedEventKind::kRuntime:
      break;
  }
  return TraceRecordKind::kRuntime;
}

// Threads whose events become records, by the low bits of their ids: where gTidNames has the name.
// A few threads have nearly all events; theirs need no look at three ordered maps.
struct KnownThread {
  int32_t tid;
  NameTable::Id* name;
};
std::array<KnownThread, 1024> gKnownThreads;

// Where gTidNames has the name of a thread; null when its events leave no record.
NameTable::Id* nameOfThread(int32_t tid) {
  KnownThread& known = gKnownThreads[static_cast<uint32_t>(tid) % gKnownThreads.size()];
  if (known.name != nullptr && known.tid == tid) {
    return known.name;
  }
  const int32_t tgid = tgidOf(tid);
  if (tgid < 1 || !hasTgidName(tgid)) {
    return nullptr;
  }
  NameTable::Id* const name = &gTidNames[tid];
  // A process that is about to be named is looked at again.
  if (gTgidNames.contains(tgid)) {
    known = {tid, name};
  }
  return name;
}

void takeSchedEvent(std::string_view line) {
  const std::optional<SchedEvent> event = parseSchedEvent(line);
  if (!event || droppedForMemory()) {
    return;
  }
  const bool makesRecord = event->value >= 1 && event->value <= TraceRecord::kLongestDuration;
  NameTable::Id* const name = nameOfThread(event->tid);
  if (name == nullptr) {
    gTraceLosses.unresolved += makesRecord ? 1U : 0U;
    return;
  }
  // It is nearly always the one that the thread had before.
  if (gTraceNames.name(*name) != event->comm) {
    *name = gTraceNames.idOf(event->comm);
  }
  if (!makesRecord) {
    return;
  }
  TraceRecord record;
  record.time = event->time;
  record.duration = static_cast<uint32_t>(event->value) & ((1U << 29U) - 1);
  record.kind = recordKind(event->kind);
  record.cpu = event->cpu;
  record.tid = event->tid;
  record.name = *name;
  appendTraceRecord(record);
  if (!gFirstTraceSeen) {
    postMessage("Received first trace message...");
    gFirstTraceSeen = true;
  }
}

// The counts of a file by its numbers: the key of gPageCacheCounts is a text, which takes longer to
// make than an event to read.
using CountsByFile = std::unordered_map<PageCacheFile, PageCacheCount*, PageCacheFileHash>;
CountsByFile& gCountsByFile = *new CountsByFile;  // NOLINT(cert-err58-cpp)

void takePageCacheEvent(std::string_view line) {
  const std::optional<PageCacheEvent> event = parsePageCacheEvent(line);
  if (!event || droppedForMemory()) {
    return;
  }
  PageCacheCount*& count = gCountsByFile[event->file];
  if (count == nullptr) {
    count = &gPageCacheCounts[pageCacheKey(event->file)];
  }
  ++(event->added ? count->adds : count->deletes);
}

void takeLostEvents(std::string_view line) {
  if (const std::optional<LostEvents> lost = parseLostEvents(line)) {
    gTraceLosses.overwritten += lost->count.value_or(0);
    gTraceLosses.overwrittenUnknown += lost->count ? 0U : 1U;
  }
}

void forgetMeasurement() {
  gKnownThreads.fill({});
  gTidToTgid.clear();
  gTidNames.clear();
  {
    const Lock lock(gTgidNamesMutex);
    gTgidNames.clear();
  }
  gTraceNames.clear();
  const Lock lock(gTraceMutex);
  gTraceRecords.clear();
  gKpiNames.clear();
}

}  // namespace

void* pipe_thread(void* /*unused*/) {
  prctl(PR_SET_NAME, "pipe_thread");
  // Not blocking: the pipe of a device that traces nothing must not keep the stop waiting.
  const int fd =
      open((gTracingDirectory + "/trace_pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    postMessage("fopen(trace_pipe) failed!");
    endProcess(1);
  }
  installWorkerHandler(onPipeThreadSignal);
  // The kernel gives less at a time.
  constexpr size_t kBlockSize = size_t{64} * 1024;
  const auto takeLine = [](std::string_view line) {
    takeLostEvents(line);
    if (gTraceSched) {
      takeSchedEvent(line);
    }
    if (gTracePageCache) {
      takePageCacheEvent(line);
    }
  };
  StreamReader(fd, kBlockSize).run(takeLine, gDrainRequest);
  close(fd);
  if (gTraceSched) {
    saveTrace();
  }
  forgetMeasurement();
  return nullptr;
}

void startPipeThread(StatsCollector& collector) {
  gTraceSched = collector.systrace;
  gTracePageCache = collector.blockDump;
  gDrainRequest = new DrainRequest;
  const BlockWorkerSignals blocked;
  pthread_t thread{};
  const int rc = pthread_create(&thread, nullptr, pipe_thread, nullptr);
  if (rc != 0) {
    collector.output("pthread_create(pipe) failed! rc= %d\n", rc);
    endProcess(1);
  }
  collector.pipeThreadId = thread;
}

void drainPipeThread() {
  constexpr std::chrono::milliseconds kPatience{2000};
  if (gDrainRequest != nullptr) {
    gDrainRequest->await(kPatience);
  }
}

void stopPipeThread(StatsCollector& collector) {
  if (collector.pipeThreadId) {
    pthread_kill(*collector.pipeThreadId, SIGUSR2);
    pthread_join(*collector.pipeThreadId, nullptr);
    collector.pipeThreadId.reset();
    delete gDrainRequest;
    gDrainRequest = nullptr;
  }
}

}  // namespace tarnwick
