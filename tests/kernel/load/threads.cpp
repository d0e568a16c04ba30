#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "tests/kernel/load/load.h"

namespace load {

namespace {

pid_t threadId() {
  return static_cast<pid_t>(syscall(SYS_gettid));
}

// Waits until a thread of this process sleeps: what it did before is then accounted.
void awaitSleep(pid_t tid) {
  const std::string path = "/proc/self/task/" + std::to_string(tid) + "/stat";
  for (;;) {
    FILE* const file = fopen(path.c_str(), "re");
    char state = 0;
    const bool found = file != nullptr && fscanf(file, "%*d (%*[^)]) %c", &state) == 1;
    if (file != nullptr) {
      fclose(file);
    }
    if (!found || state == 'S') {
      return;
    }
    usleep(1000);
  }
}

struct Worker {
  const char* name;
  int cpu;
  void (*work)(const char* file);
  const char* file = nullptr;
  pid_t tid = 0;
  pthread_t thread{};
  sem_t ready{};
  sem_t start{};
  sem_t done{};
};

void* runWorker(void* argument) {
  auto* const worker = static_cast<Worker*>(argument);
  nameThread(worker->name);
  pinTo(worker->cpu);
  worker->tid = threadId();
  sem_post(&worker->ready);
  sem_wait(&worker->start);
  worker->work(worker->file);
  sem_post(&worker->done);
  // Stays, so that its process can still be found.
  sem_wait(&worker->start);
  return nullptr;
}

// The kernel's own sums: those of /proc/TID/schedstat, and the iowait_sum of /proc/TID/sched where
// it is.
void printSums(const char* when, const Worker& worker) {
  const std::string folder = "/proc/self/task/" + std::to_string(worker.tid);
  long long run = 0;
  long long wait = 0;
  FILE* file = fopen((folder + "/schedstat").c_str(), "re");
  if (file == nullptr || fscanf(file, "%lld %lld", &run, &wait) != 2) {
    fail("schedstat");
  }
  fclose(file);
  double waitMs = 0;
  double iowaitMs = 0;
  file = fopen((folder + "/sched").c_str(), "re");
  if (file != nullptr) {
    std::array<char, 256> line{};
    while (fgets(line.data(), line.size(), file) != nullptr) {
      const char* const value = strchr(line.data(), ':');
      if (value == nullptr) {
        continue;
      }
      if (strstr(line.data(), "iowait_sum ") != nullptr) {
        iowaitMs = strtod(value + 1, nullptr);
      } else if (strstr(line.data(), "wait_sum ") != nullptr) {
        waitMs = strtod(value + 1, nullptr);
      }
    }
    fclose(file);
  }
  printf("%s tid=%d name=%s run=%lld delay=%lld wait=%.0f iowait=%.0f\n", when, worker.tid,
         worker.name, run, wait, waitMs * 1e6, iowaitMs * 1e6);
}

void burnForLong(const char* /*file*/) {
  burn(250);
}

void burnInPieces(const char* /*file*/) {
  for (int piece = 0; piece < 20; ++piece) {
    burn(5);
    usleep(1000);
  }
}

// Past the cache: every read waits for the disk.
void readDisk(const char* file) {
  const int fd = open(file, O_RDONLY | O_DIRECT | O_CLOEXEC);
  if (fd < 0) {
    fail(file);
  }
  constexpr size_t kBlock = 4096;
  alignas(kBlock) static std::array<char, kBlock> block;
  for (off_t offset = 0; pread(fd, block.data(), block.size(), offset) > 0;
       offset += static_cast<off_t>(kBlock)) {
  }
  close(fd);
}

struct EventSource {
  std::string name;
  int cpu;
  int64_t perSecond;
};

// Reading the CPU time of a thread brings the kernel's figures of the thread up to date, and that
// is an event of its run time.
void* makeEvents(void* argument) {
  const auto* const source = static_cast<const EventSource*>(argument);
  nameThread(source->name.c_str());
  pinTo(source->cpu);
  constexpr int64_t kPeriodNs = 5000000;
  timespec next{};
  clock_gettime(CLOCK_MONOTONIC, &next);
  for (;;) {
    for (int64_t i = 0; i < source->perSecond * kPeriodNs / 1000000000; ++i) {
      threadCpuNs();
    }
    next.tv_nsec += kPeriodNs;
    if (next.tv_nsec >= 1000000000) {
      next.tv_nsec -= 1000000000;
      ++next.tv_sec;
    }
    // Who is late does not sleep.
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
  }
  return nullptr;
}

}  // namespace

// threads FILE: two threads that share a CPU, one that runs in pieces and one that reads FILE from
// its disk. Says "ready" when they are there, waits for a line, lets them work, says "done" and
// waits for the end of its input. Before and after the work it prints the kernel's sums of each.
int threadsCommand(int argc, char** argv) {
  if (argc < 1) {
    return 2;
  }
  setvbuf(stdout, nullptr, _IOLBF, 0);
  std::array<Worker, 4> workers = {{{"rival one", 1, burnForLong},
                                    {"rival-2", 1, burnForLong},
                                    {"pieces", 2, burnInPieces},
                                    {"disk.reader", 3, readDisk, argv[0]}}};
  for (Worker& worker : workers) {
    sem_init(&worker.ready, 0, 0);
    sem_init(&worker.start, 0, 0);
    sem_init(&worker.done, 0, 0);
    if (pthread_create(&worker.thread, nullptr, runWorker, &worker) != 0) {
      fail("pthread_create");
    }
    sem_wait(&worker.ready);
    awaitSleep(worker.tid);
    printSums("before", worker);
  }
  printf("ready\n");
  awaitLine();
  for (Worker& worker : workers) {
    sem_post(&worker.start);
  }
  for (Worker& worker : workers) {
    sem_wait(&worker.done);
    awaitSleep(worker.tid);
    printSums("after", worker);
  }
  printf("done\n");
  awaitLine();
  return 0;
}

// events PER_SECOND: so many events of run time, from a thread each on all CPUs but the last, until
// the input has a line or ends.
int eventsCommand(int argc, char** argv) {
  if (argc < 1) {
    return 2;
  }
  const int cpus = static_cast<int>(sysconf(_SC_NPROCESSORS_CONF)) - 1;
  static std::vector<EventSource> sources;
  for (int cpu = 0; cpu < cpus; ++cpu) {
    sources.push_back({"events-" + std::to_string(cpu), cpu, atoi(argv[0]) / cpus});
  }
  for (EventSource& source : sources) {
    pthread_t thread{};
    if (pthread_create(&thread, nullptr, makeEvents, &source) != 0) {
      fail("pthread_create");
    }
  }
  puts("ready");
  fflush(stdout);
  awaitLine();
  return 0;
}

}  // namespace load
