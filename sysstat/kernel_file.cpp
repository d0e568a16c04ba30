#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "collector/end_process.h"
#include "collector/stats_collector.h"
#include "sysstat/kernel_text.h"

namespace tarnwick {

namespace {

// Takes the reason from errno. `folder` stands in front of the path.
void reportError(StatsCollector& collector, const char* doing, const char* path,
                 const char* folder = "") {
  const int error = errno;
  collector.output("Error %s %s%s: %s (%d)\n", doing, folder, path, strerror(error), error);
}

}  // namespace

int64_t StatsCollector::readKernelFile(const char* path, char* buffer, int32_t size) {
  const auto capacity = static_cast<size_t>(size);
  memset(buffer, 0, capacity);
  return readOnce(open(path, O_RDONLY | O_CLOEXEC), "", path, {buffer, capacity});
}

std::string_view StatsCollector::readKernelText(const char* path, std::span<char> buffer) {
  const int64_t got = readOnce(open(path, O_RDONLY | O_CLOEXEC), "", path, buffer);
  return kernelText(buffer.data(), static_cast<size_t>(std::max<int64_t>(got, 0)));
}

std::optional<std::string_view> StatsCollector::readKernelTextAt(const KernelFolder& folder,
                                                                 const char* name,
                                                                 std::span<char> buffer) {
  const int64_t got =
      readOnce(openat(folder.fd, name, O_RDONLY | O_CLOEXEC), folder.path.c_str(), name, buffer);
  if (got < 1) {
    return std::nullopt;
  }
  return kernelText(buffer.data(), static_cast<size_t>(got));
}

int64_t StatsCollector::readOnce(int fd, const char* folder, const char* name,
                                 std::span<char> buffer) {
  if (fd < 0) {
    return 0;
  }
  const ssize_t got = read(fd, buffer.data(), buffer.size());
  if (got == -1) {
    // The words are those of a failed open: whoever reads the log looks for one message, not two.
    reportError(*this, "opening", name, folder);
  }
  close(fd);
  return got;
}

void StatsCollector::writeKernelFile(const char* path, const char* text) {
  const int fd = open(path, O_WRONLY | O_CLOEXEC);
  if (fd == -1) {
    reportError(*this, "opening", path);
    endProcess(1);
  }
  const size_t length = strlen(text);
  if (write(fd, text, length) != static_cast<ssize_t>(length)) {
    reportError(*this, "writing to", path);
    close(fd);
    endProcess(1);
  }
  close(fd);
}

}  // namespace tarnwick
