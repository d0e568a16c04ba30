#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarnwick {

// The process id in a line of /proc/TID/status that begins with "Tgid:", read as by "Tgid:\t%d"; -1
// when no number follows. No value for any other line. Pure; see proc(5).
std::optional<int32_t> parseTgid(std::string_view line);

// The process id in the text of /proc/TID/status: what parseTgid gives for the first of its lines,
// as fgets(3) with a buffer of 80 bytes would give them, that has one. Pure.
std::optional<int32_t> parseTgidOfStatus(std::string_view status);

// The name in the text of /proc/PID/comm: all but its last character, which is the newline. Pure.
std::string_view parseComm(std::string_view text);

}  // namespace tarnwick
