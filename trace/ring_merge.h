#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace tarnwick {

// Puts the events of several CPUs, each in the order of its own times, into one order by time;
// events of the same time in the order of their CPUs, as trace_pipe gives them. Pure.
//
// What is read of one CPU can be older than what was read of another one before it. But an event
// that is unread after a pass over all CPUs came after the pass before. So an event is held back
// until the end of the pass after its own.
//
// `Event` has a member `time`, a number.
template <typename Event>
class RingMerge {
 public:
  explicit RingMerge(size_t cpus) : queues_(cpus) {}

  // The next event of a CPU.
  void add(size_t cpu, const Event& event) {
    queues_[cpu].events.push_back(event);
    reach(cpu, event.time);
  }

  // The CPU has been read up to this time. Its last event need not have been added.
  void reach(size_t cpu, uint64_t time) { queues_[cpu].reached = time; }

  // The pass has not read this CPU to the end: what is unread is as new as what was read last.
  void leaveUnread(size_t cpu) { limit_ = std::min(limit_, queues_[cpu].reached); }

  // At the end of a pass. Calls `visit` with each event that nothing older can come before.
  template <typename Visit>
  void endPass(Visit visit) {
    uint64_t newest = 0;
    for (const Queue& queue : queues_) {
      if (!queue.events.empty()) {
        newest = std::max(newest, queue.events.back().time);
      }
    }
    visitUpTo(std::min(limit_, newestBefore_), visit);
    limit_ = kNoLimit;
    newestBefore_ = newest;
  }

  // Calls `visit` with all events that are left.
  template <typename Visit>
  void finish(Visit visit) {
    visitUpTo(kNoLimit, visit);
    limit_ = kNoLimit;
    newestBefore_ = 0;
  }

 private:
  static constexpr uint64_t kNoLimit = std::numeric_limits<uint64_t>::max();

  struct Queue {
    std::vector<Event> events;
    size_t next = 0;
    uint64_t reached = 0;

    uint64_t time() const { return events[next].time; }
    bool empty() const { return next == events.size(); }

    // Moves what is left only where that is less than what goes: the queue of a CPU that is far
    // ahead of another one is long.
    void forgetVisited() {
      if (next > events.size() / 2 || empty()) {
        events.erase(events.begin(), events.begin() + static_cast<ptrdiff_t>(next));
        next = 0;
      }
    }
  };

  // Of the queues in use, in the order of the CPUs, the one with the oldest event.
  Queue* oldest(const Queue* except) const {
    Queue* found = nullptr;
    for (Queue* const queue : inUse_) {
      if (queue != except && !queue->empty() &&
          (found == nullptr || queue->time() < found->time())) {
        found = queue;
      }
    }
    return found;
  }

  template <typename Visit>
  void visitUpTo(uint64_t limit, Visit visit) {
    inUse_.clear();
    for (Queue& queue : queues_) {
      if (!queue.empty()) {
        inUse_.push_back(&queue);
      }
    }
    for (Queue* queue; (queue = oldest(nullptr)) != nullptr && queue->time() <= limit;) {
      // A run of one CPU, up to the next event of another one.
      const Queue* const other = oldest(queue);
      do {
        visit(queue->events[queue->next]);
        ++queue->next;
      } while (!queue->empty() && queue->time() <= limit &&
               (other == nullptr || queue->time() < other->time()));
    }
    for (Queue* const queue : inUse_) {
      queue->forgetVisited();
    }
  }

  std::vector<Queue> queues_;
  std::vector<Queue*> inUse_;
  uint64_t limit_ = kNoLimit;
  uint64_t newestBefore_ = 0;  // of what the pass before has read
};

}  // namespace tarnwick
