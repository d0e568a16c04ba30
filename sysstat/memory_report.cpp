#include "sysstat/memory_report.h"

#include <initializer_list>

#include "sysstat/counter_math.h"

namespace tarnwick {

namespace {

// Taken as 4 KB and never asked of the system; where pages are larger the figures are too small.
constexpr int64_t kPageKb = 4;

struct MemoryUse {
  int64_t kb = 0;
  int64_t changeKb = 0;
};

MemoryUse memoryUse(VmstatMap& before, VmstatMap& after,
                    std::initializer_list<std::string_view> names) {
  int64_t pages = 0;
  int64_t pagesBefore = 0;
  for (const std::string_view name : names) {
    pages = add(pages, after[name]);
    pagesBefore = add(pagesBefore, before[name]);
  }
  return {multiply(pages, kPageKb), multiply(difference(pages, pagesBefore), kPageKb)};
}

}  // namespace

void formatReclaim(const ReclaimFigures& figures, ReportSink& sink) {
  sink.output(
      "alloc_stalls=%ld compact_stalls=%ld kswapd_scans=%ld kswapd_steals=%ld direct_scans=%ld "
      "direct_steals=%ld\n",
      figures.allocStalls, figures.compactStalls, figures.kswapdScans, figures.kswapdSteals,
      figures.directScans, figures.directSteals);
}

void formatMemory(VmstatMap& before, VmstatMap& after, ReportSink& sink) {
  const MemoryUse free = memoryUse(before, after, {"nr_free_pages"});
  const MemoryUse cached = memoryUse(before, after, {"nr_file_pages"});
  const MemoryUse anon = memoryUse(before, after, {"nr_anon_pages"});
  const MemoryUse mapped = memoryUse(before, after, {"nr_mapped"});
  const MemoryUse slab = memoryUse(before, after, {"nr_slab_reclaimable", "nr_slab_unreclaimable"});
  const MemoryUse ion = memoryUse(before, after, {"nr_ion"});
  const MemoryUse shmem = memoryUse(before, after, {"nr_shmem"});
  sink.output(
      "MemFree=%ld(%+ld) Cached=%ld(%+ld) AnonPages=%ld(%+ld) Mapped=%ld(%+ld) Slab=%ld(%+ld) "
      "Ion=%ld(%+ld) Shmem=%ld(%+ld)\n",
      free.kb, free.changeKb, cached.kb, cached.changeKb, anon.kb, anon.changeKb, mapped.kb,
      mapped.changeKb, slab.kb, slab.changeKb, ion.kb, ion.changeKb, shmem.kb, shmem.changeKb);
}

bool pagetypeinfoDue(int64_t nowMs, int64_t lastMs) {
  constexpr int64_t kPeriodMs = 60001;
  return difference(nowMs, lastMs) >= kPeriodMs;
}

std::string_view pagetypeinfoSummary(std::string_view text) {
  const size_t start = text.find("Number of blocks");
  return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

}  // namespace tarnwick
