#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "sysstat/report_sink.h"

namespace tarnwick {

// Keeps what is printed into it, each call by itself and whole however long it is.
class StringSink final : public ReportSink {
 public:
  int output(const char* format, ...) override __attribute__((format(printf, 2, 3))) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string record(static_cast<size_t>(length), '\0');
    vsnprintf(record.data(), record.size() + 1, format, again);
    va_end(again);
    records_.push_back(record);
    return length;
  }

  const std::vector<std::string>& records() const { return records_; }

  // All records, one behind the other.
  std::string text() const {
    std::string all;
    for (const std::string& record : records_) {
      all += record;
    }
    return all;
  }

 private:
  std::vector<std::string> records_;
};

}  // namespace tarnwick
