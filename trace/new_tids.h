#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarnwick {

// Which threads are new. All of it is pure.

// Thread ids from `first` to `last`; none when first > last.
struct TidRange {
  int32_t first;
  int32_t last;
};

// The last thread id that the kernel gave out: the last field of /proc/loadavg (proc_loadavg(5),
// fs/proc/loadavg.c of the kernel). No value when that is no
// thread id.
std::optional<int32_t> parseLastTid(std::string_view loadavg);

// The ids given out between two looks at the last one, but at most the newest `most` of them. The
// kernel gives them in ascending order; after the largest one it begins again with a low one.
TidRange tidsSince(int32_t before, int32_t last, int32_t most);

}  // namespace tarnwick
