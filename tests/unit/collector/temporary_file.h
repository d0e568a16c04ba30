#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace tarnwick {

// A file of its own with a text, gone with the object.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& text) : path_(testing::TempDir() + "tarnwick-XXXXXX") {
    const int fd = mkstemp(path_.data());
    if (fd == -1) {
      ADD_FAILURE() << "no temporary file " << path_;
      return;
    }
    EXPECT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(fd);
  }
  ~TemporaryFile() { unlink(path_.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const char* path() const { return path_.c_str(); }

  std::string text() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

 private:
  std::string path_;
};

}  // namespace tarnwick
