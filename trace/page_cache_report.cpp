#include "trace/page_cache_report.h"

namespace tarnwick {

void formatPageCache(const PageCacheCounts& counts, const InodePaths& paths, ReportSink& sink) {
  PageCacheCount unknown;
  PageCacheCount total;
  for (const auto& [key, count] : counts) {
    total.adds += count.adds;
    total.deletes += count.deletes;
    if (const auto path = paths.find(key)) {
      sink.output("add=%lu del=%lu file=%.*s\n", count.adds, count.deletes,
                  static_cast<int>(path->size()), path->data());
    } else {
      unknown.adds += count.adds;
      unknown.deletes += count.deletes;
    }
  }
  sink.output("add=%lu del=%lu file=unknown\n", unknown.adds, unknown.deletes);
  sink.output("add=%lu del=%lu file=total\n", total.adds, total.deletes);
}

}  // namespace tarnwick
