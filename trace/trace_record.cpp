#include "trace/trace_record.h"

#include <algorithm>

namespace tarnwick {

bool TraceRecordList::addChunk() {
  const uint64_t left = maxRecords_ - size();
  if (left == 0) {
    return false;
  }
  room_ = std::min<uint64_t>(left, kChunkRecords);
  chunks_.emplace_back().reserve(room_);
  return true;
}

void TraceRecordList::clear() {
  chunks_.clear();
  chunks_.shrink_to_fit();
  room_ = 0;
}

}  // namespace tarnwick
