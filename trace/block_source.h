#pragma once

#include "trace/block_stat.h"

namespace tarnwick {

class StatsCollector;

// Fills the collector's list of disks from a directory, "/sys/block/", unless it has some already.
// They are chosen once in a run: a disk that appears later is not seen. When the directory cannot
// be opened the list stays empty.
void findBlockDevices(StatsCollector& collector, const char* directory);

// Sets the sums to the fields of all listed disks together, each from the first 512 bytes of its
// /sys/block/DISK/stat; a disk that cannot be read adds nothing. Looks for disks first, as long as
// none was found.
void readBlockStats(StatsCollector& collector, BlockStats& sums);

}  // namespace tarnwick
