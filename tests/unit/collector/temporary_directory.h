#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace tarnwick {

// An empty directory of its own, gone with the object and all that was put into it.
class TemporaryDirectory {
 public:
  TemporaryDirectory() : path_(testing::TempDir() + "tarnwick-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) {
      ADD_FAILURE() << "no temporary directory " << path_;
    }
  }
  ~TemporaryDirectory() { std::filesystem::remove_all(path_); }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

}  // namespace tarnwick
