#pragma once

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <new>
#include <string>

#include "collector/stats_collector.h"
#include "tests/unit/collector/captured_output.h"
#include "tests/unit/collector/made_up_files.h"

namespace tarnwick {

// A collector before its first measurement, of a device with one disk, whose files a test makes up.
class MadeUpDevice : public testing::Test {
 private:
  using Memory = std::array<char, sizeof(StatsCollector)>;

  static Memory& filled(Memory& memory) {
    memory.fill('#');
    return memory;
  }

  alignas(StatsCollector) Memory memory_;

 protected:
  // The gaps between the fields hold no NUL bytes: a text that is printed past its buffer shows.
  MadeUpDevice() : collector_(*new (filled(memory_).data()) StatsCollector) {
    clearLog();
    madeUpFiles() = MadeUpFiles();
    hasPreviousSample = false;
    collector_.procCpu = false;
    collector_.blockDeviceNames = {"sda"};
  }
  ~MadeUpDevice() override {
    hasPreviousSample = false;
    std::destroy_at(&collector_);
  }

  // The file's text until it is set again.
  static void set(const std::string& path, const std::string& text) {
    madeUpFiles().texts[path] = text;
  }
  static void remove(const std::string& path) { madeUpFiles().texts.erase(path); }

  // Ends a measurement; what it printed.
  std::string endMeasurement() {
    clearLog();
    collector_.endSample();
    return logText();
  }

  // A measurement over which the files stay as they are; what it printed.
  std::string measure() {
    collector_.beginSample();
    return endMeasurement();
  }

  // The part of a report from one word up to another.
  static std::string section(const std::string& report, const char* from, const char* to) {
    const size_t start = report.find(from);
    const size_t end = report.find(to, start);
    return start == std::string::npos ? "no " + std::string(from)
                                      : report.substr(start, end - start);
  }

  StatsCollector& collector_;
};

}  // namespace tarnwick
