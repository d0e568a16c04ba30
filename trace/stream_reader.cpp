#include "trace/stream_reader.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace tarnwick {

StreamReader::StreamReader(int fd, size_t blockSize) : fd_(fd), block_(blockSize) {
  fcntl(fd_, F_SETFL, fcntl(fd_, F_GETFL) | O_NONBLOCK);
  struct stat status {};
  isPipe_ = fstat(fd_, &status) == 0 && S_ISFIFO(status.st_mode);
}

void StreamReader::startDrain(bool thorough) {
  constexpr std::chrono::milliseconds kMaxDrain{100};
  constexpr std::chrono::milliseconds kMaxThoroughDrain{2000};
  thorough_ = thorough;
  leftSomething_ = false;
  drainBytes_ = std::numeric_limits<size_t>::max();
  drainEnd_ = Clock::now() + (thorough ? kMaxThoroughDrain : kMaxDrain);
  int waiting = 0;
  // A pipe knows. The kernel's trace is a regular file, for which the answer is always 0.
  if (thorough && isPipe_ && ioctl(fd_, FIONREAD, &waiting) == 0) {
    drainBytes_ = static_cast<size_t>(std::max(waiting, 0));
  }
}

// Whether the other end is closed and everything read.
bool StreamReader::hungUp() const {
  pollfd input = {fd_, POLLIN, 0};
  return poll(&input, 1, 0) == 1 && (input.revents & POLLHUP) != 0 && (input.revents & POLLIN) == 0;
}

std::string_view StreamReader::next() {
  for (;;) {
    if (drainBytes_ == 0 || Clock::now() > drainEnd_) {
      leftSomething_ = true;
      ended_ = thorough_ && hungUp();
      return {};
    }
    const ssize_t got = read(fd_, block_.data(), std::min(block_.size(), drainBytes_));
    if (got > 0) {
      drainBytes_ -= static_cast<size_t>(got);
      return {block_.data(), static_cast<size_t>(got)};
    }
    if (got < 0 && errno == EINTR) {
      continue;
    }
    ended_ = got == 0 || errno != EAGAIN;
    return {};
  }
}

}  // namespace tarnwick
