#include "trace/trace_record.h"

namespace tarnwick {

void TraceRecordList::addChunk() {
  chunks_.emplace_back().reserve(kChunkRecords);
}

void TraceRecordList::clear() {
  chunks_.clear();
  chunks_.shrink_to_fit();
}

}  // namespace tarnwick
