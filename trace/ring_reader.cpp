#include "trace/ring_reader.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

namespace tarnwick {

namespace {

// The number of a folder "cpu12"; -1 for any other name.
int cpuNumber(std::string_view name) {
  constexpr std::string_view kPrefix = "cpu";
  int number = -1;
  if (name.starts_with(kPrefix)) {
    const char* const end = name.data() + name.size();
    const auto [at, error] = std::from_chars(name.data() + kPrefix.size(), end, number);
    if (error != std::errc{} || at != end || number < 0) {
      return -1;
    }
  }
  return number;
}

std::vector<int> cpusOf(const std::string& folder) {
  std::vector<int> cpus;
  DIR* const entries = opendir(folder.c_str());
  if (entries == nullptr) {
    return cpus;
  }
  while (const dirent* const entry = readdir(entries)) {
    const int cpu = cpuNumber(entry->d_name);
    if (cpu >= 0) {
      cpus.push_back(cpu);
    }
  }
  closedir(entries);
  std::sort(cpus.begin(), cpus.end());
  return cpus;
}

}  // namespace

std::unique_ptr<RingReader> RingReader::open(const std::string& tracing,
                                             const RingPageLayout& layout) {
  std::unique_ptr<RingReader> reader(new RingReader);
  const std::string folder = tracing + "/per_cpu";
  reader->cpus_ = cpusOf(folder);
  for (const int cpu : reader->cpus_) {
    const std::string path = folder + "/cpu" + std::to_string(cpu) + "/trace_pipe_raw";
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
      return nullptr;
    }
    reader->fds_.push_back(fd);
  }
  if (reader->fds_.empty()) {
    return nullptr;
  }
  reader->page_.resize(layout.pageSize());
  return reader;
}

RingReader::~RingReader() {
  for (const int fd : fds_) {
    close(fd);
  }
}

bool RingReader::run(Sink& sink, DrainRequest& request, DrainPace& pace) {
  DrainPace::Rest rest = DrainPace::Rest::zero();
  for (;;) {
    const WorkerWait wait = workerWait({request.fd()}, rest);
    const bool stop = wait == WorkerWait::kStop;
    const bool asked = wait != WorkerWait::kTimeout && request.take();
    pace.startDrain();
    const Pass pass = stop || asked ? drain(sink) : readAll(sink);
    if (pass == Pass::kRefused) {
      if (asked) {
        request.renew();
      }
      return false;
    }
    if (stop || asked) {
      sink.endDrain();
    }
    if (asked) {
      request.answer(pass == Pass::kAll);
    }
    if (stop) {
      return true;
    }
    rest = pass == Pass::kSome ? DrainPace::Rest::zero() : pace.rest();
  }
}

RingReader::Pass RingReader::readAll(Sink& sink) {
  Pass all = Pass::kAll;
  for (size_t cpu = 0; cpu < fds_.size(); ++cpu) {
    const Pass one = readCpu(cpu, sink);
    if (one == Pass::kRefused) {
      return one;
    }
    if (one == Pass::kSome) {
      sink.leaveUnread(cpu);
      all = one;
    }
  }
  sink.endPass();
  return all;
}

RingReader::Pass RingReader::readCpu(size_t cpu, Sink& sink) {
  constexpr int kMaxPages = 64;
  for (int pages = 0; pages < kMaxPages;) {
    const ssize_t got = read(fds_[cpu], page_.data(), page_.size());
    if (got < 0 && errno == EINTR) {
      continue;
    }
    // A CPU that is offline has nothing either, as has one that was never there.
    if (got <= 0) {
      return Pass::kAll;
    }
    if (!sink.takePage(cpu, {page_.data(), static_cast<size_t>(got)})) {
      return Pass::kRefused;
    }
    ++pages;
  }
  return Pass::kSome;
}

RingReader::Pass RingReader::drain(Sink& sink) {
  constexpr std::chrono::milliseconds kPatience{2000};
  const Clock::time_point end = Clock::now() + kPatience;
  Pass pass = Pass::kSome;
  while (pass == Pass::kSome && Clock::now() < end) {
    pass = readAll(sink);
  }
  return pass;
}

}  // namespace tarnwick
