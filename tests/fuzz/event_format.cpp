// The format files of trace events, and events/header_page

#include "trace/event_format.h"

#include "tests/fuzz/inputs.h"
#include "trace/page_cache_event.h"
#include "trace/ring_event.h"
#include "trace/ring_page.h"

namespace tarnwick {

namespace {

void expect(bool holds) {
  expectSame(holds, true);
}

}  // namespace

// Whatever the format says, a record is never read beyond its end. The last 64 bytes are the
// record.
void takeInput(std::string_view input) {
  const size_t size = std::min(input.size(), size_t{64});
  const LoneText record(input.substr(input.size() - size));
  const LoneText text(input);
  for (const auto kind : {SchedEventKind::kWait, SchedEventKind::kRuntime}) {
    if (const auto format = parseSchedEventFormat(text, kind)) {
      SchedEventText name;
      const auto event = readSchedEvent(record, *format, 0, 0, name);
      expect(!event || size >= format->pid.end());
    }
  }
  if (const auto format = parsePageCacheEventFormat(text, true)) {
    const auto event = readPageCacheEvent(record, *format);
    expect(event.has_value() == (size >= format->minSize));
  }
  if (const auto layout = parseRingPageLayout(text)) {
    expect(layout->dataOffset == sizeof(uint64_t) + layout->commitSize);
    expect(!RingPage::open(std::string_view(record).substr(0, 11), *layout));
  }
}

}  // namespace tarnwick
