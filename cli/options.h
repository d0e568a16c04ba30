#pragma once

#include "cli/command_line.h"

namespace tarnwick {

// The options of this run.
extern Options gOptions;

// Fills gOptions, or prints the usage and ends the process.
void parseOptions(int argc, char** argv);

// Prints the usage to standard error and ends the process with status 0.
[[noreturn]] void printUsage(char** argv);

}  // namespace tarnwick
