#include "trace/pipe_thread.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "collector/end_process.h"
#include "collector/messages.h"
#include "collector/stats_collector.h"
#include "trace/drain_pace.h"
#include "trace/drain_request.h"
#include "trace/event_store.h"
#include "trace/lock.h"
#include "trace/lost_events.h"
#include "trace/page_cache_event.h"
#include "trace/ring_trace.h"
#include "trace/save_trace.h"
#include "trace/sched_event.h"
#include "trace/stream_reader.h"
#include "trace/trace_state.h"

namespace tarnwick {

namespace {

// The request of the current measurement.
DrainRequest* gDrainRequest = nullptr;

// What the thread of the current measurement reads. The thread takes it over.
struct TraceSource {
  int pipe;
  std::unique_ptr<RingTrace> ring;  // null: the trace is read as text
};
TraceSource* gTraceSource = nullptr;

void onPipeThreadSignal(int signo) {
  if (signo == SIGUSR2) {
    noteStop();
  } else {
    puts("pipe_thread: unexpected signal");
  }
}

void takeLostEvents(std::string_view line) {
  if (const std::optional<LostEvents> lost = parseLostEvents(line)) {
    gTraceLosses.overwritten += lost->count.value_or(0);
    gTraceLosses.overwrittenUnknown += lost->count ? 0U : 1U;
  }
}

// False when the trace is to be read as text from here on.
bool readRing(RingTrace& ring) {
  DrainPace pace;
  EventStore store(pace);
  return ring.run(store, *gDrainRequest, pace);
}

// Line by line, as the kernel prints it.
void readText(int pipe) {
  DrainPace pace;
  EventStore store(pace);
  // The kernel gives less at a time.
  constexpr size_t kBlockSize = size_t{64} * 1024;
  const auto takeLine = [&store](std::string_view line) {
    takeLostEvents(line);
    if (gTraceSched) {
      if (const std::optional<SchedEvent> event = parseSchedEvent(line)) {
        store.take(*event);
      }
    }
    if (gTracePageCache) {
      if (const std::optional<PageCacheEvent> event = parsePageCacheEvent(line)) {
        store.take(*event);
      }
    }
  };
  StreamReader(pipe, kBlockSize)
      .run(
          takeLine, [&store] { store.endBlock(); }, gDrainRequest, &pace);
}

// Until the stop.
void readTrace(const TraceSource& source) {
  if (source.ring == nullptr || !readRing(*source.ring)) {
    readText(source.pipe);
  }
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
  installWorkerHandler(onPipeThreadSignal);
  {
    const std::unique_ptr<TraceSource> source(std::exchange(gTraceSource, nullptr));
    readTrace(*source);
    close(source->pipe);
  }
  if (gTraceSched) {
    saveTrace();
  }
  forgetMeasurement();
  return nullptr;
}

bool openTrace(const StatsCollector& collector) {
  // Not blocking: the pipe of a device that traces nothing must not keep the stop waiting.
  const int fd =
      open((gTracingDirectory + "/trace_pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    return false;
  }
  gTraceSource = new TraceSource{
      fd, RingTrace::open(gTracingDirectory, collector.systrace, collector.blockDump)};
  return true;
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
  constexpr std::chrono::milliseconds kTimeout{2000};
  if (gDrainRequest != nullptr && !gDrainRequest->await(kTimeout)) {
    gTraceLosses.notDrained = true;
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
