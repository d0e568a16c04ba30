#include "trace/unfinished_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>

namespace tarnwick {

namespace {

// Lock-free, so that a signal handler may use it, on whichever thread it runs.
std::atomic<const char*> gUnfinished = nullptr;
std::atomic<bool> gAbandoned = false;

}  // namespace

int createUnfinishedFile(const char* path) {
  gUnfinished = path;
  unlink(path);
  const int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (fd < 0) {
    gUnfinished = nullptr;
  } else if (gAbandoned) {
    // Another thread may have looked for the file before it was there.
    unlink(path);
  }
  return fd;
}

bool hasName(int fd) {
  struct stat status {};
  return fstat(fd, &status) == 0 && status.st_nlink != 0;
}

bool renameUnfinishedFile(const char* target) {
  errno = ENOENT;
  // Null if an interrupt has removed it.
  const char* const path = gUnfinished;
  if (path == nullptr || rename(path, target) != 0) {
    removeUnfinishedFile();
    return false;
  }
  gUnfinished = nullptr;
  return true;
}

void removeUnfinishedFile() {
  const int savedErrno = errno;
  if (const char* const path = gUnfinished.exchange(nullptr)) {
    unlink(path);
  }
  errno = savedErrno;
}

void abandonUnfinishedFiles() {
  gAbandoned = true;
  removeUnfinishedFile();
}

}  // namespace tarnwick
