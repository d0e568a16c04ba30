// Pages of the kernel's ring buffer

#include "trace/ring_page.h"

#include "tests/fuzz/inputs.h"

namespace tarnwick {

// Records lie in the page, one behind the other.
void takeInput(std::string_view input) {
  const LoneText text(input);
  const std::string_view bytes = text;
  for (const RingPageLayout& layout : {RingPageLayout{8, 16, 4080}, RingPageLayout{4, 12, 4084}}) {
    const std::optional<RingPage> page = RingPage::open(bytes, layout);
    if (!page) {
      continue;
    }
    const char* last = bytes.data() + layout.dataOffset;
    page->forEach([&](uint64_t /*time*/, std::string_view record) {
      expectSame(record.data() >= last + 4 && record.data() <= bytes.data() + bytes.size(), true);
      last = record.data() + record.size();
      expectSame(last <= bytes.data() + bytes.size(), true);
    });
  }
}

}  // namespace tarnwick
