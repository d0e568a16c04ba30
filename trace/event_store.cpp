#include "trace/event_store.h"

#include "collector/messages.h"
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

}  // namespace

NameTable::Id* EventStore::nameOfThread(int32_t tid) {
  Thread& thread = threads_[static_cast<uint32_t>(tid) % threads_.size()];
  if (thread.tid == tid) {
    if (thread.name != nullptr) {
      return thread.name;
    }
    if (thread.failedDrain == pace_.drain()) {
      return nullptr;
    }
  }
  if (unresolvedDrain_ != pace_.drain()) {
    unresolved_.clear();
    unresolvedDrain_ = pace_.drain();
  }
  if (unresolved_.contains(tid)) {
    return nullptr;
  }
  NameTable::Id* const name = lookUp(tid);
  if (name == nullptr) {
    unresolved_.insert(tid);
    thread = {tid, pace_.drain(), nullptr};
  } else if (gTgidNames.contains(gTidToTgid[tid])) {
    // A process that is about to be named is looked at again.
    thread = {tid, 0, name};
  }
  return name;
}

NameTable::Id* EventStore::lookUp(int32_t tid) {
  if (!gTidNames.contains(tid)) {
    pace_.metNewThread();
  }
  const int32_t tgid = tgidOf(tid);
  return tgid < 1 || !hasTgidName(tgid) ? nullptr : &gTidNames[tid];
}

std::optional<EventStore::HeldEvent> EventStore::hold(const SchedEvent& event, uint64_t time) {
  if (droppedForMemory()) {
    return std::nullopt;
  }
  const bool makesRecord = event.value >= 1 && event.value <= TraceRecord::kLongestDuration;
  NameTable::Id* const threadName = nameOfThread(event.tid);
  if (threadName == nullptr) {
    gTraceLosses.unresolved += makesRecord ? 1U : 0U;
    return std::nullopt;
  }
  HeldEvent held{time, threadName, {}};
  // It is nearly always the one that the thread had before.
  held.record.name =
      gTraceNames.name(*threadName) == event.comm ? *threadName : gTraceNames.idOf(event.comm);
  held.record.time = event.time;
  if (makesRecord) {
    held.record.duration = static_cast<uint32_t>(event.value) & ((1U << 29U) - 1);
  }
  held.record.kind = recordKind(event.kind);
  held.record.cpu = event.cpu;
  held.record.tid = event.tid;
  return held;
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
  if (const std::optional<HeldEvent> held = hold(event, 0)) {
    block_.push_back(*held);
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
