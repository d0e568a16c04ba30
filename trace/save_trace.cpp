#include "trace/save_trace.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "collector/messages.h"
#include "trace/lock.h"
#include "trace/trace_file.h"
#include "trace/trace_state.h"

namespace tarnwick {

namespace {

// Writes the bytes; less than all of them, with the reason in errno, when the file takes no more.
size_t writeAll(int fd, std::string_view bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t got = write(fd, bytes.data() + done, bytes.size() - done);
    if (got > 0) {
      done += static_cast<size_t>(got);
    } else if (got == 0 || errno != EINTR) {
      break;
    }
  }
  return done;
}

}  // namespace

void saveTrace() {
  // The log thread has ended; the lock is there for what it wrote last.
  const Lock lock(gTraceMutex);
  // Not fopen, which lets anybody write the file where there is no umask.
  const int fd = open("/data/trace.txt", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
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
    // The last line may be a part of one. What is no regular file keeps it.
    static_cast<void>(ftruncate(fd, static_cast<off_t>(written.bytes)) == 0);
  }
  close(fd);
  postMessage("Done writing output to trace.txt...");
}

}  // namespace tarnwick
