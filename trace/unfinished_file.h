#pragma once

#ifdef TARNWICK_PURE
#error "Parsing, subtracting and formatting open no file."
#endif

namespace tarnwick {

// A file that is written beside the one that it replaces, and renamed when it is finished. What had
// the name before is not written to: a link's target, a FIFO, another user's file. A run that is
// killed leaves the unfinished file, and the next one removes it. One such file at a time.

// Creates the file at `path`, mode 0644 less the umask; removes what has that name, and follows no
// link. Returns the descriptor, close-on-exec, or -1 with the errno of open(2): EEXIST if a
// directory has the name. After a success, call renameUnfinishedFile or removeUnfinishedFile.
int createUnfinishedFile(const char* path);

// Whether the file, open as `fd`, still has its name. False if another run has removed it, to
// create its own.
bool hasName(int fd);

// Renames the unfinished file to `target`. On failure removes it and returns false, with the errno
// of rename(2).
bool renameUnfinishedFile(const char* target);

// Removes the unfinished file, if there is one. Keeps errno.
void removeUnfinishedFile();

// The same before the process ends: from now on no file is created. Async-signal-safe.
void abandonUnfinishedFiles();

}  // namespace tarnwick
