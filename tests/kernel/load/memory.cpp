#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/kernel/load/load.h"

namespace load {

namespace {

constexpr off_t kPage = 4096;

}  // namespace

// pages read|drop FILE...: reads each file page by page, so that the kernel adds each page to its
// cache by itself, or lets it forget them.
int pagesCommand(int argc, char** argv) {
  if (argc < 2) {
    return 2;
  }
  const bool drop = strcmp(argv[0], "drop") == 0;
  for (int i = 1; i < argc; ++i) {
    const int fd = open(argv[i], O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (fd < 0 || fstat(fd, &status) != 0) {
      fail(argv[i]);
    }
    if (drop) {
      // Pages that are still to be written stay.
      fsync(fd);
      posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    } else {
      posix_fadvise(fd, 0, 0, POSIX_FADV_RANDOM);
      char byte = 0;
      for (off_t offset = 0; offset < status.st_size; offset += kPage) {
        if (pread(fd, &byte, 1, offset) != 1) {
          fail(argv[i]);
        }
      }
    }
    close(fd);
  }
  return 0;
}

// hold PAGES: has so many anonymous pages, says "ready" and waits for a line or the end of its
// input.
int holdCommand(int argc, char** argv) {
  if (argc < 1) {
    return 2;
  }
  const size_t size = strtoul(argv[0], nullptr, 10) * size_t{kPage};
  void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  if (memory == MAP_FAILED) {
    fail("mmap");
  }
  puts("ready");
  fflush(stdout);
  awaitLine();
  return 0;
}

// swap PAGES: so many anonymous pages go out to the swap and come back.
int swapCommand(int argc, char** argv) {
  if (argc < 1) {
    return 2;
  }
  const size_t pages = strtoul(argv[0], nullptr, 10);
  const size_t size = pages * size_t{kPage};
  void* const memory =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    fail("mmap");
  }
  madvise(memory, size, MADV_NOHUGEPAGE);
  // No two pages alike, and none empty: those need no room in the swap.
  auto* const words = static_cast<volatile uint64_t*>(memory);
  constexpr size_t kWords = size_t{kPage} / sizeof(uint64_t);
  for (size_t i = 0; i < pages * kWords; ++i) {
    words[i] = i * 0x9E3779B97F4A7C15;
  }
  if (madvise(memory, size, MADV_PAGEOUT) != 0) {
    fail("madvise");
  }
  for (size_t page = 0; page < pages; ++page) {
    if (words[page * kWords] != page * kWords * 0x9E3779B97F4A7C15) {
      fail("swapped page");
    }
  }
  return 0;
}

}  // namespace load
