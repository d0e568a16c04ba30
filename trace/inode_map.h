#pragma once

#include <cstdio>

namespace tarnwick {

class StatsCollector;

// Which file an inode is. Page-cache events name a file by device and inode alone, so the paths of
// all regular files of the device are kept in "/data/inode.txt", a line "major:minor_inode path"
// each. The first report that needs it writes it; it is never refreshed. To have it made anew,
// delete it.

// Makes sure that the cache is there and merges it into the collector's inodePaths. A cache that
// cannot be made or read leaves the paths as they are; only a regular file is read. A walk that is
// incomplete gives its paths to this run, and leaves no cache: the next run walks again.
void loadInodeMap(StatsCollector& collector);

// Writes a line for each regular file below a directory, in directory order, until a write fails.
// Skips links, directories that cannot be opened, /proc and /sys, paths of more than 1022
// characters and names with a newline. As below the root, paths begin with two slashes, of which
// one is written. False if EMFILE, ENFILE, ENOMEM or EIO made it skip something: then the lines are
// right, and some are missing.
//
// Inode numbers come from the directory entries where these are known to be right, and from
// fstatat(2) everywhere else. A file that is mounted over another one during the walk counts as not
// mounted yet.
bool walkDirectory(const char* path, FILE* out);

}  // namespace tarnwick
