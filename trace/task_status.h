#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarnwick {

// The process id in a line of /proc/TID/status that begins with "Tgid:", read as by "Tgid:\t%d"; -1
// when no number follows. No value for any other line. Pure; see proc(5).
std::optional<int32_t> parseTgid(std::string_view line);

// The name in the text of /proc/PID/comm: all but its last character, which is the newline. Pure.
std::string_view parseComm(std::string_view text);

}  // namespace tarnwick
