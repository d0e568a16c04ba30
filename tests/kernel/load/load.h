#pragma once

#include <cstdint>

// What a guest's kernel is given to do, in known amounts. Each piece of work is a command of one
// program, `load`.

namespace load {

// CPU time of the calling thread.
int64_t threadCpuNs();

// Uses so much CPU time of the calling thread.
void burn(int64_t milliseconds);

// Keeps the calling thread on one CPU.
void pinTo(int cpu);

// What the trace and the kernel's statistics call the calling thread.
void nameThread(const char* name);

// Ends the program with a message about errno.
[[noreturn]] void fail(const char* what);

// Returns when standard input has a line or has ended.
void awaitLine();

// The commands; each takes the arguments behind its name.
int burnCommand(int argc, char** argv);
int countersCommand(int argc, char** argv);
int eventsCommand(int argc, char** argv);
int holdCommand(int argc, char** argv);
int pagesCommand(int argc, char** argv);
int swapCommand(int argc, char** argv);
int threadsCommand(int argc, char** argv);
int waitingCommand(int argc, char** argv);

}  // namespace load
