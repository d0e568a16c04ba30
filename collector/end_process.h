#pragma once

namespace tarnwick {

// exit(3) for a failure on any thread. Two threads may meet the same failure at once, and exit must
// not be called twice: the later one never returns. Standard output is flushed.
[[noreturn]] void endProcess(int status);

}  // namespace tarnwick
