#pragma once

namespace tarnwick {

// Writes the records to "/data/trace.txt.new" and renames that to "/data/trace.txt", which it
// replaces: a link, a FIFO or another user's file as well, but not a directory. The file ends at
// the last record that was written whole; gTraceLosses has the number of the others and why. If the
// rename fails, those are all records, and the old file stays. On a full disk the old file is
// removed first. Says on standard output that it writes, but not if the file cannot be created.
// Pipe thread only, after all events.
void saveTrace();

}  // namespace tarnwick
