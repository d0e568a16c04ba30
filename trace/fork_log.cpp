#include "trace/fork_log.h"

#include <linux/perf_event.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

#include "trace/fork_records.h"

namespace tarnwick {

namespace {

constexpr size_t kRecordPages = 8;  // a power of two

size_t pageSize() {
  static const auto kSize = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  return kSize;
}

size_t recordBytes() {
  return kRecordPages * pageSize();
}

}  // namespace

ForkLog::Buffer ForkLog::open(int cpu) {
  constexpr Buffer kNone{-1, nullptr};
  constexpr pid_t kEveryTask = -1;
  constexpr int kNoGroup = -1;
  perf_event_attr attr{};
  attr.size = sizeof attr;
  attr.type = PERF_TYPE_SOFTWARE;
  attr.config = PERF_COUNT_SW_DUMMY;
  attr.task = 1;
  const auto fd = static_cast<int>(
      syscall(SYS_perf_event_open, &attr, kEveryTask, cpu, kNoGroup, PERF_FLAG_FD_CLOEXEC));
  if (fd < 0) {
    return kNone;
  }
  void* const pages =
      mmap(nullptr, pageSize() + recordBytes(), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (pages == MAP_FAILED) {
    close(fd);
    return kNone;
  }
  return {fd, static_cast<char*>(pages)};
}

ForkLog::ForkLog() {
  const auto cpus = static_cast<int>(sysconf(_SC_NPROCESSORS_CONF));
  for (int cpu = 0; cpu < cpus; ++cpu) {
    const Buffer buffer = open(cpu);
    if (buffer.pages != nullptr) {
      buffers_.push_back(buffer);
    }
  }
  works_ = !buffers_.empty() && static_cast<long>(buffers_.size()) >= sysconf(_SC_NPROCESSORS_ONLN);
}

ForkLog::~ForkLog() {
  for (const Buffer& buffer : buffers_) {
    munmap(buffer.pages, pageSize() + recordBytes());
    close(buffer.fd);
  }
}

void ForkLog::take(const Buffer& buffer) {
  auto& page = *reinterpret_cast<perf_event_mmap_page*>(buffer.pages);
  const uint64_t head = __atomic_load_n(&page.data_head, __ATOMIC_ACQUIRE);
  const uint64_t tail = page.data_tail;
  if (head == tail) {
    return;
  }
  // Records can begin at the end of the pages and go on at their start.
  const char* const data = buffer.pages + pageSize();
  const size_t size = head - tail;
  const size_t start = tail % recordBytes();
  const size_t first = std::min(size, recordBytes() - start);
  records_.assign(data + start, data + start + first);
  records_.insert(records_.end(), data, data + (size - first));
  __atomic_store_n(&page.data_tail, head, __ATOMIC_RELEASE);
  for (const ForkRecord& fork : parseForkRecords({records_.data(), records_.size()})) {
    tgids_[fork.tid] = fork.tgid;
  }
}

void ForkLog::update() {
  for (const Buffer& buffer : buffers_) {
    take(buffer);
  }
}

int32_t ForkLog::tgidOf(int32_t tid) {
  auto found = tgids_.find(tid);
  if (found == tgids_.end()) {
    update();
    found = tgids_.find(tid);
  }
  return found == tgids_.end() ? -1 : found->second;
}

}  // namespace tarnwick
