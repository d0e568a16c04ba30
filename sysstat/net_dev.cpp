#include "sysstat/net_dev.h"

#include <array>

#include "sysstat/counter_math.h"
#include "sysstat/lines.h"
#include "sysstat/scan.h"

namespace tarnwick {

namespace {

constexpr int kHeadLines = 2;
constexpr size_t kLongestName = 39;

// The first ten numbers of a line: bytes, packets, errs, drop, fifo, frame, compressed and
// multicast received, then bytes and packets sent.
struct NetDevLine {
  std::string_view name;
  std::array<int64_t, 10> numbers{};

  int64_t rxBytes() const { return numbers[0]; }
  int64_t rxPackets() const { return numbers[1]; }
  int64_t txBytes() const { return numbers[8]; }
  int64_t txPackets() const { return numbers[9]; }
};

void scanLine(std::string_view text, NetDevLine& line) {
  Scanner scan(text);
  line.name = {};
  if (!scan.until(':', line.name) || !scan.literal(':')) {
    return;
  }
  for (int64_t& number : line.numbers) {
    if (!scan.skipNonDigits() || !scan.number(number)) {
      return;
    }
  }
}

}  // namespace

void parseNetDev(std::string_view text, NetDevMap& map) {
  int lines = 0;
  NetDevLine line;
  forEachLine(text, [&](std::string_view lineText) {
    if (++lines <= kHeadLines) {
      return;
    }
    scanLine(lineText, line);
    if (add(line.rxPackets(), line.txPackets()) < 1) {
      return;
    }
    android::sp<NetDevRecord> record = new NetDevRecord;
    record->rx_kb = line.rxBytes() / 1024;
    record->rx_packets = line.rxPackets();
    record->tx_kb = line.txBytes() / 1024;
    record->tx_packets = line.txPackets();
    map.insert_or_assign(std::string(line.name.substr(0, kLongestName)), record);
  });
}

void formatNetDev(const NetDevMap& before, const NetDevMap& after, ReportSink& sink) {
  for (const auto& [name, now] : after) {
    const auto known = before.find(name);
    if (known == before.end()) {
      continue;
    }
    const NetDevRecord& then = *known->second;
    const int64_t rxPackets = difference(now->rx_packets, then.rx_packets);
    const int64_t txPackets = difference(now->tx_packets, then.tx_packets);
    if (add(rxPackets, txPackets) >= 1) {
      sink.output("%s: rx_kb=%-6ld rx_packets=%-6ld tx_kb=%-6ld tx_packets=%-6ld\n", name.c_str(),
                  difference(now->rx_kb, then.rx_kb), rxPackets, difference(now->tx_kb, then.tx_kb),
                  txPackets);
    }
  }
}

}  // namespace tarnwick
