#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <utility>
#include <vector>

namespace tarnwick {

// An ordered map in one piece of memory, which it keeps when it is cleared: tables that are filled
// anew with each snapshot cost no allocation. Entries are in ascending order of their keys, and a
// key that comes behind all others is added in constant time. Other keys move what is behind them,
// so large tables are filled by insertOrAssignAll.
//
// Iterators and references end with the next insertion.
template <typename Key, typename Value>
class FlatMap {
 public:
  // NOLINTBEGIN(readability-identifier-naming): the words of the standard
  using value_type = std::pair<Key, Value>;
  using Entries = std::vector<value_type>;
  using iterator = typename Entries::iterator;
  using const_iterator = typename Entries::const_iterator;
  // NOLINTEND(readability-identifier-naming)

  FlatMap() = default;
  FlatMap(std::initializer_list<value_type> entries) { insertOrAssignAll(entries); }

  iterator begin() { return entries_.begin(); }
  iterator end() { return entries_.end(); }
  const_iterator begin() const { return entries_.begin(); }
  const_iterator end() const { return entries_.end(); }
  size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  void clear() { entries_.clear(); }

  // The entry of a key; end() when there is none.
  template <typename Like>
  const_iterator find(const Like& key) const {
    const auto at = std::lower_bound(begin(), end(), key, keyBefore<Like>);
    return at != end() && at->first == key ? at : end();
  }

  template <typename Like>
  bool contains(const Like& key) const {
    return find(key) != end();
  }

  // The value of a key that is there.
  template <typename Like>
  const Value& at(const Like& key) const {
    return find(key)->second;
  }

  // The value of a key, which is added with a value of its own when it is missing.
  template <typename Like>
  Value& operator[](const Like& key) {
    return entry(key)->second;
  }

  // The same, as the entry.
  template <typename Like>
  iterator entry(const Like& key) {
    auto at = entries_.end();
    if (!empty() && !(entries_.back().first < key)) {
      at = std::lower_bound(begin(), end(), key, keyBefore<Like>);
      if (at->first == key) {
        return at;
      }
    }
    return entries_.emplace(at, Key(key), Value());
  }

  // Takes entries in whatever order. Of equal keys the last one holds, over what was there.
  void insertOrAssignAll(Entries entries) {
    entries_.insert(entries_.end(), std::make_move_iterator(entries.begin()),
                    std::make_move_iterator(entries.end()));
    if (std::adjacent_find(entries_.begin(), entries_.end(), notBefore) == entries_.end()) {
      return;
    }
    std::stable_sort(entries_.begin(), entries_.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    // The last of each run of equal keys is kept.
    auto kept = entries_.begin();
    for (auto at = entries_.begin(); at != entries_.end(); ++at) {
      const auto next = std::next(at);
      if (next == entries_.end() || at->first < next->first) {
        std::swap(*kept, *at);
        ++kept;
      }
    }
    entries_.erase(kept, entries_.end());
  }

  bool operator==(const FlatMap&) const = default;

 private:
  static bool notBefore(const value_type& a, const value_type& b) { return !(a.first < b.first); }

  template <typename Like>
  static bool keyBefore(const value_type& entry, const Like& key) {
    return entry.first < key;
  }

  Entries entries_;
};

}  // namespace tarnwick
