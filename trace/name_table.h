#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tarnwick {

// Names that repeat endlessly, each kept once and known by a number. Id 0 is the empty name.
class NameTable {
 public:
  using Id = uint32_t;

  NameTable() { clear(); }
  NameTable(const NameTable&) = delete;  // its views would stay with the original
  NameTable& operator=(const NameTable&) = delete;

  Id idOf(std::string_view name);
  const std::string& name(Id id) const { return names_[id]; }
  size_t size() const { return names_.size(); }

  // Forgets all names but the empty one; ids given so far mean nothing any more.
  void clear();

 private:
  std::deque<std::string> names_;  // never moves a name, so the views below stay good
  std::unordered_map<std::string_view, Id> ids_;
};

}  // namespace tarnwick
