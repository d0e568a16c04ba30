#include "trace/stream_reader.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace tarnwick {

StreamReader::StreamReader(int fd, std::chrono::milliseconds rest) : fd_(fd), rest_(rest) {
  fcntl(fd_, F_SETFL, fcntl(fd_, F_GETFL) | O_NONBLOCK);
}

void StreamReader::startDrain(bool last) {
  constexpr std::chrono::seconds kPatience{2};
  constexpr size_t kDrainBytes = size_t{4} << 20;
  lastDrain_ = last;
  drainBytes_ = last ? std::numeric_limits<size_t>::max() : kDrainBytes;
  if (last) {
    drainEnd_ = std::chrono::steady_clock::now() + kPatience;
    int waiting = 0;
    // A pipe knows; the kernel's trace does not.
    if (ioctl(fd_, FIONREAD, &waiting) == 0) {
      drainBytes_ = static_cast<size_t>(std::max(waiting, 0));
    }
  }
}

// Whether the other end is closed and everything read.
bool StreamReader::hungUp() const {
  pollfd input = {fd_, POLLIN, 0};
  return poll(&input, 1, 0) == 1 && (input.revents & POLLHUP) != 0 && (input.revents & POLLIN) == 0;
}

std::string_view StreamReader::next() {
  for (;;) {
    if (drainBytes_ == 0 || (lastDrain_ && std::chrono::steady_clock::now() > drainEnd_)) {
      ended_ = lastDrain_ && hungUp();
      return {};
    }
    const ssize_t got = read(fd_, buffer_.data(), std::min(buffer_.size(), drainBytes_));
    if (got > 0) {
      drainBytes_ -= static_cast<size_t>(got);
      return {buffer_.data(), static_cast<size_t>(got)};
    }
    if (got < 0 && errno == EINTR) {
      continue;
    }
    ended_ = got == 0 || errno != EAGAIN;
    return {};
  }
}

}  // namespace tarnwick
