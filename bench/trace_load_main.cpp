// The load of the trace benches.
//
//   trace_load sched|page-cache COUNT [NAME]
//                                       lines of trace_pipe, of threads that all have this name
//   trace_load tasks                    "TID TGID PROCESSNAME" of each thread that the lines name
//   trace_load fprintf COUNT            the peer: trace.txt as fprintf writes it, of those lines
//   trace_load records COUNT            the floor: so many records of 24 bytes in memory
//   trace_load newlines                 the floor: reads standard input, finds each newline

#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/trace_load.h"

namespace tarnwick::bench {

namespace {

void writeAll(const std::string& text) {
  for (size_t at = 0; at < text.size();) {
    const ssize_t written = write(STDOUT_FILENO, text.data() + at, text.size() - at);
    if (written < 0) {
      perror("trace_load");
      exit(1);
    }
    at += static_cast<size_t>(written);
  }
}

void writeLines(uint64_t count, const std::string& name,
                void (*appendLine)(uint64_t number, const std::string& name, std::string& out)) {
  constexpr size_t kBlock = size_t{64} * 1024;
  std::string text;
  for (uint64_t number = 0; number < count; ++number) {
    appendLine(number, name, text);
    if (text.size() >= kBlock) {
      writeAll(text);
      text.clear();
    }
  }
  writeAll(text);
}

void printTasks() {
  for (int thread = 0; thread < kThreads; ++thread) {
    const int32_t tid = threadId(thread);
    const int32_t tgid = processOf(tid);
    printf("%d %d %s\n", tid, tgid, processName(tgid).c_str());
  }
}

// The names are looked up beforehand, so that nothing but the writing grows with the count.
void printRecords(uint64_t count) {
  std::vector<std::string> processNames;
  std::vector<std::string> threadNames;
  for (int thread = 0; thread < kThreads; ++thread) {
    processNames.push_back(processName(processOf(threadId(thread))));
    threadNames.push_back(threadName(threadId(thread)));
  }
  for (uint64_t number = 0; number < count; ++number) {
    const LoadEvent event = loadEvent(number);
    const auto thread = static_cast<size_t>(event.tid - threadId(0));
    const bool runtime = event.kind[0] == 'r';
    printf(
        "time=%.6lf tag=%s duration=%ld cpu=%d tgid=%d tgid_name=%s tid=%d tid_name=%s name=%s\n",
        event.time, runtime ? "r" : "nr", static_cast<long>(event.value), event.cpu, event.tgid,
        processNames[thread].c_str(), event.tid, threadNames[thread].c_str(),
        runtime ? threadNames[thread].c_str() : event.kind);
  }
}

struct SmallRecord {
  double time;
  uint32_t duration;
  uint32_t thread;
  uint32_t name;
  uint32_t cpu;
};
static_assert(sizeof(SmallRecord) == 24);

void storeRecords(uint64_t count) {
  std::vector<SmallRecord> records;
  records.reserve(count);
  for (uint64_t number = 0; number < count; ++number) {
    const LoadEvent event = loadEvent(number);
    records.push_back({event.time, static_cast<uint32_t>(event.value),
                       static_cast<uint32_t>(event.tid), 0, static_cast<uint32_t>(event.cpu)});
  }
  printf("%zu\n", records.size());
}

void countNewlines() {
  std::vector<char> block(size_t{64} * 1024);
  uint64_t lines = 0;
  for (ssize_t got = 0; (got = read(STDIN_FILENO, block.data(), block.size())) > 0;) {
    const char* at = block.data();
    const char* const end = at + got;
    while (const void* found = memchr(at, '\n', static_cast<size_t>(end - at))) {
      at = static_cast<const char*>(found) + 1;
      ++lines;
    }
  }
  printf("%lu\n", static_cast<unsigned long>(lines));
}

}  // namespace

}  // namespace tarnwick::bench

int main(int argc, char** argv) {
  using namespace tarnwick::bench;
  const std::string_view what = argc > 1 ? argv[1] : "";
  const uint64_t count = argc > 2 ? strtoull(argv[2], nullptr, 10) : 0;
  const std::string name = argc > 3 ? argv[3] : "";
  if (what == "sched") {
    writeLines(count, name, appendSchedLine);
  } else if (what == "page-cache") {
    writeLines(count, name, appendPageCacheLine);
  } else if (what == "tasks") {
    printTasks();
  } else if (what == "fprintf") {
    printRecords(count);
  } else if (what == "records") {
    storeRecords(count);
  } else if (what == "newlines") {
    countNewlines();
  } else {
    fputs("trace_load: see the head of trace_load_main.cpp\n", stderr);
    return 1;
  }
}
