#include "proc/cpu_times.h"

#include <algorithm>

#include "sysstat/scan.h"

namespace tarnwick {

void parseCpuTimes(std::string_view text, std::string_view key, CpuTimes& out) {
  const size_t found = text.find(key);
  // "cpu  958 0 1271": from the key's length less one, a missing CPU starts in the blanks or, with
  // three digits, at the first number; with four it would miss that number's first digit.
  const size_t start = found != std::string_view::npos ? found + key.size() : key.size() - 1;
  Scanner scan(text.substr(std::min(start, text.size())));
  static_cast<void>(scan.number(out.user) && scan.number(out.nice) && scan.number(out.system) &&
                    scan.number(out.idle) && scan.number(out.iowait) && scan.number(out.irq) &&
                    scan.number(out.softirq));
}

}  // namespace tarnwick
