#pragma once

#include <cstdint>

namespace tarnwick {

// Who a thread of the trace belongs to, looked up in /proc once in a measurement and kept in
// gTidToTgid and gTgidNames. Pipe thread only.

// The process id of a thread: the "Tgid:" line of /proc/TID/status. -1, which is not kept, when the
// thread has gone or the file has no such line.
int32_t tgidOf(int32_t tid);

// Whether a process has a name: /proc/TGID/comm without its newline. It has none, and none is kept,
// when it has gone; a file that opens and cannot be read gives an empty name that is kept. The
// placeholder "re-initialized>" is a name but is not kept, since the process is about to be named.
bool hasTgidName(int32_t tgid);

}  // namespace tarnwick
