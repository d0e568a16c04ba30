#include "bench/floors.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

namespace tarnwick::bench {

void readWhole(const char* path, std::vector<char>& buffer) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd >= 0) {
    [[maybe_unused]] const ssize_t got = read(fd, buffer.data(), buffer.size());
    close(fd);
  }
}

size_t walkNumbered(const char* directory, const std::vector<const char*>& files) {
  DIR* const entries = opendir(directory);
  if (entries == nullptr) {
    return 0;
  }
  std::vector<char> buffer(4096);
  std::string path = directory;
  path += '/';
  const size_t length = path.size();
  size_t count = 0;
  while (const dirent* entry = readdir(entries)) {
    if (entry->d_name[0] < '0' || entry->d_name[0] > '9') {
      continue;
    }
    for (const char* file : files) {
      path.resize(length);
      path.append(entry->d_name).append(1, '/').append(file);
      readWhole(path.c_str(), buffer);
    }
    ++count;
  }
  closedir(entries);
  return count;
}

}  // namespace tarnwick::bench
