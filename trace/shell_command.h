#pragma once

#include <sys/types.h>

#include <chrono>

namespace tarnwick {

// A command that the shell runs as a child. Not popen(3) and system(3): those wait for the child
// without a way out, and system changes the whole process's signals meanwhile. The kernel is asked
// to end the child with the thread that started it.
class ShellCommand {
 public:
  // Where the command's standard output goes: to fd(), or where this process's does.
  enum class Output { kPipe, kInherited };

  ShellCommand(const char* command, Output output);

  // Ends the child if it still runs, and collects it.
  ~ShellCommand();
  ShellCommand(const ShellCommand&) = delete;
  ShellCommand& operator=(const ShellCommand&) = delete;

  // Where its output is read; -1 when it goes elsewhere or the command could not be started.
  int fd() const { return fd_; }

  // Waits until the child has ended, at most so long.
  void wait(std::chrono::milliseconds timeout);

  // Waits until the child has ended, however long that takes, or until the calling worker is told
  // to stop.
  void waitOrStop();

 private:
  bool hasEnded();

  int fd_ = -1;
  pid_t pid_ = -1;
};

}  // namespace tarnwick
