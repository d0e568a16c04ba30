#include "tests/unit/collector/captured_output.h"

#include <android/log.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

namespace tarnwick {

namespace {

std::vector<LogRecord> gLog;

}  // namespace

const std::vector<LogRecord>& logRecords() {
  return gLog;
}

void clearLog() {
  gLog.clear();
}

std::string logText() {
  std::string text;
  for (const LogRecord& record : gLog) {
    text += record.text;
  }
  return text;
}

std::string captureStdout(const std::function<void()>& action) {
  FILE* const file = tmpfile();
  if (file == nullptr) {
    ADD_FAILURE() << "no temporary file";
    return {};
  }
  fflush(stdout);
  const int saved = dup(STDOUT_FILENO);
  dup2(fileno(file), STDOUT_FILENO);
  action();
  fflush(stdout);
  dup2(saved, STDOUT_FILENO);
  close(saved);

  std::string text;
  rewind(file);
  for (int c = 0; (c = fgetc(file)) != EOF;) {
    text += static_cast<char>(c);
  }
  fclose(file);
  return text;
}

}  // namespace tarnwick

extern "C" int __android_log_write(int priority, const char* tag, const char* text) {
  tarnwick::gLog.push_back({priority, tag, text});
  return 1;
}
