#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace tarnwick {

// A kernel whose files hold what a test wants. The program of tests that links this defines open
// itself.
struct MadeUpFiles {
  // What the files hold, by path. The sources' files (/proc/vmstat, /proc/buddyinfo,
  // /proc/pagetypeinfo, /proc/net/dev and those below /sys/block and /sys/class) exist only if they
  // are here; every other path is that of the real system.
  std::map<std::string, std::string> texts;

  // Files that can be opened and not read.
  std::set<std::string> unreadable;

  // The paths that were opened to be read, in their order.
  std::vector<std::string> opened;
};

MadeUpFiles& madeUpFiles();

// The sources' files as they are in a folder of the fixtures, "linux-6.1-arm64/t0".
std::map<std::string, std::string> filesOfFixture(const std::string& folder);

}  // namespace tarnwick
