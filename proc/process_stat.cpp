#include "proc/process_stat.h"

#include <algorithm>
#include <cstring>

#include "sysstat/counter_math.h"
#include "sysstat/ordinary_text.h"
#include "sysstat/scan.h"

namespace tarnwick {

namespace {

void scanProcessStat(std::string_view text, ProcessRecord& record) {
  Scanner scan(text);
  if (!scan.integer(record.id)) {
    return;
  }
  scan.space();
  std::string_view name;
  if (!scan.literal('(') || !scan.until(')', name)) {
    return;
  }
  std::copy_n(name.begin(), std::min(name.size(), record.name.size() - 1), record.name.begin());
  if (!scan.literal(')')) {
    return;
  }
  scan.space();
  char state = 0;
  // Field numbers stand beside what is skipped: 5 pgrp to 9 flags, 11 cminflt, 13 cmajflt,
  // 16 cutime to 19 nice, 21 itrealvalue to 41 policy.
  static_cast<void>(scan.character(state) && scan.integer(record.ppid) &&  //
                    scan.skipNumbers(5) && scan.number(record.minFaults) && scan.skipNumbers(1) &&
                    scan.number(record.majFaults) && scan.skipNumbers(1) &&
                    scan.number(record.utime) && scan.number(record.stime) &&  //
                    scan.skipNumbers(4) && scan.number(record.numThreads) && scan.skipNumbers(21) &&
                    scan.number(record.blkioTicks));
}

// A text as kernels print it. False for all others, some fields of the record may then be changed.
bool scanOrdinaryStat(std::string_view text, ProcessRecord& record) {
  if (!OrdinaryText::canRead(text)) {
    return false;
  }
  const char* const end = text.data() + text.size();
  OrdinaryText scan(text.data(), end);
  int32_t id = 0;
  if (!scan.integer(id) || !scan.literal(" (")) {
    return false;
  }
  const char* const name = scan.at();
  const char* const close =
      static_cast<const char*>(memchr(name, ')', static_cast<size_t>(end - name)));
  if (close == nullptr || close == name) {
    return false;
  }
  scan = OrdinaryText(close, end);
  int32_t ppid = 0;
  if (!scan.literal(") ") || !scan.skipCharacter() || !scan.literal(" ") || !scan.integer(ppid) ||
      !scan.skipFields(5) || !scan.field(record.minFaults) || !scan.skipFields(1) ||
      !scan.field(record.majFaults) || !scan.skipFields(1) || !scan.field(record.utime) ||
      !scan.field(record.stime) || !scan.skipFields(4) || !scan.field(record.numThreads) ||
      !scan.skipFields(21) || !scan.field(record.blkioTicks)) {
    return false;
  }
  record.id = id;
  record.ppid = ppid;
  std::copy_n(name, std::min<size_t>(static_cast<size_t>(close - name), record.name.size() - 1),
              record.name.begin());
  return true;
}

}  // namespace

std::optional<int32_t> parseTaskId(const char* name) {
  uint32_t number = 0;
  const char* at = name;
  for (; *at >= '0' && *at <= '9'; ++at) {
    number = number * 10 + static_cast<uint32_t>(*at - '0');
  }
  if (at == name || *at != '\0') {
    return std::nullopt;
  }
  return static_cast<int32_t>(number);
}

void parseProcessStat(std::string_view text, ProcessRecord& record) {
  record.name.fill('\0');
  if (!scanOrdinaryStat(text, record)) {
    scanProcessStat(text, record);
  }
  record.total = add(record.utime, record.stime);
}

int parseProcessSchedstat(std::string_view text, ProcessRecord& record) {
  Scanner scan(text);
  int fields = 0;
  for (int64_t* field : {&record.runNs, &record.waitNs, &record.switches}) {
    if (!scan.number(*field)) {
      break;
    }
    ++fields;
  }
  return fields;
}

}  // namespace tarnwick
