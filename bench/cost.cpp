// What a command costs.
//
//   cost FILE COMMAND [ARGUMENT]...
//
// Runs the command as a child and writes to the file, in one line: CPU time in user mode and in the
// kernel in seconds, the most memory that it held in KB, and the time that it took. Ends with its
// status.

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace {

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    fputs("cost FILE COMMAND [ARGUMENT]...\n", stderr);
    return 125;
  }
  const auto start = std::chrono::steady_clock::now();
  pid_t child = -1;
  const int rc = posix_spawnp(&child, argv[2], nullptr, nullptr, argv + 2, environ);
  if (rc != 0) {
    fprintf(stderr, "cost: %s: %s\n", argv[2], strerror(rc));
    return 127;
  }
  int status = 0;
  rusage usage{};
  while (wait4(child, &status, 0, &usage) < 0 && errno == EINTR) {
  }
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  FILE* const out = fopen(argv[1], "we");
  if (out == nullptr) {
    perror(argv[1]);
    return 125;
  }
  fprintf(out, "%.6f %.6f %ld %.6f\n", seconds(usage.ru_utime), seconds(usage.ru_stime),
          usage.ru_maxrss, taken.count());
  fclose(out);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 126;
}
