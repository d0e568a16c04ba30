#include "trace/ring_trace.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "trace/memory_reserve.h"
#include "trace/trace_state.h"

namespace tarnwick {

namespace {

// The text of a file below the tracing directory; empty when it cannot be read.
std::string readText(const std::string& path) {
  std::array<char, 4096> text;  // the fields of each event format; its print format can be longer
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return {};
  }
  const ssize_t got = read(fd, text.data(), text.size());
  close(fd);
  return got > 0 ? std::string(text.data(), static_cast<size_t>(got)) : std::string();
}

struct SchedEventName {
  const char* folder;  // below events/
  SchedEventKind kind;
};

// The most frequent first, for its format is looked for first.
constexpr SchedEventName kSchedEvents[] = {
    {"sched/sched_stat_runtime", SchedEventKind::kRuntime},
    {"sched/sched_stat_wait", SchedEventKind::kWait},
    {"sched/sched_stat_iowait", SchedEventKind::kIoWait},
};

struct PageCacheEventName {
  const char* folder;
  bool added;
};

constexpr PageCacheEventName kPageCacheEvents[] = {
    {"filemap/mm_filemap_add_to_page_cache", true},
    {"filemap/mm_filemap_delete_from_page_cache", false},
};

}  // namespace

std::unique_ptr<RingTrace> RingTrace::open(const std::string& tracing, bool sched, bool pageCache) {
  const std::string events = tracing + "/events/";
  const std::optional<RingPageLayout> layout =
      parseRingPageLayout(readText(events + "header_page"));
  if (!layout) {
    return nullptr;
  }
  std::vector<SchedEventFormat> schedFormats;
  std::vector<PageCacheEventFormat> pageCacheFormats;
  for (const SchedEventName& event : kSchedEvents) {
    const auto format =
        sched ? parseSchedEventFormat(readText(events + event.folder + "/format"), event.kind)
              : std::nullopt;
    if (format) {
      schedFormats.push_back(*format);
    } else if (sched) {
      return nullptr;
    }
  }
  for (const PageCacheEventName& event : kPageCacheEvents) {
    const auto format = pageCache ? parsePageCacheEventFormat(
                                        readText(events + event.folder + "/format"), event.added)
                                  : std::nullopt;
    if (format) {
      pageCacheFormats.push_back(*format);
    } else if (pageCache) {
      return nullptr;
    }
  }
  std::unique_ptr<RingReader> reader = RingReader::open(tracing, *layout);
  if (reader == nullptr) {
    return nullptr;
  }
  std::unique_ptr<RingTrace> trace(new RingTrace(std::move(reader), *layout));
  trace->schedFormats_ = std::move(schedFormats);
  trace->pageCacheFormats_ = std::move(pageCacheFormats);
  if (sched && !trace->forks_.emplace().works()) {
    trace->forks_.reset();
  }
  return trace;
}

RingTrace::RingTrace(std::unique_ptr<RingReader> reader, const RingPageLayout& layout)
    : reader_(std::move(reader)),
      layout_(layout),
      merge_(reader_->cpus().size()),
      seen_(reader_->cpus().size()) {}

bool RingTrace::run(EventStore& store, DrainRequest& request, DrainPace& pace) {
  store_ = &store;
  if (forks_) {
    store.useForks(*forks_);
    pace.setShortRest(DrainPace::kShortRestWithForks);
  }
  const bool stopped = reader_->run(*this, request, pace);
  endDrain();
  store.nameEndedProcesses();
  return stopped;
}

bool RingTrace::takePage(size_t cpu, std::string_view bytes) {
  const std::optional<RingPage> page = RingPage::open(bytes, layout_);
  const bool first = !seen_[cpu];
  seen_[cpu] = true;
  if (!page || (first && !makesSense(*page))) {
    // The kernel gives a page once: the text will not have its events either.
    gTraceLosses.overwrittenUnknown += 1U;
    return !first;
  }
  if (page->missedEvents()) {
    gTraceLosses.overwritten += page->missedCount();
    gTraceLosses.overwrittenUnknown += page->missedCount() == 0 ? 1U : 0U;
  }
  const bool whole = page->forEach([this, cpu](uint64_t time, std::string_view record) {
    takeRecord(cpu, time, record);
    merge_.reach(cpu, time);
  });
  gTraceLosses.overwrittenUnknown += whole ? 0U : 1U;
  return true;
}

void RingTrace::endPass() {
  if (forks_ && !memoryRanOut()) {
    forks_->update();
  }
  TraceAppender records;
  merge_.endPass(
      [&records](const EventStore::HeldEvent& held) { EventStore::store(held, records); });
}

void RingTrace::endDrain() {
  TraceAppender records;
  merge_.finish(
      [&records](const EventStore::HeldEvent& held) { EventStore::store(held, records); });
}

bool RingTrace::makesSense(const RingPage& page) const {
  bool allFields = true;
  const bool whole = page.forEach([&](uint64_t /*time*/, std::string_view record) {
    const std::optional<uint16_t> id = ringEventId(record);
    if (!id) {
      allFields = false;
      return;
    }
    const SchedEventFormat* const sched = schedFormat(*id);
    const PageCacheEventFormat* const pageCache = pageCacheFormat(*id);
    allFields = allFields && (sched == nullptr || record.size() >= sched->minSize) &&
                (pageCache == nullptr || record.size() >= pageCache->minSize);
  });
  return whole && allFields;
}

void RingTrace::takeRecord(size_t cpu, uint64_t time, std::string_view record) {
  const std::optional<uint16_t> id = ringEventId(record);
  if (!id) {
    return;
  }
  if (const SchedEventFormat* const format = schedFormat(*id)) {
    const std::optional<SchedEventFields> fields = schedEventFields(record, *format);
    if (!fields) {
      return;
    }
    EventStore::HeldEvent held;
    const int32_t number = reader_->cpus()[cpu];
    if (store_->holdAgain(*fields, format->kind, number, time, held)) {
      merge_.add(cpu, held);
      return;
    }
    const auto event = readSchedEvent(record, *format, number, time, text_);
    if (event && store_->hold(*fields, *event, time, held)) {
      merge_.add(cpu, held);
    }
  } else if (const PageCacheEventFormat* const pages = pageCacheFormat(*id)) {
    if (const std::optional<PageCacheEvent> event = readPageCacheEvent(record, *pages)) {
      store_->take(*event);
    }
  }
}

const SchedEventFormat* RingTrace::schedFormat(uint16_t id) const {
  for (const SchedEventFormat& format : schedFormats_) {
    if (format.id == id) {
      return &format;
    }
  }
  return nullptr;
}

const PageCacheEventFormat* RingTrace::pageCacheFormat(uint16_t id) const {
  for (const PageCacheEventFormat& format : pageCacheFormats_) {
    if (format.id == id) {
      return &format;
    }
  }
  return nullptr;
}

}  // namespace tarnwick
