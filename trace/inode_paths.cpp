#include "trace/inode_paths.h"

#include <functional>

#include "sysstat/lines.h"
#include "sysstat/scan.h"

namespace tarnwick {

const uint64_t* InodePaths::slotOf(std::string_view key) const {
  const size_t mask = slots_.size() - 1;
  size_t slot = std::hash<std::string_view>()(key) & mask;
  while (slots_[slot] != 0 && keyAt(slots_[slot] - 1) != key) {
    slot = (slot + 1) & mask;
  }
  return &slots_[slot];
}

uint64_t* InodePaths::slotOf(std::string_view key) {
  return const_cast<uint64_t*>(static_cast<const InodePaths*>(this)->slotOf(key));
}

// Keeps the table at most two thirds full, in powers of two.
void InodePaths::growTable() {
  constexpr size_t kFirstSlots = 1024;
  if (size_ * 3 < slots_.size() * 2) {
    return;
  }
  std::vector<uint64_t> old(slots_.empty() ? kFirstSlots : slots_.size() * 2);
  old.swap(slots_);
  for (const uint64_t entry : old) {
    if (entry != 0) {
      *slotOf(keyAt(entry - 1)) = entry;
    }
  }
}

void InodePaths::merge(std::string_view text) {
  constexpr size_t kLongestKey = 79;
  constexpr size_t kLongestPath = 511;
  forEachLine(text, [this](std::string_view line) {
    Scanner scan(line.substr(0, line.find('\0')));
    std::string_view key;
    std::string_view path;
    if (!scan.word(key) || !scan.word(path)) {
      return;
    }
    key = key.substr(0, kLongestKey);
    growTable();
    uint64_t* const slot = slotOf(key);
    if (*slot != 0) {
      return;
    }
    *slot = text_.size() + 1;
    ++size_;
    text_.append(key).push_back('\0');
    text_.append(path.substr(0, kLongestPath)).push_back('\0');
  });
}

std::optional<std::string_view> InodePaths::find(std::string_view key) const {
  if (slots_.empty()) {
    return std::nullopt;
  }
  const uint64_t entry = *slotOf(key);
  if (entry == 0) {
    return std::nullopt;
  }
  return std::string_view(text_.c_str() + entry - 1 + key.size() + 1);
}

}  // namespace tarnwick
