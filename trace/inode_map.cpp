#include "trace/inode_map.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "collector/stats_collector.h"
#include "trace/memory_reserve.h"
#include "trace/mount_table.h"
#include "trace/unfinished_file.h"

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

// Reads to the end of the file. Nothing if a read fails.
std::optional<std::string> readAll(int fd) {
  std::string text;
  std::array<char, 65536> block;
  while (const ssize_t filled = read(fd, block.data(), block.size())) {
    if (filled < 0) {
      return std::nullopt;
    }
    text.append(block.data(), static_cast<size_t>(filled));
  }
  return text;
}

// Nothing if the file is missing or malformed, or if mounts keep changing while it is read: one
// read gives at most a page of it.
std::optional<MountTable> readMountTable() {
  constexpr int kMaxTries = 10;
  for (int tries = 0; tries < kMaxTries; ++tries) {
    const int fd = open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
      return std::nullopt;
    }
    const std::optional<std::string> text = readAll(fd);
    // Reports POLLPRI after a change since the open, see proc_pid_mounts(5).
    pollfd changes{fd, POLLPRI, 0};
    const bool same = poll(&changes, 1, 0) == 0;
    close(fd);
    if (!text) {
      return std::nullopt;
    }
    if (same) {
      return MountTable::parse(*text);
    }
  }
  return std::nullopt;
}

class Walk {
 public:
  explicit Walk(FILE* out) : out_(out) {}

  // Whether nothing was skipped by an error that need not be there the next time.
  bool isComplete() const { return complete_; }

  // Each directory is opened once, relative to the one above it.
  void directory(int parentFd, const char* name, std::string& path) {
    const int fd = openat(parentFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
      note(errno);
      return;
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(fdopendir(fd), closedir);
    if (entries == nullptr) {
      note(errno);
      close(fd);
      return;
    }
    const Directory opened{fd, deviceOfEntries(fd, std::string_view(path).substr(1))};
    const size_t length = path.size();
    // A disk that is full stays full, and the rest of a walk can take minutes.
    while (!failed_) {
      errno = 0;
      const dirent* const entry = readdir(entries.get());
      if (entry == nullptr) {
        note(errno);
        return;
      }
      path.append(1, '/').append(entry->d_name);
      // Leave out a path that does not fit: truncated, it would name another file, or the directory
      // itself. A newline would end the line of the cache.
      if (path.size() <= kLongestPath && path.find('\n', length) == std::string::npos) {
        take(opened, *entry, path);
      }
      path.resize(length);
    }
  }

 private:
  static constexpr size_t kLongestPath = 1022;

  struct Directory {
    int fd;
    // Set if the entries of regular files have the inode numbers that fstatat(2) gives.
    std::optional<dev_t> deviceOfEntries;
  };

  // The path begins with one slash; that of the root is empty.
  std::optional<dev_t> deviceOfEntries(int fd, std::string_view path) {
    struct stat status {};
    struct statfs fileSystem {};
    if (!mounts_ || mounts_->hasMountIn(path) || fstat(fd, &status) != 0 ||
        fstatfs(fd, &fileSystem) != 0 ||
        !mounts_->entriesCarryInodes(major(status.st_dev), minor(status.st_dev),
                                     static_cast<uint32_t>(fileSystem.f_type))) {
      return std::nullopt;
    }
    return status.st_dev;
  }

  // Notes errors of a machine that is short of something, or of a disk. All others are a reason to
  // skip a file or a directory for good.
  void note(int error) {
    complete_ = complete_ && error != EMFILE && error != ENFILE && error != ENOMEM && error != EIO;
  }

  void take(const Directory& directory, const dirent& entry, std::string& path) {
    const std::string_view name = entry.d_name;
    const std::string_view shown = std::string_view(path).substr(1);
    if (entry.d_type == DT_REG) {
      file(directory, entry, shown);
    } else if (entry.d_type == DT_DIR && name != "." && name != ".." && shown != "/proc" &&
               shown != "/sys") {
      this->directory(directory.fd, entry.d_name, path);
    }
  }

  // Writes the line of one file, unless it has vanished.
  void file(const Directory& directory, const dirent& entry, std::string_view path) {
    struct stat status {};
    if (directory.deviceOfEntries) {
      status.st_dev = *directory.deviceOfEntries;
      status.st_ino = entry.d_ino;
    } else if (fstatat(directory.fd, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
      note(errno);
      return;
    }
    writeInodeEntry(status, path == kUnfinishedPath ? kCachePath : path);
    progress_.count();
  }

  // "%d:%d_%lu %s\n"
  void writeInodeEntry(const struct stat& status, std::string_view path) {
    line_.clear();
    append(major(status.st_dev), ':');
    append(minor(status.st_dev), '_');
    append(status.st_ino, ' ');
    line_.append(path).push_back('\n');
    failed_ = fwrite(line_.data(), 1, line_.size(), out_) != line_.size();
  }

  void append(uint64_t number, char suffix) {
    std::array<char, 20> digits;
    const auto [end, error] = std::to_chars(digits.begin(), digits.end(), number);
    line_.append(digits.begin(), end).push_back(suffix);
  }

  FILE* out_;
  bool failed_ = false;
  bool complete_ = true;
  std::optional<MountTable> mounts_ = readMountTable();
  std::string line_;
  Progress progress_;
};

enum class Made { kWhole, kIncomplete, kFailed };

// Whole: the file has all of the walk, on the disk. A cache that a crash cut short would be trusted
// for ever.
Made writeCache(int fd) {
  FILE* const out = fdopen(fd, "w");
  if (out == nullptr) {
    close(fd);
    return Made::kFailed;
  }
  std::array<char, 65536> buffer;
  setvbuf(out, buffer.data(), _IOFBF, buffer.size());
  const bool complete = walkDirectory("/", out);
  const bool written = fflush(out) == 0 && ferror(out) == 0 && fsync(fileno(out)) == 0;
  // Another run that makes the cache has put a file of its own in the place of this one.
  const bool named = hasName(fileno(out));
  if (fclose(out) != 0 || !written || !named) {
    return Made::kFailed;
  }
  return complete ? Made::kWhole : Made::kIncomplete;
}

// Skips everything but a regular file: a FIFO would block, and /dev/zero never ends. A link may
// lead to any of them.
void mergeCache(const char* path, InodePaths& paths) {
  const int fd = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) {
    return;
  }
  struct stat status {};
  if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
    paths.merge([fd](char* buffer, size_t size) {
      // Files without a path are reported as unknown; without memory there would be no report.
      const ssize_t got = memoryRanOut() ? 0 : read(fd, buffer, size);
      return static_cast<size_t>(std::max<ssize_t>(got, 0));
    });
  }
  close(fd);
}

// Leaves nothing behind when the cache cannot be written to the end. What an incomplete walk has
// found goes into the paths alone. Whether there is no need to walk again in this run.
bool buildCache(InodePaths& paths) {
  const int fd = createUnfinishedFile(kUnfinishedPath);
  const Made made = fd >= 0 ? writeCache(fd) : Made::kFailed;
  if (made == Made::kIncomplete) {
    mergeCache(kUnfinishedPath, paths);
  }
  if (made == Made::kWhole) {
    renameUnfinishedFile(kCachePath);
  } else {
    removeUnfinishedFile();
  }
  return made == Made::kIncomplete;
}

}  // namespace

bool walkDirectory(const char* path, FILE* out) {
  std::string walked = path;
  Walk walk(out);
  walk.directory(AT_FDCWD, path, walked);
  return walk.isComplete();
}

void loadInodeMap(StatsCollector& collector) {
  static bool walkedIncompletely = false;
  struct stat unused {};
  if (stat(kCachePath, &unused) != 0 && !walkedIncompletely) {
    walkedIncompletely = buildCache(collector.inodePaths);
  }
  mergeCache(kCachePath, collector.inodePaths);
}

}  // namespace tarnwick
