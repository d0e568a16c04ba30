#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

namespace tarnwick {

// Pages of the kernel's ring buffer, as per_cpu/cpu*/trace_pipe_raw gives them. All of it is pure.
// See the head of include/linux/ring_buffer.h and kernel/trace/ring_buffer.c of the kernel.

// How a page is laid out, in bytes: a time stamp of 64 bits, the "commit" word, the data.
struct RingPageLayout {
  uint32_t commitSize;  // 4 or 8, as the kernel's unsigned long
  uint32_t dataOffset;
  uint32_t dataSize;

  size_t pageSize() const { return size_t{dataOffset} + dataSize; }
};

// The layout in the text of events/header_page. No value when it is none that is known here.
std::optional<RingPageLayout> parseRingPageLayout(std::string_view headerPage);

// A value of the page, which need not be aligned.
template <typename Value>
Value loadAs(const char* at) {
  Value value;
  memcpy(&value, at, sizeof value);
  return value;
}

// One page.
//
//   const std::optional<RingPage> page = RingPage::open(bytes, layout);
//   page->forEach([](uint64_t nanoseconds, std::string_view record) { ... });
class RingPage {
 public:
  // No value when the bytes are fewer than the page says. `bytes` has to outlive the page.
  static std::optional<RingPage> open(std::string_view bytes, const RingPageLayout& layout);

  // Whether the kernel dropped events of this CPU before this page, and how many; 0 when it does
  // not say.
  bool missedEvents() const { return missed_; }
  uint64_t missedCount() const { return missedCount_; }

  // Calls `visit` with the time of each event, in nanoseconds of the trace clock, and its record.
  // Padding is skipped, as are its times, which the kernel's own reader does too. False when a
  // length makes no sense; what stands before it has been visited.
  template <typename Visit>
  bool forEach(Visit visit) const {
    uint64_t time = time_;
    const char* at = data_;
    const char* const end = data_ + size_;
    while (static_cast<size_t>(end - at) >= kWord) {
      const auto head = loadAs<uint32_t>(at);
      const uint32_t type = head & kTypeMask;
      const uint64_t delta = head >> kTypeBits;
      at += kWord;
      const auto left = static_cast<size_t>(end - at);
      if (type > 0 && type <= kMaxWords) {
        const size_t length = size_t{type} * kWord;
        if (length > left) {
          return false;
        }
        time += delta;
        visit(time, std::string_view(at, length));
        at += length;
        continue;
      }
      if (type == kPadding && delta == 0) {
        return true;  // the rest of the page is empty
      }
      if (left < kWord) {
        return false;
      }
      const auto word = loadAs<uint32_t>(at);
      if (type == kTimeExtend) {
        time += delta + (uint64_t{word} << kDeltaBits);
        at += kWord;
        continue;
      }
      if (type == kTimeStamp) {
        time = absoluteTime(delta + (uint64_t{word} << kDeltaBits), time);
        at += kWord;
        continue;
      }
      // Data or padding, with its length, which counts itself, in this word.
      if (word < kWord || word > left || word % kWord != 0) {
        return false;
      }
      if (type == 0) {
        time += delta;
        visit(time, std::string_view(at + kWord, word - kWord));
      }
      at += word;
    }
    return at == end;
  }

 private:
  static constexpr size_t kWord = 4;
  static constexpr uint32_t kTypeBits = 5;
  static constexpr uint32_t kTypeMask = (1U << kTypeBits) - 1;
  static constexpr uint32_t kDeltaBits = 27;
  static constexpr uint32_t kMaxWords = 28;
  static constexpr uint32_t kPadding = 29;
  static constexpr uint32_t kTimeExtend = 30;
  static constexpr uint32_t kTimeStamp = 31;

  RingPage() = default;

  // An absolute stamp has 59 bits. The upper ones are those of the time before it, or one more when
  // the lower ones have wrapped since.
  static uint64_t absoluteTime(uint64_t stamp, uint64_t before) {
    constexpr uint64_t kWrap = uint64_t{1} << 59U;
    const uint64_t upper = before & ~(kWrap - 1);
    if (upper == 0) {
      return stamp;
    }
    stamp |= upper;
    return stamp < before ? stamp + kWrap : stamp;
  }

  uint64_t time_ = 0;
  const char* data_ = nullptr;
  size_t size_ = 0;
  bool missed_ = false;
  uint64_t missedCount_ = 0;
};

}  // namespace tarnwick
