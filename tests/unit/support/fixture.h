#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace tarnwick {

// Every fixture folder with the files of one moment.
inline const std::vector<std::string>& fixtureMoments() {
  static const std::vector<std::string> moments = {"linux-5.10-arm64/t0", "linux-5.10-arm64/t1",
                                                   "linux-6.1-arm64/t0",  "linux-6.1-arm64/t1",
                                                   "linux-6.12-arm64/t0", "linux-6.12-arm64/t1"};
  return moments;
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

// The texts of one file of every process at every moment: readProcessFixtures("schedstat").
inline std::vector<std::string> readProcessFixtures(const std::string& file) {
  std::vector<std::string> paths;
  for (const std::string& moment : fixtureMoments()) {
    const std::string proc = moment + "/proc";
    for (const auto& entry :
         std::filesystem::directory_iterator(std::string(TARNWICK_FIXTURES "/") + proc)) {
      const std::string name = entry.path().filename();
      if (std::isdigit(static_cast<unsigned char>(name[0])) != 0) {
        paths.push_back(proc + "/" + name + "/" + file);
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
