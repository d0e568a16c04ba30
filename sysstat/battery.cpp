#include "sysstat/battery.h"

#include "sysstat/scan.h"

namespace tarnwick {

void parseBatteryTemp(std::string_view text, int64_t& temp) {
  Scanner(text).number(temp);
}

}  // namespace tarnwick
