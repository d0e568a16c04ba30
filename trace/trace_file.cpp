#include "trace/trace_file.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <deque>
#include <iterator>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "sysstat/control_characters.h"

namespace tarnwick {

namespace {

// Lines in a buffer of their own, made without printf: a trace has millions of them.
class LineBuffer {
 public:
  explicit LineBuffer(const TraceFileOutput& out) : out_(out), buffer_(kSize) {}
  LineBuffer(const LineBuffer&) = delete;
  LineBuffer& operator=(const LineBuffer&) = delete;

  // Makes room for a line: this many characters of text and a few numbers. False when the output
  // takes no more.
  bool begin(size_t textLength) {
    const size_t needed = textLength + kLongestNumbers;
    if (buffer_.size() - length_ < needed) {
      flush();
      if (buffer_.size() < needed) {
        buffer_.resize(needed);
      }
    }
    return !failed_;
  }

  void end() { lineEnds_.push_back(length_); }

  // Hands over what is left.
  WrittenRecords finish() {
    flush();
    return written_;
  }

  void text(std::string_view text) {
    memcpy(position(), text.data(), text.size());
    length_ += text.size();
  }

  template <typename Integer>
  void number(Integer value) {
    length_ = toLength(std::to_chars(position(), limit(), value).ptr);
  }

  // As printf's "%.6f".
  void sixDecimals(double value) {
    constexpr uint32_t kMillion = 1000000;
    constexpr double kExact = 1e12;  // halves have a double of their own up to here, and beyond
    const double scaled = value * kMillion;
    const double whole = std::floor(scaled);
    const double rest = scaled - whole;
    // The product is rounded, which can bring it to a half but not beyond; at a half it is unknown
    // where it came from.
    if (!std::signbit(value) && scaled < kExact && rest != 0.5) {
      const auto micros = static_cast<uint64_t>(whole) + (rest > 0.5 ? 1 : 0);
      number(micros / kMillion);
      decimals(static_cast<uint32_t>(micros % kMillion));
    } else {
      length_ += static_cast<size_t>(snprintf(position(), kLongestNumbers, "%.6f", value));
    }
  }

 private:
  static constexpr size_t kSize = size_t{64} * 1024;
  static constexpr size_t kLongestNumbers = 512;  // a time of 309 digits, four more numbers, labels

  char* position() { return buffer_.data() + length_; }
  char* limit() { return buffer_.data() + buffer_.size(); }
  size_t toLength(const char* at) const { return static_cast<size_t>(at - buffer_.data()); }

  // A point and the six digits of what is below a million.
  void decimals(uint32_t micros) {
    char* const point = position();
    *point = '.';
    for (char* digit = point + 6; digit > point; --digit) {
      *digit = static_cast<char>('0' + micros % 10);
      micros /= 10;
    }
    length_ += 7;
  }

  void flush() {
    if (failed_) {
      return;
    }
    const size_t taken = length_ == 0 ? 0 : out_({buffer_.data(), length_});
    failed_ = taken < length_;
    const auto whole = std::upper_bound(lineEnds_.begin(), lineEnds_.end(), taken);
    written_.records += static_cast<uint64_t>(whole - lineEnds_.begin());
    written_.bytes += whole == lineEnds_.begin() ? 0 : *std::prev(whole);
    lineEnds_.clear();
    length_ = 0;
  }

  const TraceFileOutput& out_;
  std::vector<char> buffer_;
  size_t length_ = 0;
  std::vector<size_t> lineEnds_;  // of the lines in the buffer
  bool failed_ = false;
  WrittenRecords written_;
};

// The names of a table as the file has them, by id.
class PrintedNames {
 public:
  explicit PrintedNames(const NameTable& names) {
    names_.reserve(names.size());
    for (NameTable::Id id = 0; id < names.size(); ++id) {
      const std::string& name = names.name(id);
      std::string printed = name;
      replaceControlCharacters(printed);
      if (printed == name) {
        names_.emplace_back(name);
      } else {
        names_.emplace_back(changed_.emplace_back(std::move(printed)));
      }
    }
  }

  std::string_view name(NameTable::Id id) const { return names_[id]; }

 private:
  std::vector<std::string_view> names_;
  std::deque<std::string> changed_;
};

// What the lines of a thread have in common.
struct Thread {
  int32_t tgid;
  std::string tgidName;
  std::string_view tidName;
};

class TraceFileWriter {
 public:
  TraceFileWriter(const TraceNames& names, const TraceFileOutput& out)
      : names_(names), eventNames_(names.names), kpiNames_(names.kpiNames), line_(out) {}

  void write(const TraceRecord& record) {
    if (record.kind == TraceRecordKind::kKpi) {
      write(record, kpi_, "nr", kpiNames_.name(record.name));
      return;
    }
    const Thread& thread = threadOf(record.tid);
    switch (record.kind) {
      case TraceRecordKind::kWait:
        write(record, thread, "nr", "wait");
        break;
      case TraceRecordKind::kIoWait:
        write(record, thread, "nr", "iowait");
        break;
      default:
        write(record, thread, "r",
              thread.tgid == record.tid ? thread.tgidName : eventNames_.name(record.name));
    }
  }

  WrittenRecords finish() { return line_.finish(); }

 private:
  const Thread& threadOf(int32_t tid) {
    const auto known = threads_.find(tid);
    if (known != threads_.end()) {
      return known->second;
    }
    const int32_t tgid = names_.tidToTgid[tid];
    Thread thread{tgid, names_.tgidNames[tgid], eventNames_.name(names_.tidNames[tid])};
    replaceControlCharacters(thread.tgidName);
    return threads_.emplace(tid, std::move(thread)).first->second;
  }

  void write(const TraceRecord& record, const Thread& thread, std::string_view tag,
             std::string_view name) {
    if (!line_.begin(thread.tgidName.size() + thread.tidName.size() + name.size())) {
      return;
    }
    line_.text("time=");
    line_.sixDecimals(record.time);
    line_.text(" tag=");
    line_.text(tag);
    line_.text(" duration=");
    line_.number(static_cast<uint32_t>(record.duration));
    line_.text(" cpu=");
    line_.number(record.cpu);
    line_.text(" tgid=");
    line_.number(thread.tgid);
    line_.text(" tgid_name=");
    line_.text(thread.tgidName);
    line_.text(" tid=");
    line_.number(record.tid);
    line_.text(" tid_name=");
    line_.text(thread.tidName);
    line_.text(" name=");
    line_.text(name);
    line_.text("\n");
    line_.end();
  }

  const TraceNames& names_;
  const PrintedNames eventNames_;
  const PrintedNames kpiNames_;
  const Thread kpi_{0, "kpi", "kpi"};
  LineBuffer line_;
  std::unordered_map<int32_t, Thread> threads_;
};

}  // namespace

WrittenRecords writeTraceRecords(const TraceRecordList& records, const TraceNames& names,
                                 const TraceFileOutput& out) {
  TraceFileWriter writer(names, out);
  records.forEach([&writer](const TraceRecord& record) { writer.write(record); });
  return writer.finish();
}

}  // namespace tarnwick
