#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "sysstat/net_dev.h"

namespace tarnwick::net_dev_reading {

// rx_kb, rx_packets, tx_kb, tx_packets.
using Traffic = std::array<int64_t, 4>;
using Interfaces = std::map<std::string, Traffic>;

inline Interfaces interfacesOf(const NetDevMap& map) {
  Interfaces interfaces;
  for (const auto& [name, record] : map) {
    interfaces[name] = {record->rx_kb, record->rx_packets, record->tx_kb, record->tx_packets};
  }
  return interfaces;
}

// What a whole text gives.
inline Interfaces interfacesOf(std::string_view text) {
  NetDevMap map;
  parseNetDev(text, map);
  return interfacesOf(map);
}

// What sscanf makes of each line that strtok finds, with the same variables for all of them.
inline Interfaces sscanfInterfacesOf(std::string text) {
  constexpr size_t kLongestName = 39;
  Interfaces interfaces;
  int64_t rxBytes = 0, rxPackets = 0, txBytes = 0, txPackets = 0;
  int lines = 0;
  for (char* line = strtok(text.data(), "\n"); line != nullptr; line = strtok(nullptr, "\n")) {
    if (++lines <= 2) {
      continue;
    }
    std::vector<char> name(strlen(line) + 1);
    sscanf(line,
           "%[^:]:%*[^0-9]%ld%*[^0-9]%ld%*[^0-9]%*d%*[^0-9]%*d%*[^0-9]%*d%*[^0-9]%*d%*[^0-9]"
           "%*d%*[^0-9]%*d%*[^0-9]%ld%*[^0-9]%ld",
           name.data(), &rxBytes, &rxPackets, &txBytes, &txPackets);
    const uint64_t packets = static_cast<uint64_t>(rxPackets) + static_cast<uint64_t>(txPackets);
    if (static_cast<int64_t>(packets) >= 1) {
      interfaces[std::string(name.data()).substr(0, kLongestName)] = {rxBytes / 1024, rxPackets,
                                                                      txBytes / 1024, txPackets};
    }
  }
  return interfaces;
}

}  // namespace tarnwick::net_dev_reading
