#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sysstat/flat_map.h"

namespace tarnwick {

// Counter name of /proc/vmstat to its value, in the kernel's own units: of those that reports use,
// stalls and major faults are events, the rest pages. Reports look names up with operator[], so a
// counter that the kernel does not have becomes an entry of 0 that stays in the map, also when the
// map is taken over by the next measurement.
using VmstatMap = FlatMap<std::string, int64_t>;

// Where a map has the name of each line, as far as the last text tells: the entries' numbers, by
// the numbers of the lines. The lines of a kernel keep their names, so most names need not be
// looked up. What it says is never trusted, so one will do for all maps.
using VmstatPlaces = std::vector<size_t>;

// Stores every "name value" line of /proc/vmstat in the map, over what was there; entries that the
// text does not have stay. Each line is read as by "%s %ld". A line whose number does not parse
// takes the value of the line before it (0 for the first); a name is cut at 39 characters. Returns
// whether there is a line whose name was not where `places` had it. Pure; see proc(5).
bool parseVmstat(std::string_view text, VmstatMap& map, VmstatPlaces& places);

// Sets all counters to 0. For those who look them up they are gone, and for the next text their
// names are in place.
void forgetCounters(VmstatMap& map);

// The name in a line of /proc/vmstat, cut at 39 characters; empty when the line is blank. Pure.
std::string_view vmstatName(std::string_view line);

}  // namespace tarnwick
