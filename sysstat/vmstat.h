#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace tarnwick {

// Counter name of /proc/vmstat to its value, in the kernel's own units: of those that reports use,
// stalls and major faults are events, the rest pages. Reports look names up with operator[], so a
// counter that the kernel does not have becomes an entry of 0 that stays in the map, also when the
// map is taken over by the next measurement.
using VmstatMap = std::map<std::string, int64_t, std::less<>>;

// Stores every "name value" line of /proc/vmstat in the map, over what was there; entries that the
// text does not have stay. Each line is read as by "%s %ld". A line whose number does not parse
// takes the value of the line before it (0 for the first); a name is cut at 39 characters. Pure;
// see proc(5).
void parseVmstat(std::string_view text, VmstatMap& map);

// The name in a line of /proc/vmstat, cut at 39 characters; empty when the line is blank. Pure.
std::string_view vmstatName(std::string_view line);

}  // namespace tarnwick
