#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tarnwick {

// One record of the system log.
struct LogRecord {
  int priority;
  std::string tag;
  std::string text;
};

// What came to the system log since the last clearLog. This program of tests is its own log: it
// defines the operation that the collector would find in the platform's library.
const std::vector<LogRecord>& logRecords();
void clearLog();

// The texts of the records, one behind the other.
std::string logText();

// What `action` writes to standard output.
std::string captureStdout(const std::function<void()>& action);

}  // namespace tarnwick
