#pragma once

#include <cstdint>
#include <string_view>

#include "sysstat/reclaim.h"
#include "sysstat/report_sink.h"
#include "sysstat/vmstat.h"

namespace tarnwick {

// Prints the reclaim line. Pure but for the sink.
void formatReclaim(const ReclaimFigures& figures, ReportSink& sink);

// Prints what memory is used for, in KB at 4 KB a page, each with its change since `before`.
// Counters that a map does not have are added to it with 0. Pure but for these and the sink.
void formatMemory(VmstatMap& before, VmstatMap& after, ReportSink& sink);

// Whether the block summary of /proc/pagetypeinfo is due again: at most once in a minute. Both
// times are milliseconds of the elapsed-realtime clock. Pure.
bool pagetypeinfoDue(int64_t nowMs, int64_t lastMs);

// The block summary in the text of /proc/pagetypeinfo: from "Number of blocks" to the end; empty
// when it is not there. Pure.
std::string_view pagetypeinfoSummary(std::string_view text);

}  // namespace tarnwick
