#pragma once

namespace tarnwick {

// Where report lines go. The functions that format a section know nothing but this, so that a test
// can hand them a string instead of a collector.
class ReportSink {
 public:
  // Takes one printf(3) format with its arguments, which the compiler checks against each other.
  // Nothing is added to the text: a line ends where its format says "\n". Each call is one record
  // where the sink has records. The result is that of the underlying call; no caller uses it.
  virtual int output(const char* format, ...) __attribute__((format(printf, 2, 3))) = 0;

 protected:
  ReportSink() = default;
  ReportSink(const ReportSink&) = default;
  ReportSink& operator=(const ReportSink&) = default;
  ~ReportSink() = default;
};

}  // namespace tarnwick
