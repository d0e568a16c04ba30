#include "trace/kpi_line.h"

#include "sysstat/scan.h"

namespace tarnwick {

std::optional<KpiLine> parseKpiLine(std::string_view line) {
  constexpr size_t kLongestTag = 31;
  constexpr size_t kLongestComponent = 255;
  constexpr std::string_view kComponent = "cmp=";
  if (line.find("KPI-R2K-") == std::string_view::npos) {
    return std::nullopt;
  }
  KpiLine kpi{};
  int32_t tid = 0;
  std::string_view token;
  Scanner scan(line);
  if (!scan.skipWord() || !scan.skipWord() || !scan.integer(kpi.pid) || !scan.integer(tid)) {
    return std::nullopt;
  }
  scan.space();
  if (!scan.literal('I') || !scan.word(token) || !scan.number(kpi.timeMs)) {
    return std::nullopt;
  }
  kpi.tag = token.substr(0, token.size() - 1).substr(0, kLongestTag);
  const size_t component = line.find(kComponent);
  if (component != std::string_view::npos) {
    Scanner rest(line.substr(component + kComponent.size()));
    rest.word(kpi.component);
    kpi.component = kpi.component.substr(0, kLongestComponent);
  }
  return kpi;
}

std::string_view componentPackage(std::string_view component) {
  return component.substr(0, component.find('/'));
}

}  // namespace tarnwick
