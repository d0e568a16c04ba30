#include "trace/inode_paths.h"

#include <array>
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

// The index of the key's slot, or of the empty one where it belongs.
size_t InodePaths::slotOf(uint64_t hash, std::string_view key) const {
  const size_t mask = slots_.size() - 1;
  size_t index = (hash >> kOffsetBits) & mask;
  while (slots_[index] != 0 &&
         ((slots_[index] & ~kOffsetMask) != hash || keyOf(slots_[index]) != key)) {
    index = (index + 1) & mask;
  }
  return index;
}

// Keeps the table at most two thirds full, in powers of two.
void InodePaths::growTable() {
  constexpr size_t kFirstSlots = 1024;
  if (size_ * 3 < slots_.size() * 2) {
    return;
  }
  std::vector<uint64_t> old(slots_.empty() ? kFirstSlots : slots_.size() * 2);
  old.swap(slots_);
  const size_t mask = slots_.size() - 1;
  for (const uint64_t entry : old) {
    if (entry == 0) {
      continue;
    }
    size_t index = (entry >> kOffsetBits) & mask;
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

void InodePaths::mergeLine(std::string_view line) {
  line = line.substr(0, kLongestLine);
  Scanner scan(line.substr(0, line.find('\0')));
  std::string_view key;
  std::string_view path;
  if (!scan.word(key) || !scan.word(path)) {
    return;
  }
  key = key.substr(0, kLongestKey);
  path = path.substr(0, kLongestPath);
  growTable();
  const uint64_t hash = hashOf(key);
  uint64_t& slot = slots_[slotOf(hash, key)];
  if (slot == 0) {
    slot = hash | (append(key, path) + 1);
    ++size_;
  }
}

void InodePaths::merge(const std::function<size_t(char* buffer, size_t size)>& read) {
  std::array<char, 65536> block;
  std::string begun;  // of a line that goes on in the next block
  while (const size_t filled = read(block.data(), block.size())) {
    std::string_view text(block.data(), filled);
    for (size_t end; (end = text.find('\n')) != std::string_view::npos;
         text.remove_prefix(end + 1)) {
      if (begun.empty()) {
        mergeLine(text.substr(0, end));
        continue;
      }
      begun.append(text.substr(0, end), 0, kLongestLine - begun.size());
      mergeLine(begun);
      begun.clear();
    }
    begun.append(text, 0, kLongestLine - begun.size());
  }
  mergeLine(begun);
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
