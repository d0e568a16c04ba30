// What a process snapshot costs beside what no implementation can avoid.
//
//   process_walk [CHILDREN]
//
// Starts so many idle children (0), then takes turns at two walks over /proc: the floor, which
// opens, reads and closes each stat file and does nothing with it, and the program's own, whose
// records are dropped between the rounds as by a measurement. Prints the median CPU time of each
// and of the ratios.

#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "collector/stats_collector.h"
#include "proc/sample_processes.h"

namespace {

constexpr int kRounds = 101;

double cpuSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

template <typename Walk>
double cost(Walk walk) {
  const double start = cpuSeconds();
  walk();
  return cpuSeconds() - start;
}

void floorWalk() {
  DIR* const proc = opendir("/proc");
  if (proc == nullptr) {
    return;
  }
  while (const dirent* entry = readdir(proc)) {
    if (entry->d_name[0] < '0' || entry->d_name[0] > '9') {
      continue;
    }
    std::array<char, 40> path;
    snprintf(path.data(), path.size(), "/proc/%.20s/stat", entry->d_name);
    std::array<char, 4096> text;
    const int fd = open(path.data(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {
      [[maybe_unused]] const ssize_t got = read(fd, text.data(), text.size());
      close(fd);
    }
  }
  closedir(proc);
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

std::vector<pid_t> startIdleChildren(int count) {
  std::vector<pid_t> children;
  for (int i = 0; i < count; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (;;) {
        pause();
      }
    }
    children.push_back(child);
  }
  return children;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<pid_t> children =
      startIdleChildren(argc > 1 ? static_cast<int>(strtol(argv[1], nullptr, 10)) : 0);

  tarnwick::StatsCollector collector;
  tarnwick::ProcessMap before;
  tarnwick::ProcessMap after;
  const auto programWalk = [&] {
    before.clear();
    before.swap(after);
    tarnwick::sampleProcesses(collector, "/proc", after);
  };
  std::vector<double> floors;
  std::vector<double> ours;
  std::vector<double> ratios;
  for (int round = 0; round < kRounds; ++round) {
    floors.push_back(cost(floorWalk));
    ours.push_back(cost(programWalk));
    ratios.push_back(ours.back() / floors.back());
  }
  printf("processes=%zu floor_us=%.0f snapshot_us=%.0f ratio=%.3f\n", after.size(),
         median(floors) * 1e6, median(ours) * 1e6, median(ratios));

  for (const pid_t child : children) {
    kill(child, SIGKILL);
  }
}
