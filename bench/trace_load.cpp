#include "bench/trace_load.h"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace tarnwick::bench {

namespace {

constexpr int32_t kFirstThread = 1000;
constexpr uint64_t kFiles = 512;

// Far from the last number to this one, and always the same.
uint64_t scattered(uint64_t number) {
  number = (number ^ (number >> 31U)) * 0x9E3779B97F4A7C15U;
  return number ^ (number >> 29U);
}

double timeOf(uint64_t number) {
  return 35.0 + static_cast<double>(number) * 0.00002;
}

__attribute__((format(printf, 2, 3))) void append(std::string& out, const char* format, ...) {
  std::array<char, 512> text;
  va_list values;
  va_start(values, format);
  const int length = vsnprintf(text.data(), text.size(), format, values);
  va_end(values);
  out.append(text.data(), static_cast<size_t>(length));
}

}  // namespace

int32_t threadId(int thread) {
  return kFirstThread + thread;
}

int32_t processOf(int32_t tid) {
  return tid - (tid - kFirstThread) % kThreadsOfProcess;
}

std::string processName(int32_t tgid) {
  return "app.process" + std::to_string(tgid % 100);
}

std::string threadName(int32_t tid) {
  return tid == processOf(tid) ? processName(tid) : "Binder:" + std::to_string(tid) + "_1";
}

LoadEvent loadEvent(uint64_t number) {
  constexpr std::array kKinds = {"runtime", "wait", "runtime", "iowait"};
  const uint64_t random = scattered(number);
  const int32_t tid = threadId(static_cast<int>(random % kThreads));
  LoadEvent event{};
  event.time = timeOf(number);
  event.kind = kKinds.at(number % kKinds.size());
  event.value = static_cast<int64_t>(1000 + (random >> 20U) % 4000000);
  event.cpu = static_cast<int32_t>((random >> 10U) % 8);
  event.tgid = processOf(tid);
  event.tid = tid;
  return event;
}

void appendSchedLine(uint64_t number, const std::string& givenName, std::string& out) {
  const LoadEvent event = loadEvent(number);
  const std::string name = givenName.empty() ? threadName(event.tid) : givenName;
  const bool runtime = event.kind[0] == 'r';
  append(out, "%16s-%-7d [%03d] d....  %10.6f: sched_stat_%s: comm=%s pid=%d %s=%ld [ns]",
         name.c_str(), event.tid, event.cpu, event.time, event.kind, name.c_str(), event.tid,
         runtime ? "runtime" : "delay", static_cast<long>(event.value));
  if (runtime) {
    append(out, " vruntime=%ld [ns]", 20000000000 + static_cast<long>(number) * 1000);
  }
  out += '\n';
}

void appendPageCacheLine(uint64_t number, const std::string& givenName, std::string& out) {
  const uint64_t random = scattered(number);
  append(out,
         "%16s-%-7d [%03d] ....  %10.6f: mm_filemap_%s_page_cache: dev 179:%d ino %lx "
         "page=fffffece%08lx pfn=%ld ofs=%ld\n",
         givenName.empty() ? "app.process42" : givenName.c_str(), 1042,
         static_cast<int>((random >> 10U) % 8), timeOf(number),
         number % 4 == 3 ? "delete_from" : "add_to", static_cast<int>(2 + random % 2),
         static_cast<unsigned long>(0x10000 + (random >> 20U) % kFiles * 37),
         static_cast<unsigned long>(random & 0xFFFFFFC0U),
         static_cast<long>(200000 + (random >> 8U) % 4000000),
         static_cast<long>((random >> 40U) % 4096) * 4096);
}

}  // namespace tarnwick::bench
