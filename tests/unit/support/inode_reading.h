#pragma once

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "trace/inode_paths.h"

namespace tarnwick::inode_reading {

// Merges a text that comes in blocks of at most these many bytes.
template <typename BlockSize>
void merge(InodePaths& paths, std::string_view text, BlockSize blockSize) {
  paths.merge([&](char* buffer, size_t size) {
    const size_t length = text.copy(buffer, std::min<size_t>(size, blockSize()));
    text.remove_prefix(length);
    return length;
  });
}

// What the C library makes of the lines of a text, each seen for 1024 characters.
inline std::map<std::string, std::string> sscanfPathsOf(const std::string& text) {
  constexpr size_t kLongestLine = 1024;
  std::map<std::string, std::string> paths;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    const std::string line = text.substr(at, std::min(end - at, kLongestLine));
    std::vector<char> key(line.size() + 1);
    std::vector<char> path(line.size() + 1);
    if (sscanf(line.c_str(), "%s %s", key.data(), path.data()) == 2) {
      paths.emplace(std::string_view(key.data()).substr(0, 79),
                    std::string_view(path.data()).substr(0, 511));
    }
    at = end + 1;
  }
  return paths;
}

}  // namespace tarnwick::inode_reading
