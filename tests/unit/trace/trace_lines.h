#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "tests/unit/support/fixture.h"

namespace tarnwick {

// The lines of a trace_pipe fixture of one kernel, with their newlines:
// readTraceLines("linux-6.1-arm64", "sched.txt").
inline std::vector<std::string> readTraceLines(const std::string& kernel, const std::string& file) {
  std::vector<std::string> lines;
  std::istringstream text(readFixture(kernel + "/trace/" + file));
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line + '\n');
  }
  return lines;
}

// The same of every kernel that has the file.
inline std::vector<std::string> readTraceLines(const std::string& file) {
  std::vector<std::string> lines;
  for (const char* kernel : kFixtureKernels) {
    if (hasFixture(std::string(kernel) + "/trace/" + file)) {
      const std::vector<std::string> more = readTraceLines(kernel, file);
      lines.insert(lines.end(), more.begin(), more.end());
    }
  }
  return lines;
}

}  // namespace tarnwick
