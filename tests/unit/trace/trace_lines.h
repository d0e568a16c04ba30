#pragma once

#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/unit/support/fixture.h"
#include "tests/unit/support/odd_texts.h"

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

// The same of every kernel.
inline std::vector<std::string> readTraceLines(const std::string& file) {
  std::vector<std::string> lines;
  for (const char* kernel : {"linux-5.10-arm64", "linux-6.1-arm64", "linux-6.12-arm64"}) {
    const std::vector<std::string> more = readTraceLines(kernel, file);
    lines.insert(lines.end(), more.begin(), more.end());
  }
  return lines;
}

// An endless row of lines to try a parser on, the same in every run. Half of them are odd texts,
// half are put together from parts: one choice of each part in order, and now and then none, or
// another part's, so that many are lines with just one thing wrong.
class OddLines {
 public:
  using Parts = std::vector<std::vector<std::string>>;

  OddLines(std::vector<std::string> realLines, std::string_view alphabet, Parts parts)
      : texts_(std::move(realLines), alphabet), parts_(std::move(parts)) {}

  std::string next() { return below(2) == 0 ? texts_.next() : composed(); }

 private:
  size_t below(size_t end) { return static_cast<size_t>(random_()) % end; }

  const std::string& choiceOf(const std::vector<std::string>& part) {
    return part[below(part.size())];
  }

  std::string composed() {
    std::string line;
    for (const std::vector<std::string>& part : parts_) {
      switch (below(60)) {
        case 0:
          break;
        case 1:
          line += choiceOf(parts_[below(parts_.size())]);
          break;
        case 2:
          line += choiceOf(part) + choiceOf(part);
          break;
        default:
          line += choiceOf(part);
          break;
      }
    }
    return line;
  }

  OddTexts texts_;
  Parts parts_;
  std::mt19937_64 random_{20240301};
};

}  // namespace tarnwick
