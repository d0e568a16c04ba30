#pragma once

namespace tarnwick {

// Takes measurements as the run mode of gOptions says, and returns when the loop is over or the
// Enter key was hit; never in signal mode. Does nothing without a collector.
void runLoop();

// Starts a measurement of gCollector. The process of `--proc` is looked up anew each time, since it
// may have restarted; when there is none, all processes are measured.
void startSample();

// Signal mode: acts on each SIGUSR1, for good.
[[noreturn]] void waitForSignals();

}  // namespace tarnwick
