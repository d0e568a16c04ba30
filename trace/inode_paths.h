#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick {

// Paths of files by their "major:minor_inode" key. A device has a million of them, so they are kept
// in the text that they came in, with a table of 8 bytes a slot beside it.
class InodePaths {
 public:
  // Merges the text of an inode cache, one "key path" a line, as by "%s %s": a key ends at 79
  // characters, a path at its first blank or 511 characters, and a line without both is passed
  // over. A key that is there already keeps its path.
  void merge(std::string_view text);

  std::optional<std::string_view> find(std::string_view key) const;
  size_t size() const { return size_; }

 private:
  std::string_view keyAt(uint64_t offset) const { return text_.c_str() + offset; }
  uint64_t* slotOf(std::string_view key);
  const uint64_t* slotOf(std::string_view key) const;
  void growTable();

  std::string text_;             // "key\0path\0" of each entry
  std::vector<uint64_t> slots_;  // open addressing; an entry's offset in the text and 1, or 0
  size_t size_ = 0;
};

}  // namespace tarnwick
