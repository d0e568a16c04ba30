#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace tarnwick {

// The fixture folders of real kernels.
inline constexpr const char* kFixtureKernels[] = {"linux-5.10-arm64", "linux-6.1-arm64",
                                                  "linux-6.12-arm64"};

// Every fixture folder with the files of one moment.
inline const std::vector<std::string>& fixtureMoments() {
  static const std::vector<std::string> moments = [] {
    std::vector<std::string> folders;
    for (const char* kernel : kFixtureKernels) {
      folders.push_back(std::string(kernel) + "/t0");
      folders.push_back(std::string(kernel) + "/t1");
    }
    return folders;
  }();
  return moments;
}

inline bool hasFixture(const std::string& path) {
  return std::filesystem::exists(std::string(TARNWICK_FIXTURES "/") + path);
}

// The text of a fixture, by its path below tests/fixtures. A fixture that is not there fails the
// test.
inline std::string readFixture(const std::string& path) {
  std::ifstream file(std::string(TARNWICK_FIXTURES "/") + path, std::ios::binary);
  if (!file) {
    ADD_FAILURE() << "no fixture " << path;
  }
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The texts of one file at every moment: readFixtures("proc/stat").
inline std::vector<std::string> readFixtures(const std::string& path) {
  std::vector<std::string> texts;
  for (const std::string& moment : fixtureMoments()) {
    texts.push_back(readFixture(moment + "/" + path));
  }
  return texts;
}

// The texts of one file of all folders that stand beside each other and have it, at every moment:
// readFixtures("proc", "schedstat") are those of the processes.
inline std::vector<std::string> readFixtures(const std::string& folder, const std::string& file) {
  std::vector<std::string> paths;
  for (const std::string& moment : fixtureMoments()) {
    const std::filesystem::path place = std::string(TARNWICK_FIXTURES "/") + moment + "/" + folder;
    if (!is_directory(place)) {
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(place)) {
      if (exists(entry.path() / file)) {
        paths.push_back(moment + "/" + folder + "/" + entry.path().filename().string() + "/" +
                        file);
      }
    }
  }
  std::sort(paths.begin(), paths.end());  // directory order is nobody's promise
  std::vector<std::string> texts;
  for (const std::string& path : paths) {
    texts.push_back(readFixture(path));
  }
  return texts;
}

}  // namespace tarnwick
