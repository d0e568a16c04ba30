#include "trace/inode_paths.h"

#include <algorithm>
#include <array>
#include <bit>
#include <string>

#include "sysstat/scan.h"

namespace tarnwick {

namespace {

constexpr size_t kLongestKey = 79;
constexpr size_t kLongestPath = 511;
constexpr size_t kLongestLine = 1024;
constexpr size_t kChunkSize = 1 << 20;

}  // namespace

uint64_t InodePaths::hashOf(std::string_view key) {
  return std::hash<std::string_view>()(key) & ~kOffsetMask;
}

std::string_view InodePaths::keyOf(uint64_t slot) const {
  const uint64_t offset = (slot & kOffsetMask) - 1;
  return &chunks_[offset / kChunkSize][offset % kChunkSize];
}

size_t InodePaths::firstSlotOf(uint64_t hash) const {
  return (hash >> kOffsetBits) & (slots_.size() - 1);
}

// The index of the key's slot, or of the empty one where it belongs.
size_t InodePaths::slotOf(uint64_t hash, std::string_view key) const {
  const size_t mask = slots_.size() - 1;
  size_t index = firstSlotOf(hash);
  while (slots_[index] != 0 &&
         ((slots_[index] & ~kOffsetMask) != hash || keyOf(slots_[index]) != key)) {
    index = (index + 1) & mask;
  }
  return index;
}

// Keeps the table at most two thirds full with so many more entries, in powers of two.
void InodePaths::growTable(size_t more) {
  constexpr size_t kFewestSlots = 1024;
  const size_t slots = std::max(kFewestSlots, std::bit_ceil((size_ + more) * 3 / 2 + 1));
  if (slots <= slots_.size()) {
    return;
  }
  std::vector<uint64_t> old(slots);
  old.swap(slots_);
  const size_t mask = slots_.size() - 1;
  for (const uint64_t entry : old) {
    if (entry == 0) {
      continue;
    }
    size_t index = firstSlotOf(entry);
    while (slots_[index] != 0) {
      index = (index + 1) & mask;
    }
    slots_[index] = entry;
  }
}

// Where the entry lies, counted from the first chunk.
uint64_t InodePaths::append(std::string_view key, std::string_view path) {
  const size_t needed = key.size() + 1 + path.size() + 1;
  if (chunks_.empty() || kChunkSize - lastChunkFilled_ < needed) {
    // Not make_unique, which would clear it: what is not filled yet takes no memory.
    chunks_.emplace_back(new char[kChunkSize]);
    lastChunkFilled_ = 0;
  }
  char* const entry = &chunks_.back()[lastChunkFilled_];
  key.copy(entry, key.size());
  entry[key.size()] = '\0';
  path.copy(entry + key.size() + 1, path.size());
  entry[needed - 1] = '\0';
  const uint64_t offset = (chunks_.size() - 1) * kChunkSize + lastChunkFilled_;
  lastChunkFilled_ += needed;
  return offset;
}

std::optional<InodePaths::Line> InodePaths::scanLine(std::string_view text) {
  text = text.substr(0, kLongestLine);
  Scanner scan(text.substr(0, text.find('\0')));
  Line line;
  if (!scan.word(line.key) || !scan.word(line.path)) {
    return std::nullopt;
  }
  line.key = line.key.substr(0, kLongestKey);
  line.path = line.path.substr(0, kLongestPath);
  line.hash = hashOf(line.key);
  return line;
}

void InodePaths::insert(const std::vector<Line>& lines) {
  growTable(lines.size());
  // The slots lie anywhere in a table larger than the caches: they are fetched all at once.
  for (const Line& line : lines) {
    __builtin_prefetch(&slots_[firstSlotOf(line.hash)]);
  }
  for (const Line& line : lines) {
    uint64_t& slot = slots_[slotOf(line.hash, line.key)];
    if (slot == 0) {
      slot = line.hash | (append(line.key, line.path) + 1);
      ++size_;
    }
  }
}

void InodePaths::merge(const std::function<size_t(char* buffer, size_t size)>& read) {
  std::array<char, 65536> block;
  std::string begun;  // of a line that goes on in the next block
  std::vector<Line> lines;
  const auto take = [&lines](std::string_view text) {
    if (const std::optional<Line> line = scanLine(text)) {
      lines.push_back(*line);
    }
  };
  while (const size_t filled = read(block.data(), block.size())) {
    std::string_view text(block.data(), filled);
    size_t end = text.find('\n');
    begun.append(text.substr(0, end), 0, kLongestLine - begun.size());
    if (end == std::string_view::npos) {
      continue;
    }
    take(begun);
    for (text.remove_prefix(end + 1); (end = text.find('\n')) != std::string_view::npos;
         text.remove_prefix(end + 1)) {
      take(text.substr(0, end));
    }
    insert(lines);
    lines.clear();
    begun.assign(text, 0, kLongestLine);
  }
  take(begun);
  insert(lines);
}

std::optional<std::string_view> InodePaths::find(std::string_view key) const {
  if (slots_.empty()) {
    return std::nullopt;
  }
  const uint64_t entry = slots_[slotOf(hashOf(key), key)];
  if (entry == 0) {
    return std::nullopt;
  }
  const std::string_view found = keyOf(entry);
  return found.data() + found.size() + 1;
}

}  // namespace tarnwick
