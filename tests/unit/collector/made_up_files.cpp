#include "tests/unit/collector/made_up_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <string_view>

#include "tests/unit/support/fixture.h"

namespace tarnwick {

namespace {

bool isOfASource(const std::string& path) {
  constexpr std::array<std::string_view, 4> kFiles = {"/proc/vmstat", "/proc/buddyinfo",
                                                      "/proc/pagetypeinfo", "/proc/net/dev"};
  return std::find(kFiles.begin(), kFiles.end(), path) != kFiles.end() ||
         path.starts_with("/sys/block/") || path.starts_with("/sys/class/");
}

int openText(const std::string& text) {
  const int fd = memfd_create("made up", MFD_CLOEXEC);
  EXPECT_EQ(pwrite(fd, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  return fd;
}

int openFile(const char* path, int flags, mode_t mode) {
  MadeUpFiles& files = madeUpFiles();
  if ((flags & O_ACCMODE) == O_RDONLY) {
    files.opened.emplace_back(path);
  }
  if (files.unreadable.contains(path)) {
    return openat(AT_FDCWD, "/", O_RDONLY | O_CLOEXEC);  // reading a directory fails
  }
  if (const auto text = files.texts.find(path); text != files.texts.end()) {
    return openText(text->second);
  }
  if (isOfASource(path)) {
    errno = ENOENT;
    return -1;
  }
  return openat(AT_FDCWD, path, flags | O_CLOEXEC, mode);
}

}  // namespace

MadeUpFiles& madeUpFiles() {
  // Not destroyed: what measures coverage opens files at the very end.
  static MadeUpFiles& instance = *new MadeUpFiles;
  return instance;
}

std::map<std::string, std::string> filesOfFixture(const std::string& folder) {
  std::map<std::string, std::string> files;
  const std::string root = std::string(TARNWICK_FIXTURES "/") + folder;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    const std::string path = entry.path().string().substr(root.size());
    if (entry.is_regular_file() && isOfASource(path)) {
      files[path] = readFixture(folder + path);
    }
  }
  return files;
}

}  // namespace tarnwick

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return tarnwick::openFile(path, flags, mode);
}
