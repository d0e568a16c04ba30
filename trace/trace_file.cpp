#include "trace/trace_file.h"

namespace tarnwick {

namespace {

void writeSchedRecord(const TraceRecord& record, TraceNames& names, FILE* out) {
  const bool runtime = record.kind == TraceRecordKind::kRuntime;
  std::string tgidName = names.names.name(record.tgidName);
  if (tgidName == kReinitialized) {
    tgidName = names.tgidNames[record.tgid];
  }
  const std::string& tidName = names.names.name(names.tidNames[record.tid]);
  const char* name = record.kind == TraceRecordKind::kWait ? "wait"
                     : !runtime                            ? "iowait"
                     : record.tgid == record.tid           ? tgidName.c_str()
                                                           : names.names.name(record.name).c_str();
  fprintf(out,
          "time=%.6lf tag=%s duration=%ld cpu=%d tgid=%d tgid_name=%s tid=%d tid_name=%s name=%s\n",
          record.time, runtime ? "r" : "nr", static_cast<long>(record.duration), record.cpu,
          record.tgid, tgidName.c_str(), record.tid, tidName.c_str(), name);
}

void writeKpiRecord(const TraceRecord& record, const TraceNames& names, FILE* out) {
  fprintf(
      out,
      "time=%.6lf tag=nr duration=%ld cpu=%d tgid=%d tgid_name=kpi tid=%d tid_name=kpi name=%s\n",
      record.time, static_cast<long>(record.duration), record.cpu, record.tgid, record.tid,
      names.kpiNames.name(record.name).c_str());
}

}  // namespace

void writeTraceRecords(const TraceRecordList& records, TraceNames names, FILE* out) {
  records.forEach([&](const TraceRecord& record) {
    if (record.kind == TraceRecordKind::kKpi) {
      writeKpiRecord(record, names, out);
    } else {
      writeSchedRecord(record, names, out);
    }
  });
}

}  // namespace tarnwick
