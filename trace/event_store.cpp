#include "trace/event_store.h"

#include "collector/messages.h"
#include "trace/lock.h"
#include "trace/memory_reserve.h"
#include "trace/task_names.h"

namespace tarnwick {

namespace {

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

// Nanoseconds; 0 for an event that leaves no record.
uint32_t recordDuration(int64_t value) {
  return value < 1 || value > TraceRecord::kLongestDuration ? 0 : static_cast<uint32_t>(value);
}

TraceRecord recordOf(const SchedEvent& event, NameTable::Id name) {
  TraceRecord record;
  record.time = event.time;
  record.duration = recordDuration(event.value) & ((1U << 29U) - 1);
  record.kind = recordKind(event.kind);
  record.cpu = event.cpu;
  record.tid = event.tid;
  record.name = name;
  return record;
}

}  // namespace

NameTable::Id* EventStore::nameOfThread(int32_t tid) {
  Thread& thread = threadOf(tid);
  if (thread.tid == tid && thread.failedDrain == pace_.drain()) {
    return nullptr;
  }
  if (unresolvedDrain_ != pace_.drain()) {
    unresolved_.clear();
    unresolvedDrain_ = pace_.drain();
  }
  if (unresolved_.contains(tid)) {
    return nullptr;
  }
  // One that can never be looked up, as of another PID namespace, is new once.
  const bool failedBefore = thread.tid == tid && thread.failedDrain != 0;
  if (!failedBefore && !gTidNames.contains(tid)) {
    pace_.metNewThread();
  }
  NameTable::Id* const name = lookUp(tid);
  if (name == nullptr) {
    unresolved_.insert(tid);
    thread = {tid, pace_.drain(), nullptr, {}, 0, {}, 0};
  } else if (const int32_t tgid = gTidToTgid[tid];
             gTgidNames.contains(tgid) || endedProcesses_.contains(tgid)) {
    // A process that is about to be named is looked at again.
    thread = {tid, 0, name, {}, 0, {}, 0};
  }
  return name;
}

// The thread may have ended, and its process, too.
NameTable::Id* EventStore::lookUp(int32_t tid) {
  int32_t tgid = tgidOf(tid);
  if (tgid < 0 && forks_ != nullptr) {
    tgid = forks_->tgidOf(tid);
    if (tgid > 0) {
      gTidToTgid[tid] = tgid;
    }
  }
  if (tgid < 1) {
    return nullptr;
  }
  if (!hasTgidName(tgid) && !endedProcesses_.contains(tgid)) {
    // An empty name is kept, and means that there is to be no record.
    if (forks_ == nullptr || tid != tgid || gTgidNames.contains(tgid)) {
      return nullptr;
    }
    endedProcesses_.insert(tgid);
  }
  return &gTidNames[tid];
}

void EventStore::nameEndedProcesses() {
  const Lock lock(gTgidNamesMutex);
  for (const int32_t tgid : endedProcesses_) {
    gTgidNames.try_emplace(tgid, gTraceNames.name(gTidNames[tgid]));
  }
}

NameTable::Id EventStore::nameId(const SchedEvent& event) {
  Thread& thread = threadOf(event.tid);
  if (thread.tid != event.tid) {
    return gTraceNames.idOf(event.comm);
  }
  // It is nearly always the name that the thread had before.
  if (thread.comm != event.comm) {
    thread.fieldSize = 0;
    thread.commId = gTraceNames.idOf(event.comm);
    thread.comm = gTraceNames.name(thread.commId);
  }
  return thread.commId;
}

bool EventStore::hold(const SchedEvent& event, uint64_t time, HeldEvent& held) {
  if (memoryRanOut() && droppedForMemory()) {
    return false;
  }
  const Thread& thread = threadOf(event.tid);
  NameTable::Id* const threadName =
      thread.tid == event.tid && thread.name != nullptr ? thread.name : nameOfThread(event.tid);
  if (threadName == nullptr) {
    gTraceLosses.unresolved += recordDuration(event.value) > 0 ? 1U : 0U;
    return false;
  }
  held = {time, threadName, recordOf(event, nameId(event))};
  return true;
}

bool EventStore::hold(const SchedEventFields& fields, const SchedEvent& event, uint64_t time,
                      HeldEvent& held) {
  if (!hold(event, time, held)) {
    return false;
  }
  // A name that stands in the record as it is.
  Thread& thread = threadOf(event.tid);
  if (thread.tid == event.tid && thread.name != nullptr &&
      event.comm.data() == fields.comm.data() && fields.comm.size() <= thread.field.size()) {
    thread.fieldSize =
        static_cast<uint32_t>(fields.comm.copy(thread.field.data(), thread.field.size()));
  }
  return true;
}

bool EventStore::holdAgain(const SchedEventFields& fields, SchedEventKind kind, int32_t cpu,
                           uint64_t time, HeldEvent& held) {
  const Thread& thread = threadOf(fields.tid);
  if (thread.tid != fields.tid || thread.name == nullptr || thread.fieldSize == 0 ||
      memoryRanOut() || fields.comm != std::string_view(thread.field.data(), thread.fieldSize)) {
    return false;
  }
  const auto value = static_cast<int64_t>(fields.value);
  held = {time, thread.name,
          recordOf({kind, ringSeconds(time), value, cpu, fields.tid, {}}, thread.commId)};
  return true;
}

void EventStore::store(const HeldEvent& held, TraceAppender& records) {
  *held.threadName = held.record.name;
  if (held.record.duration == 0) {
    return;
  }
  records.append(held.record);
  if (!gFirstTraceSeen) {
    postMessage("Received first trace message...");
    gFirstTraceSeen = true;
  }
}

void EventStore::take(const SchedEvent& event) {
  HeldEvent held;
  if (hold(event, 0, held)) {
    block_.push_back(held);
  }
}

void EventStore::endBlock() {
  if (block_.empty()) {
    return;
  }
  TraceAppender records;
  for (const HeldEvent& held : block_) {
    store(held, records);
  }
  block_.clear();
}

void EventStore::take(const PageCacheEvent& event) {
  if (droppedForMemory()) {
    return;
  }
  PageCacheCount*& count = countsByFile_[event.file];
  if (count == nullptr) {
    count = &gPageCacheCounts[pageCacheKey(event.file)];
  }
  ++(event.added ? count->adds : count->deletes);
}

}  // namespace tarnwick
