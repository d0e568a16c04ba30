#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "trace/event_format.h"
#include "trace/line_splitter.h"
#include "trace/ring_event.h"
#include "trace/ring_merge.h"
#include "trace/ring_page.h"

namespace tarnwick {

// A folder with files of the kernel's tracing directory that tell of the same events: `trace` as
// text, per_cpu/cpu*/trace_pipe_raw as pages of the ring buffer, and the formats of these. It may
// be the kernel's own folder, of which the pages can be read once.
class RingCapture {
 public:
  explicit RingCapture(std::filesystem::path folder) : folder_(std::move(folder)) {}

  // An event, whichever way it was read.
  struct Event {
    uint64_t time;  // nanoseconds, of the ring alone
    std::optional<SchedEvent> sched;
    std::optional<PageCacheEvent> pageCache;
    std::string comm;

    bool operator==(const Event& other) const { return text() == other.text(); }
    std::string text() const {
      std::string text = "no event";
      if (sched) {
        text = std::to_string(static_cast<int>(sched->kind)) + " at " +
               std::to_string(sched->time) + " on " + std::to_string(sched->cpu) + ": thread " +
               std::to_string(sched->tid) + " (" + comm + ") " + std::to_string(sched->value);
      } else if (pageCache) {
        text = (pageCache->added ? "added " : "deleted ") + pageCacheKey(pageCache->file);
      }
      return text;
    }
    friend std::ostream& operator<<(std::ostream& out, const Event& event) {
      return out << event.text();
    }
  };

  std::string read(const std::string& file) const {
    std::string text;
    for (const std::string& piece : readPieces(file, 65536)) {
      text += piece;
    }
    return text;
  }

  // Copies everything that is needed into a new folder.
  void save(const std::filesystem::path& to) const {
    std::vector<std::string> files = {"trace", "events/header_page"};
    for (const char* event :
         {"sched/sched_stat_wait", "sched/sched_stat_iowait", "sched/sched_stat_runtime",
          "filemap/mm_filemap_add_to_page_cache", "filemap/mm_filemap_delete_from_page_cache"}) {
      files.push_back(std::string("events/") + event + "/format");
    }
    for (const std::string& file : files) {
      if (const std::string text = read(file); !text.empty()) {
        write(to / file, text);
      }
    }
    for (const auto& [cpu, pagesOfCpu] : pages()) {
      std::string bytes;
      for (const std::string& page : pagesOfCpu) {
        bytes += page;
      }
      write(to / ("per_cpu/cpu" + std::to_string(cpu)) / "trace_pipe_raw", bytes);
    }
  }

  // What the lines hold.
  std::vector<Event> fromText() const {
    std::vector<Event> events;
    LineSplitter().feed(read("trace"), [&events](std::string_view line) {
      if (const std::optional<SchedEvent> sched = parseSchedEvent(line)) {
        events.push_back({0, sched, {}, std::string(sched->comm)});
      } else if (const std::optional<PageCacheEvent> pageCache = parsePageCacheEvent(line)) {
        events.push_back({0, {}, pageCache, {}});
      }
    });
    return events;
  }

  std::optional<RingPageLayout> layout() const {
    return parseRingPageLayout(read("events/header_page"));
  }

  // The pages, by CPU.
  std::map<int, std::vector<std::string>> pages() const {
    std::map<int, std::vector<std::string>> pages;
    for (const auto& entry : std::filesystem::directory_iterator(folder_ / "per_cpu")) {
      const std::string name = entry.path().filename();
      pages[std::stoi(name.substr(3))] =
          readPieces("per_cpu/" + name + "/trace_pipe_raw", layout()->pageSize());
    }
    return pages;
  }

  // What the kernel says that it dropped before pages, and how often it gave no number.
  struct Missed {
    uint64_t events = 0;
    uint64_t unknown = 0;
  };

  // What the pages hold, in the order of time. No value when a page makes no sense.
  std::optional<std::vector<Event>> fromPages(Missed* missed = nullptr) const {
    const std::map<int, std::vector<std::string>> pagesOfCpus = pages();
    RingMerge<Event> merge(pagesOfCpus.size());
    size_t index = 0;
    SchedEventText odd;
    bool sound = true;
    for (const auto& [cpu, pagesOfCpu] : pagesOfCpus) {
      for (const std::string& bytes : pagesOfCpu) {
        const std::optional<RingPage> page = RingPage::open(bytes, *layout());
        sound = page && page->forEach([&, number = cpu](uint64_t time, std::string_view record) {
          if (std::optional<Event> event = readRecord(record, number, time, odd)) {
            merge.add(index, *event);
          }
        }) && sound;
        if (page && page->missedEvents() && missed != nullptr) {
          missed->events += page->missedCount();
          missed->unknown += page->missedCount() == 0 ? 1U : 0U;
        }
      }
      ++index;
    }
    if (!sound) {
      return std::nullopt;
    }
    std::vector<Event> events;
    merge.finish([&events](const Event& event) { events.push_back(event); });
    return events;
  }

 private:
  static void write(const std::filesystem::path& file, const std::string& text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
  }

  // What one read(2) after the other gives; a ring buffer gives a page, and is empty then.
  std::vector<std::string> readPieces(const std::string& file, size_t size) const {
    std::vector<std::string> pieces;
    const int fd = open((folder_ / file).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
      return pieces;
    }
    std::string piece(size, '\0');
    for (ssize_t got; (got = ::read(fd, piece.data(), size)) > 0;) {
      pieces.push_back(piece.substr(0, static_cast<size_t>(got)));
    }
    close(fd);
    return pieces;
  }

  std::optional<Event> readRecord(std::string_view record, int cpu, uint64_t time,
                                  SchedEventText& odd) const {
    for (const SchedEventFormat& format : schedFormats()) {
      if (ringEventId(record) == format.id) {
        const std::optional<SchedEvent> event = readSchedEvent(record, format, cpu, time, odd);
        return event ? std::optional<Event>({time, event, {}, std::string(event->comm)})
                     : std::nullopt;
      }
    }
    for (const PageCacheEventFormat& format : pageCacheFormats()) {
      if (ringEventId(record) == format.id) {
        return Event{time, {}, readPageCacheEvent(record, format), {}};
      }
    }
    return std::nullopt;
  }

  const std::vector<SchedEventFormat>& schedFormats() const {
    if (!schedFormats_) {
      schedFormats_.emplace();
      for (const auto& [name, kind] : {std::pair{"wait", SchedEventKind::kWait},
                                       {"iowait", SchedEventKind::kIoWait},
                                       {"runtime", SchedEventKind::kRuntime}}) {
        const std::string text = read(std::string("events/sched/sched_stat_") + name + "/format");
        if (const auto format = parseSchedEventFormat(text, kind)) {
          schedFormats_->push_back(*format);
        }
      }
    }
    return *schedFormats_;
  }

  const std::vector<PageCacheEventFormat>& pageCacheFormats() const {
    if (!pageCacheFormats_) {
      pageCacheFormats_.emplace();
      for (const auto& [name, added] : {std::pair{"add_to", true}, {"delete_from", false}}) {
        const std::string text =
            read(std::string("events/filemap/mm_filemap_") + name + "_page_cache/format");
        if (const auto format = parsePageCacheEventFormat(text, added)) {
          pageCacheFormats_->push_back(*format);
        }
      }
    }
    return *pageCacheFormats_;
  }

  std::filesystem::path folder_;
  mutable std::optional<std::vector<SchedEventFormat>> schedFormats_;
  mutable std::optional<std::vector<PageCacheEventFormat>> pageCacheFormats_;
};

}  // namespace tarnwick
