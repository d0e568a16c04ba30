#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace tarnwick {

// Paths of files by their "major:minor_inode" key. A device has a million of them, so they are kept
// as bare text, in chunks that never move, with a table of 8 bytes a slot beside it.
class InodePaths {
 public:
  // Merges the text of an inode cache, one "key path" a line, as by "%s %s": a key ends at 79
  // characters, a path at its first blank or 511 characters, and a line without both in its first
  // 1024 characters is passed over. A key that is there already keeps its path. `read` fills a
  // buffer from the front with what comes next of the text and returns its length, 0 at the end.
  void merge(const std::function<size_t(char* buffer, size_t size)>& read);

  std::optional<std::string_view> find(std::string_view key) const;
  size_t size() const { return size_; }

 private:
  // A slot is 0 or an entry: where it lies in the text and 1, below that many bits of its hash.
  // They also place it, so that a table that grows need not look at the keys again.
  static constexpr unsigned kOffsetBits = 36;
  static constexpr uint64_t kOffsetMask = (uint64_t{1} << kOffsetBits) - 1;

  // An entry of the text, where it stands there.
  struct Line {
    std::string_view key;
    std::string_view path;
    uint64_t hash = 0;
  };

  static uint64_t hashOf(std::string_view key);
  static std::optional<Line> scanLine(std::string_view text);
  std::string_view keyOf(uint64_t slot) const;
  size_t slotOf(uint64_t hash, std::string_view key) const;
  size_t firstSlotOf(uint64_t hash) const;
  void growTable(size_t more);
  void insert(const std::vector<Line>& lines);
  uint64_t append(std::string_view key, std::string_view path);

  std::vector<std::unique_ptr<char[]>> chunks_;  // "key\0path\0" of each entry, not across chunks
  size_t lastChunkFilled_ = 0;
  std::vector<uint64_t> slots_;  // open addressing
  size_t size_ = 0;
};

}  // namespace tarnwick
