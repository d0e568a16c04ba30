#include "trace/name_table.h"

namespace tarnwick {

NameTable::Id NameTable::idOf(std::string_view name) {
  const auto known = ids_.find(name);
  if (known != ids_.end()) {
    return known->second;
  }
  const auto id = static_cast<Id>(names_.size());
  names_.emplace_back(name);
  ids_.emplace(names_.back(), id);
  return id;
}

void NameTable::clear() {
  ids_.clear();
  names_.clear();
  idOf("");
}

}  // namespace tarnwick
