#include "trace/trace_record.h"

namespace tarnwick {

void TraceRecordList::append(const TraceRecord& record) {
  if (size_ == chunks_.size() * kChunkRecords) {
    chunks_.push_back(std::make_unique<TraceRecord[]>(kChunkRecords));
  }
  chunks_.back()[size_ % kChunkRecords] = record;
  ++size_;
}

void TraceRecordList::clear() {
  chunks_.clear();
  chunks_.shrink_to_fit();
  size_ = 0;
}

}  // namespace tarnwick
