// Idle processes or threads to take snapshots of.
//
//   crowd processes|threads COUNT
//
// Prints a line when all of them are asleep in their wait, and ends, with them, when its standard
// input does.

#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

[[noreturn]] void sleepForGood() {
  for (;;) {
    pause();
  }
}

bool startProcess() {
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sleepForGood();
  }
  return child > 0;
}

bool startThread() {
  constexpr size_t kStack = size_t{64} * 1024;
  pthread_attr_t small;
  pthread_attr_init(&small);
  pthread_attr_setstacksize(&small, kStack);
  pthread_t thread{};
  const auto run = [](void*) -> void* { sleepForGood(); };
  return pthread_create(&thread, &small, run, nullptr) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc > 1 ? argv[1] : "";
  if (argc != 3 || (what != "processes" && what != "threads")) {
    fputs("crowd processes|threads COUNT\n", stderr);
    return 1;
  }
  for (long count = strtol(argv[2], nullptr, 10); count > 0; --count) {
    if (!(what == "processes" ? startProcess() : startThread())) {
      perror("crowd");
      return 1;
    }
  }
  usleep(100000);
  puts("ready");
  fflush(stdout);
  char ignored = 0;
  while (read(STDIN_FILENO, &ignored, 1) > 0) {
  }
  _exit(0);
}
