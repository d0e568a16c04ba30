#include "trace/inode_map.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <memory>
#include <string_view>

#include "collector/stats_collector.h"

namespace tarnwick {

namespace {

constexpr const char* kCachePath = "/data/inode.txt";
// Renamed when it is whole: a later run trusts whatever has the cache's name.
constexpr const char* kUnfinishedPath = "/data/inode.txt.new";

// A walk of minutes shows that it is alive, to a person at a terminal and to nobody else.
class Progress {
 public:
  ~Progress() {
    if (shown_) {
      fputs("\n", stderr);
    }
  }

  void count() {
    ++files_;
    if (!terminal_ || files_ % 1024 != 0 || std::chrono::steady_clock::now() < next_) {
      return;
    }
    fprintf(stderr, "\rReading the file system: %lu files", files_);
    shown_ = true;
    next_ = std::chrono::steady_clock::now() + std::chrono::seconds(1);
  }

 private:
  bool terminal_ = isatty(STDERR_FILENO) == 1;
  bool shown_ = false;
  unsigned long files_ = 0;
  std::chrono::steady_clock::time_point next_ =
      std::chrono::steady_clock::now() + std::chrono::seconds(1);
};

class Walk {
 public:
  explicit Walk(FILE* out) : out_(out) {}

  // Each directory is opened once, relative to the one above it.
  void directory(int parentFd, const char* name, std::string& path) {
    const int fd = openat(parentFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
      return;
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(fdopendir(fd), closedir);
    if (entries == nullptr) {
      close(fd);
      return;
    }
    const size_t length = path.size();
    while (const dirent* entry = readdir(entries.get())) {
      path.append(1, '/').append(entry->d_name);
      // A path that does not fit is left out: cut, it would name another file, or the directory
      // itself.
      if (path.size() <= kLongestPath) {
        take(fd, *entry, path);
      }
      path.resize(length);
    }
  }

  // `path` has two leading slashes.
  void file(int directoryFd, const char* name, std::string_view path) {
    path.remove_prefix(1);
    if (path.starts_with("/proc/") || path.starts_with("/sys/")) {
      return;
    }
    struct stat status {};
    if (fstatat(directoryFd, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
      return;
    }
    const char* const shown = path == kUnfinishedPath ? kCachePath : path.data();
    fprintf(out_, "%d:%d_%lu %s\n", static_cast<int>(major(status.st_dev)),
            static_cast<int>(minor(status.st_dev)), status.st_ino, shown);
    progress_.count();
  }

 private:
  static constexpr size_t kLongestPath = 1022;

  void take(int directoryFd, const dirent& entry, std::string& path) {
    const std::string_view name = entry.d_name;
    if (entry.d_type == DT_REG) {
      file(directoryFd, entry.d_name, path);
    } else if (entry.d_type == DT_DIR && name != "." && name != "..") {
      directory(directoryFd, entry.d_name, path);
    }
  }

  FILE* out_;
  Progress progress_;
};

// Leaves nothing behind when the cache cannot be written to the end.
void buildCache(StatsCollector& collector) {
  unlink(kUnfinishedPath);
  const int fd = open(kUnfinishedPath, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (fd < 0) {
    return;
  }
  FILE* const out = fdopen(fd, "w");
  if (out == nullptr) {
    close(fd);
    return;
  }
  walkDirectory(collector, "/", 0, out);
  // On the disk before it has its name: a cache that a crash cut short would be trusted for ever.
  const bool written = fflush(out) == 0 && ferror(out) == 0 && fsync(fileno(out)) == 0;
  if (fclose(out) == 0 && written && rename(kUnfinishedPath, kCachePath) == 0) {
    return;
  }
  unlink(kUnfinishedPath);
}

}  // namespace

void walkDirectory(StatsCollector& /*collector*/, const char* path, int /*depth*/, FILE* out) {
  std::string walked = path;
  Walk(out).directory(AT_FDCWD, path, walked);
}

void writeInodeEntry(StatsCollector& /*collector*/, const char* path, FILE* out) {
  Walk(out).file(AT_FDCWD, path, path);
}

void loadInodeMap(StatsCollector& collector) {
  struct stat unused {};
  if (stat(kCachePath, &unused) != 0) {
    buildCache(collector);
  }
  const int fd = open(kCachePath, O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return;
  }
  std::string text;
  if (fstat(fd, &unused) == 0 && unused.st_size > 0) {
    text.resize(static_cast<size_t>(unused.st_size));
    size_t filled = 0;
    for (ssize_t got = 0; filled < text.size() &&
                          (got = read(fd, text.data() + filled, text.size() - filled)) > 0;) {
      filled += static_cast<size_t>(got);
    }
    text.resize(filled);
  }
  close(fd);
  collector.inodePaths.merge(text);
}

}  // namespace tarnwick
