#include <dirent.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "tests/kernel/load/load.h"

namespace load {

// counters PID: what the hardware counters that a process has open have counted so far, a line
// each, in the order of their descriptors.
int countersCommand(int argc, char** argv) {
  if (argc < 1) {
    return 2;
  }
  const std::string folder = std::string("/proc/") + argv[0] + "/fd/";
  const auto process = static_cast<int>(syscall(SYS_pidfd_open, atoi(argv[0]), 0));
  DIR* const entries = opendir(folder.c_str());
  if (process < 0 || entries == nullptr) {
    fail(argv[0]);
  }
  std::map<int, uint64_t> counts;
  while (const dirent* entry = readdir(entries)) {
    char target[64] = {};
    if (readlink((folder + entry->d_name).c_str(), target, sizeof target - 1) < 0 ||
        std::string(target) != "anon_inode:[perf_event]") {
      continue;
    }
    const int number = atoi(entry->d_name);
    const auto fd = static_cast<int>(syscall(SYS_pidfd_getfd, process, number, 0));
    uint64_t count = 0;
    if (fd < 0 || read(fd, &count, sizeof count) != sizeof count) {
      fail(entry->d_name);
    }
    counts[number] = count;
    close(fd);
  }
  closedir(entries);
  for (const auto& [number, count] : counts) {
    printf("%llu\n", static_cast<unsigned long long>(count));
  }
  return 0;
}

}  // namespace load
