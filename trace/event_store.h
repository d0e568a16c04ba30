#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "trace/drain_pace.h"
#include "trace/fork_log.h"
#include "trace/name_table.h"
#include "trace/page_cache_event.h"
#include "trace/page_cache_report.h"
#include "trace/ring_event.h"
#include "trace/sched_event.h"
#include "trace/trace_record.h"
#include "trace/trace_state.h"

namespace tarnwick {

// What becomes of the events of one measurement: records of gTraceRecords, and the counts of
// gPageCacheCounts. Pipe thread only.
class EventStore {
 public:
  // Tells `pace` of threads that are new. It says when a drain begins: a thread that could not be
  // looked up is asked for again in the next one.
  explicit EventStore(DrainPace& pace) : pace_(pace) {}

  // From here on `forks` says which process a thread belonged to that ended before it could be
  // looked up. Call nameEndedProcesses after the last event.
  void useForks(ForkLog& forks) { forks_ = &forks; }

  // Names the processes that ended before they could be looked up, each after its first thread.
  void nameEndedProcesses();

  // A scheduler event whose thread has been looked up, to be stored in its turn.
  struct HeldEvent {
    uint64_t time;              // of the ring, nanoseconds
    NameTable::Id* threadName;  // where gTidNames has the thread's name
    TraceRecord record;         // its duration is 0 when the event leaves no record
  };

  // False when the event's thread or process cannot be looked up; what would have been a record
  // then counts as unresolved in gTraceLosses. `held` keeps its value then.
  bool hold(const SchedEvent& event, uint64_t time, HeldEvent& held);

  // The same for an event of the ring, `event` as read from `fields`. Keeps its name for holdAgain.
  bool hold(const SchedEventFields& fields, const SchedEvent& event, uint64_t time,
            HeldEvent& held);

  // The same, faster and for most events: of a thread that has been looked up, with the name that
  // its last event had. False for any other, which is to be read.
  bool holdAgain(const SchedEventFields& fields, SchedEventKind kind, int32_t cpu, uint64_t time,
                 HeldEvent& held);

  // Sets the thread's name and appends the record. Says so at the first one in the life of the
  // process.
  static void store(const HeldEvent& held, TraceAppender& records);

  // Stores the event at the end of the block.
  void take(const SchedEvent& event);
  void endBlock();

  void take(const PageCacheEvent& event);

 private:
  // A few threads have nearly all events; theirs need no look at three ordered maps.
  struct Thread {
    int32_t tid;
    uint32_t failedDrain;   // when it could not be looked up
    NameTable::Id* name;    // where gTidNames has the name; null when it could not be looked up
    std::string_view comm;  // what its last event called it, as gTraceNames keeps it
    NameTable::Id commId;
    std::array<char, 16> field;  // the bytes of commId's name in the ring
    uint32_t fieldSize;          // of them; 0 when they are not known
  };

  Thread& threadOf(int32_t tid) { return threads_[static_cast<uint32_t>(tid) % threads_.size()]; }

  // The id of an event's name, for a thread that has been looked up.
  NameTable::Id nameId(const SchedEvent& event);

  // Where gTidNames has the name of a thread that threads_ does not have; null when its events
  // leave no record.
  NameTable::Id* nameOfThread(int32_t tid);
  NameTable::Id* lookUp(int32_t tid);

  DrainPace& pace_;
  ForkLog* forks_ = nullptr;
  std::unordered_set<int32_t> endedProcesses_;  // to be named at the end
  std::array<Thread, 1024> threads_{};          // by the low bits of their ids

  // Threads that could not be looked up in this drain.
  std::unordered_set<int32_t> unresolved_;
  uint32_t unresolvedDrain_ = 0;

  std::vector<HeldEvent> block_;  // of the events of the text, what is to be stored

  // The counts of a file by its numbers: the key of gPageCacheCounts is a text, which takes longer
  // to make than an event to read.
  std::unordered_map<PageCacheFile, PageCacheCount*, PageCacheFileHash> countsByFile_;
};

}  // namespace tarnwick
