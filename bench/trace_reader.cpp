// Floors for reading the trace of a folder of the kernel.
//
//   trace_reader ring FOLDER         parses of the ring buffers' pages as little as possible
//   trace_reader kbuffer FOLDER      the same by libtraceevent
//   trace_reader lines FOLDER NAME   reads trace_pipe by fgets(3) and looks up each thread at once
//
// They read until SIGTERM. The last one then prints how many threads of this name it could look
// up.

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "trace/ring_page.h"

extern "C" {
#include <traceevent/kbuffer.h>
}

namespace tarnwick::bench {

namespace {

volatile sig_atomic_t gStop = 0;
volatile uint64_t gSum = 0;

void onTerm(int /*signo*/) {
  gStop = 1;
}

std::string readWhole(const std::string& path) {
  std::string text(4096, '\0');
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t got = fd < 0 ? 0 : read(fd, text.data(), text.size());
  close(fd);
  text.resize(got > 0 ? static_cast<size_t>(got) : 0);
  return text;
}

// A sum that depends on each event of a page.
class OwnPage {
 public:
  explicit OwnPage(const RingPageLayout& layout) : layout_(layout) {}

  uint64_t sum(const char* bytes, size_t size) const {
    uint64_t sum = 0;
    if (const auto page = RingPage::open({bytes, size}, layout_)) {
      page->forEach([&sum](uint64_t time, std::string_view record) {
        sum += time + loadAs<uint32_t>(record.data());
      });
    }
    return sum;
  }

 private:
  RingPageLayout layout_;
};

class LibraryPage {
 public:
  explicit LibraryPage(const RingPageLayout& layout)
      : buffer_(
            kbuffer_alloc(layout.commitSize == sizeof(uint64_t) ? KBUFFER_LSIZE_8 : KBUFFER_LSIZE_4,
                          KBUFFER_ENDIAN_LITTLE),
            kbuffer_free) {}

  uint64_t sum(char* bytes, size_t /*size*/) const {
    uint64_t sum = 0;
    kbuffer_load_subbuffer(buffer_.get(), bytes);
    unsigned long long time = 0;
    for (const void* record = kbuffer_read_event(buffer_.get(), &time); record != nullptr;
         record = kbuffer_next_event(buffer_.get(), &time)) {
      sum += time + loadAs<uint32_t>(static_cast<const char*>(record));
    }
    return sum;
  }

 private:
  std::unique_ptr<kbuffer, void (*)(kbuffer*)> buffer_;
};

template <typename Page>
int readRing(const std::string& folder) {
  const auto layout = parseRingPageLayout(readWhole(folder + "/events/header_page"));
  std::vector<int> fds;
  for (const auto& cpu : std::filesystem::directory_iterator(folder + "/per_cpu")) {
    const std::string path = cpu.path() / "trace_pipe_raw";
    fds.push_back(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  }
  if (!layout) {
    fputs("trace_reader: no layout\n", stderr);
    return 1;
  }
  const Page page(*layout);
  std::vector<char> bytes(layout->pageSize());
  while (gStop == 0) {
    uint64_t sum = 0;
    for (const int fd : fds) {
      for (ssize_t got; gStop == 0 && (got = read(fd, bytes.data(), bytes.size())) > 0;) {
        sum += page.sum(bytes.data(), static_cast<size_t>(got));
      }
    }
    gSum = gSum + sum;
    std::this_thread::sleep_for(std::chrono::milliseconds(15));
  }
  return 0;
}

bool isThere(int tid) {
  const std::string path = "/proc/" + std::to_string(tid) + "/status";
  const std::unique_ptr<FILE, int (*)(FILE*)> status(fopen(path.c_str(), "re"), fclose);
  char line[80];
  while (status != nullptr && fgets(line, sizeof line, status.get()) != nullptr) {
    if (strncmp(line, "Tgid:", 5) == 0) {
      return true;
    }
  }
  return false;
}

int readLines(const std::string& folder, const std::string& name) {
  const std::string field = "comm=" + name + " ";
  FILE* const pipe = fopen((folder + "/trace_pipe").c_str(), "re");
  if (pipe == nullptr) {
    perror("trace_reader");
    return 1;
  }
  std::unordered_map<int, bool> named;
  size_t found = 0;
  char line[1024];
  while (gStop == 0 && fgets(line, sizeof line, pipe) != nullptr) {
    const char* const pid = strstr(line, " pid=");
    if (pid == nullptr) {
      continue;
    }
    const int tid = static_cast<int>(strtol(pid + strlen(" pid="), nullptr, 10));
    if (named.find(tid) == named.end()) {
      if (!isThere(tid)) {
        continue;
      }
      named[tid] = false;
    }
    if (!named[tid] && strstr(line, field.c_str()) != nullptr) {
      named[tid] = true;
      ++found;
    }
  }
  fclose(pipe);
  printf("%zu\n", found);
  return 0;
}

int run(int argc, char** argv) {
  struct sigaction action {};
  action.sa_handler = onTerm;
  sigaction(SIGTERM, &action, nullptr);
  const std::string mode = argc > 1 ? argv[1] : "";
  if (argc == 3 && mode == "ring") {
    return readRing<OwnPage>(argv[2]);
  }
  if (argc == 3 && mode == "kbuffer") {
    return readRing<LibraryPage>(argv[2]);
  }
  if (argc == 4 && mode == "lines") {
    return readLines(argv[2], argv[3]);
  }
  fputs("trace_reader ring FOLDER | kbuffer FOLDER | lines FOLDER NAME\n", stderr);
  return 1;
}

}  // namespace

}  // namespace tarnwick::bench

int main(int argc, char** argv) {
  return tarnwick::bench::run(argc, argv);
}
