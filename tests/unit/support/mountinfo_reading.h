#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace tarnwick::mountinfo_reading {

// A line of mountinfo, by the C++ library's streams and sscanf.
struct Mount {
  uint32_t major = 0;
  uint32_t minor = 0;
  std::string point;
  std::string type;
};

inline std::string unescape(const std::string& field) {
  std::string text;
  for (size_t at = 0; at < field.size();) {
    unsigned code = 0;
    int length = 0;
    // The two conversions see whether there are three octal digits.
    if (sscanf(field.c_str() + at, "\\%*3[0-7]%n", &length) == 0 && length == 4 &&
        sscanf(field.c_str() + at, "\\%3o", &code) == 1) {
      text += static_cast<char>(code);
      at += 4;
    } else {
      text += field[at++];
    }
  }
  return text;
}

inline std::optional<uint32_t> numberOf(const std::string& text) {
  const size_t first = std::min(text.find_first_not_of('0'), text.size());
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos ||
      text.size() - first > 10 || strtoull(text.c_str(), nullptr, 10) > UINT32_MAX) {
    return std::nullopt;
  }
  return static_cast<uint32_t>(strtoull(text.c_str(), nullptr, 10));
}

inline std::optional<Mount> mountOf(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream in(line);
  for (std::string field; std::getline(in, field, ' ');) {
    fields.push_back(field);
  }
  if (fields.size() < 6) {
    return std::nullopt;
  }
  const size_t colon = fields[2].find(':');
  if (colon == std::string::npos) {
    return std::nullopt;
  }
  const std::optional<uint32_t> major = numberOf(fields[2].substr(0, colon));
  const std::optional<uint32_t> minor = numberOf(fields[2].substr(colon + 1));
  if (!major || !minor) {
    return std::nullopt;
  }
  Mount mount;
  mount.major = *major;
  mount.minor = *minor;
  mount.point = unescape(fields[4]);
  for (size_t i = 6; i + 1 < fields.size() && !fields[i].empty(); ++i) {
    if (fields[i] == "-") {
      mount.type = fields[i + 1];
      break;
    }
  }
  if (mount.type.empty() || mount.point.compare(0, 1, "/") != 0) {
    return std::nullopt;
  }
  return mount;
}

// Nothing if a line is malformed.
inline std::optional<std::vector<Mount>> mountsOf(const std::string& text) {
  std::vector<Mount> mounts;
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    if (end == std::string::npos) {
      return std::nullopt;
    }
    const std::optional<Mount> mount = mountOf(text.substr(at, end - at));
    if (!mount) {
      return std::nullopt;
    }
    mounts.push_back(*mount);
    at = end + 1;
  }
  return mounts;
}

inline std::string parentOf(const Mount& mount) {
  return mount.point.substr(0, mount.point.rfind('/'));
}

// The directories that have a mount point among their entries.
inline std::set<std::string> parentsOf(const std::vector<Mount>& mounts) {
  std::set<std::string> parents;
  for (const Mount& mount : mounts) {
    if (mount.point != "/") {
      parents.insert(parentOf(mount));
    }
  }
  return parents;
}

}  // namespace tarnwick::mountinfo_reading
