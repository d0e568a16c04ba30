#pragma once

#include <array>
#include <cstring>
#include <string_view>

namespace tarnwick {

// Cuts a stream into the lines that fgets(3) with a buffer of 1024 bytes would give: up to and with
// the newline, but at most 1023 characters at a time. A line is seen up to its first NUL byte.
class LineSplitter {
 public:
  // Takes the next bytes of the stream and calls `visit` with each line that they complete.
  template <typename Visit>
  void feed(std::string_view bytes, Visit visit) {
    const bool noNul = bytes.find('\0') == std::string_view::npos;
    while (!bytes.empty()) {
      const size_t room = line_.size() - length_;
      const std::string_view next = bytes.substr(0, room);
      const size_t newline = next.find('\n');
      const size_t taken = newline == std::string_view::npos ? next.size() : newline + 1;
      const bool complete = newline != std::string_view::npos || taken == room;
      if (complete && length_ == 0) {
        visit(noNul ? bytes.substr(0, taken) : text(bytes.data(), taken));
      } else {
        memcpy(line_.data() + length_, bytes.data(), taken);
        length_ += taken;
        if (complete) {
          flush(visit);
        }
      }
      bytes.remove_prefix(taken);
    }
  }

  // The stream has ended: what stands behind the last newline is a line, too.
  template <typename Visit>
  void finish(Visit visit) {
    if (length_ > 0) {
      flush(visit);
    }
  }

 private:
  static std::string_view text(const char* line, size_t length) {
    return {line, strnlen(line, length)};
  }

  template <typename Visit>
  void flush(Visit visit) {
    const size_t length = length_;
    length_ = 0;
    visit(text(line_.data(), length));
  }

  std::array<char, 1023> line_;
  size_t length_ = 0;
};

}  // namespace tarnwick
