#include "trace/process_handle.h"

#include <gtest/gtest.h>
#include <linux/sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <optional>
#include <string>

namespace tarnwick {
namespace {

// A child that does nothing until it is killed.
class StandIn {
 public:
  // With this id, where the kernel and the privileges allow that; see clone(2).
  explicit StandIn(const char* name, pid_t pid = 0) {
    int ready[2];
    if (pipe(ready) != 0) {
      return;
    }
    clone_args arguments{};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<uint64_t>(&pid);
    arguments.set_tid_size = 1;
    pid_ =
        pid == 0 ? fork() : static_cast<pid_t>(syscall(SYS_clone3, &arguments, sizeof(arguments)));
    if (pid_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      prctl(PR_SET_NAME, name);
      close(ready[0]);
      close(ready[1]);
      for (;;) {
        pause();
      }
    }
    // Ends when the child has its name.
    close(ready[1]);
    char unused = 0;
    static_cast<void>(read(ready[0], &unused, 1) == 0);
    close(ready[0]);
  }
  ~StandIn() { end(); }
  StandIn(const StandIn&) = delete;
  StandIn& operator=(const StandIn&) = delete;

  pid_t pid() const { return pid_; }

  // Whether a signal that is sent already ends it. Collects it then.
  bool wasKilled() {
    int status = 0;
    if (waitpid(pid_, &status, 0) != pid_) {
      return false;
    }
    pid_ = -1;
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  }

  bool runs() const { return waitpid(pid_, nullptr, WNOHANG) == 0; }

  void end() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
      pid_ = -1;
    }
  }

 private:
  pid_t pid_ = -1;
};

TEST(ProcessHandle, KillsTheProcess) {
  StandIn child("logcat");
  const ProcessHandle process(child.pid());
  EXPECT_TRUE(process.isNamed("logcat"));
  process.kill();
  EXPECT_TRUE(child.wasKilled());
}

TEST(ProcessHandle, HasTheNameOfNow) {
  const StandIn child("system_server");
  const ProcessHandle process(child.pid());
  EXPECT_FALSE(process.isNamed("logcat"));
  EXPECT_FALSE(process.isNamed("system_serve"));
  EXPECT_TRUE(process.isNamed("system_server"));
}

TEST(ProcessHandle, HasAWholeName) {
  const StandIn child("a b\nc");
  EXPECT_TRUE(ProcessHandle(child.pid()).isNamed("a b\nc"));
}

TEST(ProcessHandle, OfAnEndedProcessHasNoName) {
  StandIn child("logcat");
  const pid_t pid = child.pid();
  child.end();
  const ProcessHandle process(pid);
  EXPECT_FALSE(process.isNamed("logcat"));
  EXPECT_FALSE(process.isNamed(""));
  process.kill();
}

TEST(ProcessHandle, KillsNoOtherProcessOfTheSameId) {
  StandIn first("logcat");
  const pid_t pid = first.pid();
  const ProcessHandle process(pid);
  const int fd = static_cast<int>(syscall(434, pid, 0));
  const bool hasPidfd = fd >= 0;
  close(fd);
  first.end();
  const StandIn second("logcat", pid);
  if (!hasPidfd || second.pid() != pid) {
    GTEST_SKIP() << "no pidfd, or no process of a chosen id";
  }
  // The name alone does not tell them apart.
  EXPECT_TRUE(process.isNamed("logcat"));
  process.kill();
  usleep(20000);
  EXPECT_TRUE(second.runs());
}

}  // namespace
}  // namespace tarnwick
