#include "proc/pmu_events.h"

namespace tarnwick {

namespace {

double hitPercent(uint64_t misses, uint64_t all) {
  return all == 0 ? 0.0 : (1 - static_cast<double>(misses) / static_cast<double>(all)) * 100;
}

}  // namespace

PmuCounts& PmuCounts::operator+=(const PmuCounts& other) {
  for (const PmuEvent& event : kPmuEvents) {
    this->*event.count += other.*event.count;
  }
  return *this;
}

perf_event_attr pmuEventAttr() {
  perf_event_attr attr{};
  attr.type = PERF_TYPE_RAW;
  attr.size = PERF_ATTR_SIZE_VER5;
  attr.disabled = 1;
  attr.exclude_hv = 1;
  return attr;
}

PmuFigures pmuFigures(const PmuCounts& counts) {
  PmuFigures figures;
  figures.cacheRefs = counts.l1dCache + counts.l1dCacheWb;
  figures.cacheHitPercent = hitPercent(counts.l2dCacheRefill, figures.cacheRefs);
  figures.branches = counts.brMisPred + counts.brPred;
  figures.branchHitPercent = hitPercent(counts.brMisPred, figures.branches);
  return figures;
}

void formatPmuCounts(const PmuCounts& counts, ReportSink& sink) {
  const PmuFigures figures = pmuFigures(counts);
  sink.output("   crefs=%-12lld hit=%-5.2f   br=%-12lld hit=%-5.2f\n",
              static_cast<long long>(figures.cacheRefs), figures.cacheHitPercent,
              static_cast<long long>(figures.branches), figures.branchHitPercent);
}

}  // namespace tarnwick
