#pragma once

#include <cstdio>
#include <string>

namespace tarnwick {

class StatsCollector;

// Which file an inode is. Page-cache events name a file by device and inode alone, so the paths of
// all regular files of the device are kept in "/data/inode.txt", a line "major:minor_inode path"
// each. The first report that needs it writes it; it is never refreshed. To have it made anew,
// delete it.

// Makes sure that the cache is there and merges it into the collector's inodePaths. A cache that
// cannot be made or read leaves the paths as they are.
void loadInodeMap(StatsCollector& collector);

// Writes a line for each regular file below a directory, in directory order. Links are not
// followed, directories that cannot be opened are passed over, paths end at 1022 characters.
// `depth` is how deep the directory lies; it sets no limit.
void walkDirectory(StatsCollector& collector, const char* path, int depth, FILE* out);

// Writes the line of one file, unless it lies under /proc or /sys or has gone. The path has two
// leading slashes, one of which is written.
void writeInodeEntry(StatsCollector& collector, const char* path, FILE* out);

}  // namespace tarnwick
