#pragma once

namespace tarnwick {

// Writes the records to "/data/trace.txt", anew. The file ends at the last record that was written
// whole; gTraceLosses has the number of the others and why. Says so on standard output before and
// after, but not where the file cannot be opened. Pipe thread only, after all events.
void saveTrace();

}  // namespace tarnwick
