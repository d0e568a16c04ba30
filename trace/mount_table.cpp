#include "trace/mount_table.h"

#include <linux/magic.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>

#include "sysstat/lines.h"

namespace tarnwick {

namespace {

struct FileSystem {
  std::string_view type;  // as in mountinfo
  uint32_t magic;         // as in statfs(2)
};

// Each of these has a test. Not overlay, btrfs, fuse and 9p: there stat(2) gives other numbers.
constexpr std::array<FileSystem, 7> kCarryInodes = {{
    {"erofs", EROFS_SUPER_MAGIC_V1},
    {"ext2", EXT4_SUPER_MAGIC},
    {"ext3", EXT4_SUPER_MAGIC},
    {"ext4", EXT4_SUPER_MAGIC},
    {"f2fs", F2FS_SUPER_MAGIC},
    {"tmpfs", TMPFS_MAGIC},
    {"xfs", XFS_SUPER_MAGIC},
}};

uint64_t deviceNumber(uint32_t major, uint32_t minor) {
  return uint64_t{major} << 32U | minor;
}

// Takes a field and the blank after it. Empty at the end of the line.
std::string_view takeField(std::string_view& line) {
  const size_t end = std::min(line.find(' '), line.size());
  const std::string_view field = line.substr(0, end);
  line.remove_prefix(std::min(end + 1, line.size()));
  return field;
}

// "MAJOR:MINOR", decimal.
std::optional<uint64_t> parseDevice(std::string_view field) {
  uint32_t major = 0;
  uint32_t minor = 0;
  const char* const end = field.data() + field.size();
  const auto first = std::from_chars(field.data(), end, major);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != ':') {
    return std::nullopt;
  }
  const auto second = std::from_chars(first.ptr + 1, end, minor);
  if (second.ec != std::errc() || second.ptr != end) {
    return std::nullopt;
  }
  return deviceNumber(major, minor);
}

bool isOctal(char c) {
  return c >= '0' && c <= '7';
}

// The kernel writes blanks, tabs, newlines and backslashes as "\" and three octal digits.
std::string unescape(std::string_view field) {
  std::string text;
  text.reserve(field.size());
  for (size_t at = 0; at < field.size(); ++at) {
    if (field[at] == '\\' && at + 3 < field.size() && isOctal(field[at + 1]) &&
        isOctal(field[at + 2]) && isOctal(field[at + 3])) {
      const int code = (field[at + 1] - '0') * 64 + (field[at + 2] - '0') * 8 + field[at + 3] - '0';
      text.push_back(static_cast<char>(code));
      at += 3;
    } else {
      text.push_back(field[at]);
    }
  }
  return text;
}

}  // namespace

// "36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=continue": the third field
// is the device, the fifth the mount point, and the type follows a "-" after any number of optional
// fields.
bool MountTable::parseLine(std::string_view line) {
  takeField(line);
  takeField(line);
  const std::optional<uint64_t> device = parseDevice(takeField(line));
  takeField(line);
  const std::string mountPoint = unescape(takeField(line));
  if (!device || !mountPoint.starts_with('/')) {
    return false;
  }
  takeField(line);
  for (std::string_view optional; (optional = takeField(line)) != "-";) {
    if (optional.empty()) {
      return false;
    }
  }
  const std::string_view type = takeField(line);
  if (type.empty()) {
    return false;
  }
  if (mountPoint != "/") {
    parents_.push_back(mountPoint.substr(0, mountPoint.rfind('/')));
  }
  const auto* const known = std::find_if(kCarryInodes.begin(), kCarryInodes.end(),
                                         [type](const auto& each) { return each.type == type; });
  if (known != kCarryInodes.end()) {
    devices_.push_back({*device, known->magic});
  }
  return true;
}

std::optional<MountTable> MountTable::parse(std::string_view text) {
  MountTable table;
  if (!text.empty() && !text.ends_with('\n')) {
    return std::nullopt;
  }
  while (!text.empty()) {
    if (!table.parseLine(takeLine(text))) {
      return std::nullopt;
    }
  }
  std::sort(table.parents_.begin(), table.parents_.end());
  std::sort(table.devices_.begin(), table.devices_.end());
  return table;
}

bool MountTable::hasMountIn(std::string_view directory) const {
  return std::binary_search(parents_.begin(), parents_.end(), directory, std::less<>());
}

bool MountTable::entriesCarryInodes(uint32_t major, uint32_t minor, uint32_t magic) const {
  return std::binary_search(devices_.begin(), devices_.end(),
                            Device{deviceNumber(major, minor), magic});
}

}  // namespace tarnwick
