#include "proc/find_process.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string>

#include "proc/command_name.h"

namespace tarnwick {

namespace {

// As much of a command line as commandName can need: up to the first NUL byte or newline.
// Command lines have no length limit, hence the loop.
std::string readCommandHead(const std::string& path) {
  std::string head;
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return head;
  }
  std::array<char, 4096> chunk;
  ssize_t got = 0;
  while ((got = read(fd, chunk.data(), chunk.size())) > 0) {
    const std::string_view text(chunk.data(), static_cast<size_t>(got));
    head += text;
    if (text.find_first_of(std::string_view("\0\n", 2)) != std::string_view::npos) {
      break;
    }
  }
  close(fd);
  return head;
}

}  // namespace

int32_t findProcessByName(std::string_view name) {
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir("/proc"), closedir);
  if (directory == nullptr) {
    return -1;
  }
  while (const dirent* entry = readdir(directory.get())) {
    const auto id = static_cast<int32_t>(std::strtol(entry->d_name, nullptr, 10));
    if (id < 1) {
      continue;
    }
    const std::string head = readCommandHead(std::string("/proc/") + entry->d_name + "/cmdline");
    if (commandName(head) == name) {
      return id;
    }
  }
  return -1;
}

}  // namespace tarnwick
