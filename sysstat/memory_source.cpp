#include <utils/SystemClock.h>

#include <array>

#include "collector/stats_collector.h"
#include "sysstat/kernel_text.h"
#include "sysstat/memory_report.h"

namespace tarnwick {

namespace {

// A kernel's text as it stands.
void outputText(StatsCollector& collector, std::string_view text) {
  collector.output("%.*s", static_cast<int>(text.size()), text.data());
}

}  // namespace

void StatsCollector::readVmstat(VmstatMap& map) {
  std::array<char, 4096> buffer;
  const std::string_view text = readKernelText("/proc/vmstat", buffer);
  // The same names would say the same.
  if (parseVmstat(text, map, vmstatPlaces)) {
    reclaimNaming |= parseReclaimNaming(text);
  }
}

void StatsCollector::readBuddyinfo() {
  readKernelFile("/proc/buddyinfo", buddyinfoText.data(),
                 static_cast<int32_t>(buddyinfoText.size()));
}

void StatsCollector::printMemoryReport() {
  formatReclaim(subtractReclaim(vmstatBefore, vmstatAfter, reclaimNaming), *this);
  formatMemory(vmstatBefore, vmstatAfter, *this);
  outputText(*this, kernelText(buddyinfoText.data(), buddyinfoText.size()));

  if (!pagetypeinfoDue(android::elapsedRealtime(), lastPagetypeinfoTime)) {
    return;
  }
  const std::string_view summary =
      pagetypeinfoSummary(readKernelText("/proc/pagetypeinfo", pagetypeinfoText));
  // Without a summary the stamp stays, and the next report tries again.
  if (!summary.empty()) {
    outputText(*this, summary);
    lastPagetypeinfoTime = android::elapsedRealtime();
  }
}

}  // namespace tarnwick
