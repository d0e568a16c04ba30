#pragma once

#include <cstdio>
#include <string>

#include "trace/block_stat.h"

namespace tarnwick::block_stat_reading {

inline BlockStats sscanfStatsOf(const std::string& text) {
  BlockStats x{};
  sscanf(text.c_str(), "%ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld", x.data(), &x[1], &x[2], &x[3],
         &x[4], &x[5], &x[6], &x[7], &x[8], &x[9], &x[10]);
  return x;
}

}  // namespace tarnwick::block_stat_reading
