#include "trace/pipe_thread.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "collector/end_process.h"
#include "collector/stats_collector.h"
#include "trace/drain_request.h"
#include "trace/lock.h"
#include "trace/page_cache_event.h"
#include "trace/sched_event.h"
#include "trace/stream_reader.h"
#include "trace/task_names.h"
#include "trace/trace_file.h"
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

// The id of a thread's name, which is nearly always the one that it had before.
NameTable::Id rememberTidName(const SchedEvent& event) {
  NameTable::Id& last = gTidNames[event.tid];
  if (gTraceNames.name(last) != event.comm) {
    last = gTraceNames.idOf(event.comm);
  }
  return last;
}

void takeSchedEvent(std::string_view line) {
  const std::optional<SchedEvent> event = parseSchedEvent(line);
  if (!event) {
    return;
  }
  const int32_t tgid = tgidOf(event->tid);
  if (tgid < 1 || !hasTgidName(tgid)) {
    return;
  }
  const NameTable::Id name = rememberTidName(*event);
  if (event->value < 1 || event->value > TraceRecord::kLongestDuration) {
    return;
  }
  TraceRecord record;
  record.time = event->time;
  record.duration = static_cast<uint32_t>(event->value) & ((1U << 29U) - 1);
  record.kind = recordKind(event->kind);
  record.cpu = event->cpu;
  record.tid = event->tid;
  record.name = name;
  {
    const Lock lock(gTraceMutex);
    gTraceRecords.append(record);
  }
  if (!gFirstTraceSeen) {
    puts("Received first trace message...");
    gFirstTraceSeen = true;
  }
}

void takePageCacheEvent(std::string_view line) {
  if (const std::optional<PageCacheEvent> event = parsePageCacheEvent(line)) {
    PageCacheCount& count = gPageCacheCounts[pageCacheKey(*event)];
    ++(event->added ? count.adds : count.deletes);
  }
}

void writeTraceFile() {
  FILE* const file = fopen("/data/trace.txt", "we");
  if (file == nullptr) {
    return;
  }
  puts("Writing output to trace.txt...");
  // The log thread has ended; the lock is there for what it wrote last.
  const Lock lock(gTraceMutex);
  writeTraceRecords(gTraceRecords, {gTidToTgid, gTgidNames, gTidNames, gTraceNames, gKpiNames},
                    file);
  fclose(file);
  puts("Done writing output to trace.txt...");
}

void forgetMeasurement() {
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
    puts("fopen(trace_pipe) failed!");
    endProcess(1);
  }
  installWorkerHandler(onPipeThreadSignal);
  // The kernel gives less at a time.
  constexpr size_t kBlockSize = size_t{64} * 1024;
  const auto takeLine = [](std::string_view line) {
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
    writeTraceFile();
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
