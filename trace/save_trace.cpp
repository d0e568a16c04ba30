#include "trace/save_trace.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "collector/messages.h"
#include "trace/lock.h"
#include "trace/trace_file.h"
#include "trace/trace_state.h"
#include "trace/unfinished_file.h"

namespace tarnwick {

namespace {

constexpr const char* kTracePath = "/data/trace.txt";
constexpr const char* kUnfinishedTrace = "/data/trace.txt.new";

// A rename does not replace it.
bool isDirectory(const char* path) {
  struct stat status {};
  return lstat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// After a failed call: whether to repeat it. If the disk or quota is full, removes the last trace,
// which the new one replaces anyway.
bool madeRoom() {
  const int error = errno;
  const bool made = (error == ENOSPC || error == EDQUOT) && unlink(kTracePath) == 0;
  errno = error;
  return made;
}

int createTrace() {
  const int fd = createUnfinishedFile(kUnfinishedTrace);
  return fd < 0 && madeRoom() ? createUnfinishedFile(kUnfinishedTrace) : fd;
}

// Writes the bytes; less than all of them, with the reason in errno, when the file takes no more.
size_t writeAll(int fd, std::string_view bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t got = write(fd, bytes.data() + done, bytes.size() - done);
    if (got > 0) {
      done += static_cast<size_t>(got);
    } else if (got == 0 || (errno != EINTR && !madeRoom())) {
      break;
    }
  }
  return done;
}

}  // namespace

void saveTrace() {
  // The log thread has ended; the lock is there for what it wrote last.
  const Lock lock(gTraceMutex);
  const int fd = isDirectory(kTracePath) ? -1 : createTrace();
  if (fd < 0) {
    return;
  }
  postMessage("Writing output to trace.txt...");
  const WrittenRecords written =
      writeTraceRecords(gTraceRecords, {gTidToTgid, gTgidNames, gTidNames, gTraceNames, gKpiNames},
                        [fd](std::string_view bytes) {
                          const size_t taken = writeAll(fd, bytes);
                          if (taken < bytes.size()) {
                            gTraceLosses.writeError = errno;
                          }
                          return taken;
                        });
  gTraceLosses.notWritten = gTraceRecords.size() - written.records;
  if (gTraceLosses.notWritten > 0) {
    // The last line may be a part of one.
    static_cast<void>(ftruncate(fd, static_cast<off_t>(written.bytes)) == 0);
  }
  errno = ENOENT;
  if (!hasName(fd) || !renameUnfinishedFile(kTracePath)) {
    gTraceLosses.notWritten = gTraceRecords.size();
    gTraceLosses.writeError = errno;
    removeUnfinishedFile();
  }
  close(fd);
  postMessage("Done writing output to trace.txt...");
}

}  // namespace tarnwick
