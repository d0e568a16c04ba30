#pragma once

#include <cstdint>
#include <string>

namespace tarnwick {

// What is missing from the trace of one measurement. Every count starts at 0.
struct TraceLosses {
  // Dropped by the kernel because its buffer was full: events it counted, and how often it gave no
  // number. See "overwrite" in the kernel's Documentation/trace/ftrace.rst.
  uint64_t overwritten = 0;
  uint64_t overwrittenUnknown = 0;

  bool notDrained = false;  // the kernel's buffer was not read to the end before it was discarded

  uint64_t unresolved = 0;  // events whose thread or process was not in /proc any more

  uint64_t overMemory = 0;   // records over the memory limit
  uint64_t memoryLimit = 0;  // bytes, for the message
  bool memoryLimitIsDefault = false;

  uint64_t outOfMemory = 0;  // events that came after an allocation failed

  uint64_t notWritten = 0;  // records that are not in the trace file
  int writeError = 0;       // errno of the write that failed
};

// One line for each kind of loss, each with its newline; empty where nothing was lost. Pure.
std::string formatTraceLosses(const TraceLosses& losses);

}  // namespace tarnwick
