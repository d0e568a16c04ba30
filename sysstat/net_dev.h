#pragma once

#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "sysstat/report_sink.h"

namespace tarnwick {

// What a network interface has carried since it came up. All are counters; the kilobytes are cut
// from the bytes when the record is made, so a difference is that of two truncated values. A record
// is never changed after it is stored in a map. It lives in strong pointers only, see
// ProcessRecord.
struct NetDevRecord : android::RefBase {
  // NOLINTBEGIN(readability-identifier-naming): the words of the report
  int64_t rx_kb = 0;
  int64_t rx_packets = 0;
  int64_t tx_kb = 0;
  int64_t tx_packets = 0;
  // NOLINTEND(readability-identifier-naming)
};

// Interface name to its record. The name keeps the blanks with which /proc/net/dev aligns it to six
// columns ("    lo"); they take part in the order and are printed.
using NetDevMap = std::map<std::string, android::sp<NetDevRecord>, std::less<>>;

// Stores a new record for each line of /proc/net/dev behind the two of its head, over what was
// there. Interfaces that never carried a packet are left out. Each line is read as by
//
//   "%[^:]:%[^0-9]%ld%[^0-9]%ld ..." with ten numbers, each behind a run of other characters
//
// of which the 1st, 2nd, 9th and 10th count. Those that a line does not have are those of the line
// before it (0 for the first): so it is for a line whose first number follows its colon without a
// blank. A name is cut at 39 characters. Pure; see proc(5).
void parseNetDev(std::string_view text, NetDevMap& map);

// Prints a line for each interface of `after`, by name, whose received and sent packets since
// `before` add up to 1 at least; a counter that went backwards gives a negative figure. One that
// `before` does not know has carried nothing. Pure but for the sink.
void formatNetDev(const NetDevMap& before, const NetDevMap& after, ReportSink& sink);

}  // namespace tarnwick
