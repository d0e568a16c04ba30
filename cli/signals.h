#pragma once

#include <chrono>
#include <optional>

namespace tarnwick {

// The two signals of the program, and the one place where it sleeps.
//
// SIGUSR1 starts and stops measurements. It is blocked except inside waitForEvent, so it never
// meets a measurement half taken or half printed; one that arrives in between is held until the
// next wait. The handler only records it, and the main thread acts on it.
//
// SIGINT ends the process at any moment, whatever the main thread is doing or blocked in. The
// handler wakes the interrupt thread, which does nothing else, and stops the main thread where it
// stands.

// Installs onSignal for SIGINT, then for SIGUSR1, and starts the interrupt thread. Call it before
// any other thread is started: they inherit the blocked SIGUSR1.
void installSignalHandlers();

// The handler. Async-signal-safe.
void onSignal(int signo);

enum class WaitResult { kTimeout, kSigusr1, kInput };

// Sleeps in ppoll(2) until the timeout has run, SIGUSR1 arrives, or `inputFd` has something to
// read, has ended or failed. Without a timeout it sleeps for good, without an input (-1) there is
// none. A SIGUSR1 that was held is reported at once, also when the timeout is 0 or the input ready.
// Main thread only.
WaitResult waitForEvent(int inputFd, std::optional<std::chrono::seconds> timeout);

}  // namespace tarnwick
