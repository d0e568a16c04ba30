#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "trace/drain_pace.h"
#include "trace/drain_request.h"
#include "trace/event_format.h"
#include "trace/event_store.h"
#include "trace/fork_log.h"
#include "trace/ring_event.h"
#include "trace/ring_merge.h"
#include "trace/ring_page.h"
#include "trace/ring_reader.h"

namespace tarnwick {

// The events of a trace as the kernel's ring buffers have them, in binary. Cheaper than the lines
// of trace_pipe by far: the kernel need not print them, nor they be parsed.
class RingTrace : public RingReader::Sink {
 public:
  // Opens the ring buffers of the tracing directory, for scheduler events or page-cache events.
  // Null when a file is missing or does not parse: the trace is to be read as text then.
  static std::unique_ptr<RingTrace> open(const std::string& tracing, bool sched, bool pageCache);

  // Stores events until the stop has come, which gives true. False when the first page of a CPU
  // makes no sense: the trace is to be read as text from there on. Any page of this kind counts as
  // lost events of unknown number.
  bool run(EventStore& store, DrainRequest& request, DrainPace& pace);

 private:
  RingTrace(std::unique_ptr<RingReader> reader, const RingPageLayout& layout);

  bool takePage(size_t cpu, std::string_view bytes) override;
  void leaveUnread(size_t cpu) override { merge_.leaveUnread(cpu); }
  void endPass() override;
  void endDrain() override;

  // Whether each event of a page has all its fields.
  bool makesSense(const RingPage& page) const;
  void takeRecord(size_t cpu, uint64_t time, std::string_view record);

  // Null for the id of any other event.
  const SchedEventFormat* schedFormat(uint16_t id) const;
  const PageCacheEventFormat* pageCacheFormat(uint16_t id) const;

  std::unique_ptr<RingReader> reader_;
  RingPageLayout layout_;
  std::vector<SchedEventFormat> schedFormats_;
  std::vector<PageCacheEventFormat> pageCacheFormats_;
  RingMerge<EventStore::HeldEvent> merge_;
  std::vector<bool> seen_;  // by CPU: a page of it has been taken
  EventStore* store_ = nullptr;
  std::optional<ForkLog> forks_;  // if it works, and there are scheduler events
  SchedEventText text_{};
};

}  // namespace tarnwick
