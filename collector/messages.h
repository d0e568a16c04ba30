#pragma once

#ifdef TARNWICK_PURE
#error "Parsing, subtracting and formatting know nothing of the collector."
#endif

#include <string_view>

namespace tarnwick {

// Messages of the worker threads to standard output. A terminal that is held, or a pipe that nobody
// reads, can block a write for good, so a worker only queues its messages. A thread prints them as
// they come; the main thread prints what is left before each text of its own.

// Queues a line, given without its newline. Never waits for standard output.
void postMessage(std::string_view line);

// Prints all queued messages, in the order of their posts, and returns when they are in the buffer
// of standard output. The main thread calls it inside a StdoutSection.
void printMessages();

// Starts the thread that prints. Without it messages wait for the main thread. Main thread only.
void startMessageThread();

// Prints all messages and ends the thread. Main thread only.
void stopMessageThread();

}  // namespace tarnwick
