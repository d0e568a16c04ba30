#pragma once

#include <optional>
#include <string_view>

namespace tarnwick {

// The base name of the program of a process, from the text of /proc/PID/cmdline: the first line up
// to its first NUL byte, behind its last "/". No value when the first line is empty, as it is for
// kernel threads; an empty name when the path ends in "/". Pure; see proc(5).
std::optional<std::string_view> commandName(std::string_view cmdline);

}  // namespace tarnwick
