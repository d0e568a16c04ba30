#include "trace/ring_page.h"

#include "trace/event_format.h"

namespace tarnwick {

std::optional<RingPageLayout> parseRingPageLayout(std::string_view headerPage) {
  const std::optional<EventField> time = parseEventField(headerPage, "timestamp");
  const std::optional<EventField> commit = parseEventField(headerPage, "commit");
  const std::optional<EventField> data = parseEventField(headerPage, "data");
  constexpr uint32_t kMinData = 64;
  // The words of a page are in the order of the processor.
  if (std::endian::native != std::endian::little || !time || !commit || !data ||
      time->offset != 0 || time->size != sizeof(uint64_t) || commit->offset != sizeof(uint64_t) ||
      (commit->size != sizeof(uint32_t) && commit->size != sizeof(uint64_t)) ||
      data->offset != commit->end() || data->size < kMinData) {
    return std::nullopt;
  }
  return RingPageLayout{commit->size, data->offset, data->size};
}

std::optional<RingPage> RingPage::open(std::string_view bytes, const RingPageLayout& layout) {
  constexpr uint32_t kMissed = 1U << 31U;
  constexpr uint32_t kMissedStored = 1U << 30U;
  if (bytes.size() < layout.dataOffset) {
    return std::nullopt;
  }
  const auto commit = loadAs<uint32_t>(bytes.data() + sizeof(uint64_t));
  const size_t room = bytes.size() - layout.dataOffset;
  RingPage page;
  page.time_ = loadAs<uint64_t>(bytes.data());
  page.data_ = bytes.data() + layout.dataOffset;
  page.size_ = commit & (kMissedStored - 1);
  if (page.size_ > room) {
    return std::nullopt;
  }
  page.missed_ = (commit & kMissed) != 0;
  if (page.missed_ && (commit & kMissedStored) != 0) {
    if (room - page.size_ < layout.commitSize) {
      return std::nullopt;
    }
    const char* const count = page.data_ + page.size_;
    page.missedCount_ =
        layout.commitSize == sizeof(uint64_t) ? loadAs<uint64_t>(count) : loadAs<uint32_t>(count);
  }
  return page;
}

}  // namespace tarnwick
