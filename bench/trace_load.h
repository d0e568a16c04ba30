#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarnwick::bench {

// The threads of the load: 256 of 32 processes, with the ids and names that a made-up device gives
// them (see `trace_load tasks`).
constexpr int kThreads = 256;
constexpr int kThreadsOfProcess = 8;

// An event of the scheduler as the load has it: what a line says and a record holds.
struct LoadEvent {
  double time;  // seconds
  const char* kind;
  int64_t value;  // nanoseconds
  int32_t cpu;
  int32_t tgid;
  int32_t tid;
};

// The event with this number. The same number gives the same event in every run.
LoadEvent loadEvent(uint64_t number);

int32_t threadId(int thread);
int32_t processOf(int32_t tid);
std::string threadName(int32_t tid);
std::string processName(int32_t tgid);

// Lines of trace_pipe with the event of this number. Every thread has the name that is given; where
// it is empty the threads of scheduler lines have their own, and those of page-cache lines one.
void appendSchedLine(uint64_t number, const std::string& givenName, std::string& out);
void appendPageCacheLine(uint64_t number, const std::string& givenName, std::string& out);

}  // namespace tarnwick::bench
