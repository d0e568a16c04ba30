#pragma once

#include <cstdint>
#include <string_view>

namespace tarnwick {

// Reads the number of /sys/class/power_supply/battery/temp, tenths of a degree Celsius, into
// `temp`. It stays as it was when the text has none. Pure; see the kernel's
// Documentation/ABI/testing/sysfs-class-power.
void parseBatteryTemp(std::string_view text, int64_t& temp);

}  // namespace tarnwick
