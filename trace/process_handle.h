#pragma once

#ifdef TARNWICK_PURE
#error "Parsing, subtracting and formatting signal no process."
#endif

#include <sys/types.h>

#include <string_view>

namespace tarnwick {

// A process that is to be signalled, and no other one that gets its id after its end. Holds a
// pidfd, see pidfd_open(2), where the kernel has it (Linux 5.3); elsewhere the id alone, and there
// is a moment between the two calls below in which another process can get the id.
class ProcessHandle {
 public:
  explicit ProcessHandle(pid_t pid);
  ~ProcessHandle();
  ProcessHandle(const ProcessHandle&) = delete;
  ProcessHandle& operator=(const ProcessHandle&) = delete;

  // Whether /proc/PID/comm has this name now, see proc_pid_comm(5). False if the process has ended.
  bool isNamed(std::string_view name) const;

  // Sends SIGKILL. Does nothing if the process has ended or must not be signalled.
  void kill() const;

 private:
  pid_t pid_;
  int fd_;
  bool ended_;  // when the handle was made
};

}  // namespace tarnwick
