#include "trace/shell_command.h"

#include <fcntl.h>
#include <paths.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <string>
#include <thread>

#include "trace/worker_signals.h"

namespace tarnwick {

namespace {

// In the child, of a process with other threads: async-signal-safe calls alone.
[[noreturn]] void becomeShell(const char* command, int output, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // The parent may have ended before that.
  if (getppid() != parent) {
    _exit(127);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  if (output >= 0) {
    dup2(output, STDOUT_FILENO);
  }
  execl(_PATH_BSHELL, "sh", "-c", command, nullptr);
  // A program that was not built for the platform does not know its place there.
  execl("/system/bin/sh", "sh", "-c", command, nullptr);
  _exit(127);
}

}  // namespace

ShellCommand::ShellCommand(const char* command, Output output) {
  int ends[2] = {-1, -1};
  if (output == Output::kPipe && pipe2(ends, O_CLOEXEC) != 0) {
    return;
  }
  // The shell becomes the command, so that a signal to the child reaches the command itself.
  const std::string line = std::string("exec ") + command;
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    becomeShell(line.c_str(), ends[1], parent);
  }
  if (output == Output::kPipe) {
    close(ends[1]);
    fd_ = ends[0];
  }
  if (pid_ < 0 && fd_ >= 0) {
    close(fd_);
    fd_ = -1;
  }
}

ShellCommand::~ShellCommand() {
  if (fd_ >= 0) {
    close(fd_);
  }
  if (pid_ > 0 && !hasEnded()) {
    kill(pid_, SIGKILL);
    while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
}

bool ShellCommand::hasEnded() {
  if (pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) != 0) {
    pid_ = -1;
  }
  return pid_ <= 0;
}

void ShellCommand::wait(std::chrono::milliseconds timeout) {
  constexpr std::chrono::milliseconds kStep{5};
  for (; !hasEnded() && timeout >= kStep; timeout -= kStep) {
    std::this_thread::sleep_for(kStep);
  }
}

void ShellCommand::waitOrStop() {
  std::chrono::milliseconds step{5};
  while (!hasEnded() && workerWait({}, step) != WorkerWait::kStop) {
    // A wait that is long should not disturb what is measured meanwhile.
    constexpr std::chrono::milliseconds kMaxStep{100};
    step = std::min(2 * step, kMaxStep);
  }
}

}  // namespace tarnwick
