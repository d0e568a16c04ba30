#include "trace/process_handle.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include "sysstat/kernel_text.h"
#include "trace/task_status.h"

namespace tarnwick {

namespace {

// Of every architecture; the C library's headers can be older.
constexpr long kPidfdSendSignal = 424;
constexpr long kPidfdOpen = 434;

}  // namespace

// pidfd_open(2) sets close-on-exec.
ProcessHandle::ProcessHandle(pid_t pid)
    : pid_(pid),
      fd_(static_cast<int>(syscall(kPidfdOpen, pid, 0))),
      ended_(fd_ < 0 && errno == ESRCH) {}

ProcessHandle::~ProcessHandle() {
  if (fd_ >= 0) {
    close(fd_);
  }
}

bool ProcessHandle::isNamed(std::string_view name) const {
  if (ended_) {
    return false;
  }
  std::array<char, 40> path;
  snprintf(path.data(), path.size(), "/proc/%d/comm", pid_);
  const int fd = open(path.data(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return false;
  }
  // More than the kernel gives.
  std::array<char, 128> text;
  const ssize_t got = read(fd, text.data(), text.size());
  close(fd);
  return got > 0 && parseComm(kernelText(text.data(), static_cast<size_t>(got))) == name;
}

void ProcessHandle::kill() const {
  if (fd_ >= 0) {
    syscall(kPidfdSendSignal, fd_, SIGKILL, nullptr, 0);
  } else if (!ended_) {
    ::kill(pid_, SIGKILL);
  }
}

}  // namespace tarnwick
