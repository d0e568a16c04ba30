#include "proc/find_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <string>

namespace tarnwick {
namespace {

// A process with a command line of the test's choice, gone with the object. It is `cat` on two
// pipes.
class NamedChild {
 public:
  explicit NamedChild(const std::string& path) {
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(output.data(), O_CLOEXEC) != 0) {
      ADD_FAILURE() << "no pipes";
      return;
    }
    id_ = fork();
    if (id_ == 0) {
      dup2(input[0], STDIN_FILENO);
      dup2(output[1], STDOUT_FILENO);
      execl("/bin/cat", path.c_str(), "-u", "/dev/stdin", nullptr);
      _exit(127);
    }
    close(input[0]);
    close(output[1]);
    // What comes back shows that the child has become `cat`, with its command line in place.
    char echo = 0;
    EXPECT_EQ(write(input[1], "x", 1), 1);
    EXPECT_EQ(read(output[0], &echo, 1), 1);
    input_ = input[1];
    close(output[0]);
  }
  ~NamedChild() {
    close(input_);
    if (id_ > 0) {
      kill(id_, SIGKILL);
      waitpid(id_, nullptr, 0);
    }
  }
  NamedChild(const NamedChild&) = delete;
  NamedChild& operator=(const NamedChild&) = delete;

  pid_t id() const { return id_; }

 private:
  pid_t id_ = -1;
  int input_ = -1;
};

// A name that no other process has, also of a test that runs at the same time.
std::string nobodysName() {
  return "tarnwick child of " + std::to_string(getpid());
}

TEST(FindProcess, findsTheFileNameOfAProgram) {
  const NamedChild child("/system/bin/" + nobodysName());
  EXPECT_EQ(findProcessByName(nobodysName()), child.id());
}

TEST(FindProcess, doesNotFindTheWholePath) {
  const NamedChild child("/system/bin/" + nobodysName());
  EXPECT_EQ(findProcessByName("/system/bin/" + nobodysName()), -1);
}

TEST(FindProcess, doesNotFindTheArguments) {
  const NamedChild child("/system/bin/" + nobodysName());
  EXPECT_EQ(findProcessByName(nobodysName() + " -u"), -1);
}

TEST(FindProcess, doesNotFindTheBeginningOfAName) {
  const NamedChild child(nobodysName() + ":remote");
  EXPECT_EQ(findProcessByName(nobodysName()), -1);
}

TEST(FindProcess, findsNobodyOfALongerName) {
  const NamedChild child(nobodysName());
  EXPECT_EQ(findProcessByName(nobodysName() + ":remote"), -1);
}

TEST(FindProcess, findsANameBehindALongPath) {
  const NamedChild child("/" + std::string(9000, 'd') + "/" + nobodysName());
  EXPECT_EQ(findProcessByName(nobodysName()), child.id());
}

TEST(FindProcess, findsTheFirstOfTwo) {
  const NamedChild one(nobodysName());
  const NamedChild other(nobodysName());
  EXPECT_EQ(findProcessByName(nobodysName()), std::min(one.id(), other.id()));
}

TEST(FindProcess, findsNobody) {
  EXPECT_EQ(findProcessByName(nobodysName()), -1);
}

TEST(FindProcess, findsNobodyWithoutAFreeDescriptor) {
  const NamedChild child(nobodysName());
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none = {0, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  const int32_t found = findProcessByName(nobodysName());
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(found, -1);
}

}  // namespace
}  // namespace tarnwick
