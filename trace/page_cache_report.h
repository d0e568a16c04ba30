#pragma once

#include <map>
#include <string>

#include "sysstat/report_sink.h"
#include "trace/inode_paths.h"

namespace tarnwick {

// Pages that came to and went from the page cache, by events.
struct PageCacheCount {
  uint64_t adds = 0;
  uint64_t deletes = 0;
};

// File key, "major:minor_inode", to its counts.
using PageCacheCounts = std::map<std::string, PageCacheCount>;

// Prints a line for each file whose path is known, in the order of their keys, then one for all
// others together and one for the sum. Pure but for the sink.
void formatPageCache(const PageCacheCounts& counts, const InodePaths& paths, ReportSink& sink);

}  // namespace tarnwick
