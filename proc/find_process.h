#pragma once

#include <cstdint>
#include <string_view>

namespace tarnwick {

// The id of the first process in /proc's directory order whose program has this base name, byte for
// byte (see commandName), or -1 when there is none or /proc cannot be opened. A process that
// vanishes or cannot be read is passed over without a message. Keeps no state; any thread may call
// it.
int32_t findProcessByName(std::string_view name);

}  // namespace tarnwick
