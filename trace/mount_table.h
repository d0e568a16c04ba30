#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick {

// The mounts that a process sees: /proc/self/mountinfo, see proc_pid_mountinfo(5).
class MountTable {
 public:
  // Parses the whole text of the file. Nothing if one of its lines is malformed or cut: a table
  // that lacks a mount would give wrong answers.
  static std::optional<MountTable> parse(std::string_view text);

  // Whether an entry of the directory is a mount point. The path is absolute, without a slash at
  // its end; that of the root is empty.
  bool hasMountIn(std::string_view directory) const;

  // Whether the entries of directories on a device carry the inode numbers that stat(2) gives
  // (d_ino of readdir(3)). This is known of some file systems only. `magic` is their f_type of
  // statfs(2), which has to agree with the table: device numbers are given to another file system
  // after an unmount, and some file systems pass on the f_type of another one.
  bool entriesCarryInodes(uint32_t major, uint32_t minor, uint32_t magic) const;

 private:
  struct Device {
    uint64_t number = 0;  // major and minor
    uint32_t magic = 0;   // of a file system whose entries carry inode numbers
    bool operator<(const Device& other) const {
      return number != other.number ? number < other.number : magic < other.magic;
    }
  };

  bool parseLine(std::string_view line);

  std::vector<std::string> parents_;  // of mount points, sorted
  std::vector<Device> devices_;       // sorted
};

}  // namespace tarnwick
