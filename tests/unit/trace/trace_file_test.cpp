#include "trace/trace_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick {
namespace {

constexpr int32_t kIntMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kIntMin = std::numeric_limits<int32_t>::min();

// The records and names of a measurement, as its threads leave them.
struct Measurement {
  TraceRecordList records;
  NameTable names, kpiNames;
  std::map<int32_t, int32_t> tidToTgid;
  std::map<int32_t, std::string> tgidNames;
  std::map<int32_t, NameTable::Id> tidNames;

  // An event of thread `tid`, after which the thread keeps its name. The placeholder is not kept as
  // its process's name.
  void add(TraceRecordKind kind, int32_t tgid, const std::string& tgidName, int32_t tid,
           const std::string& tidName) {
    TraceRecord record;
    record.time = 1.5;
    record.duration = 500;
    record.kind = kind;
    record.cpu = 2;
    record.tid = tid;
    tidToTgid[tid] = tgid;
    if (tgidName != "re-initialized>") {
      tgidNames[tgid] = tgidName;
    }
    record.name = tidNames[tid] = names.idOf(tidName);
    records.append(record);
  }

  void addKpi(int32_t tid, const std::string& tag) {
    TraceRecord record;
    record.time = 5;
    record.duration = 1000000;
    record.kind = TraceRecordKind::kKpi;
    record.tid = tid;
    record.name = kpiNames.idOf(tag);
    records.append(record);
  }

  std::string written() {
    std::string text;
    const WrittenRecords whole = writeTo([&text](std::string_view bytes) {
      text += bytes;
      return bytes.size();
    });
    EXPECT_EQ(whole.records, records.size());
    EXPECT_EQ(whole.bytes, text.size());
    return text;
  }

  WrittenRecords writeTo(const TraceFileOutput& out) {
    return writeTraceRecords(records, {tidToTgid, tgidNames, tidNames, names, kpiNames}, out);
  }
};

// What the line of a single record says from `field` up to the blank behind it.
std::string fieldOf(Measurement& measurement, const std::string& field) {
  const std::string line = measurement.written();
  const size_t start = line.find(' ' + field + '=') + 1;
  return line.substr(start, line.find_first_of(" \n", start) - start);
}

std::string timeOf(double time) {
  Measurement measurement;
  TraceRecord record;
  record.time = time;
  measurement.records.append(record);
  const std::string line = measurement.written();
  return line.substr(0, line.find(' '));
}

std::string cpuOf(int32_t cpu) {
  Measurement measurement;
  TraceRecord record;
  record.cpu = cpu;
  measurement.records.append(record);
  return fieldOf(measurement, "cpu");
}

TEST(TraceFile, waitOfAThread) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kWait, 40, "com.example", 41, "RenderThread");
  EXPECT_EQ(measurement.written(),
            "time=1.500000 tag=nr duration=500 cpu=2 tgid=40 tgid_name=com.example tid=41 "
            "tid_name=RenderThread name=wait\n");
}

TEST(TraceFile, ioWaitOfAThread) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kIoWait, 40, "com.example", 41, "RenderThread");
  EXPECT_EQ(measurement.written(),
            "time=1.500000 tag=nr duration=500 cpu=2 tgid=40 tgid_name=com.example tid=41 "
            "tid_name=RenderThread name=iowait\n");
}

TEST(TraceFile, runTimeOfAThread) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kRuntime, 40, "com.example", 41, "RenderThread");
  EXPECT_EQ(measurement.written(),
            "time=1.500000 tag=r duration=500 cpu=2 tgid=40 tgid_name=com.example tid=41 "
            "tid_name=RenderThread name=RenderThread\n");
}

TEST(TraceFile, kpiLine) {
  Measurement measurement;
  measurement.addKpi(0, "KPI-R2K-AT-1");
  EXPECT_EQ(measurement.written(),
            "time=5.000000 tag=nr duration=1000000 cpu=0 tgid=0 tgid_name=kpi tid=0 tid_name=kpi "
            "name=KPI-R2K-AT-1\n");
}

TEST(TraceFile, kpiLineOfAProcess) {
  Measurement measurement;
  measurement.addKpi(321, "KPI-R2K-ZY-6");
  EXPECT_EQ(fieldOf(measurement, "tid"), "tid=321");
}

TEST(TraceFile, isEmptyWithoutRecords) {
  EXPECT_EQ(Measurement().written(), "");
}

TEST(TraceFile, timeHasSixDigits) {
  EXPECT_EQ(timeOf(35.993756), "time=35.993756");
}

TEST(TraceFile, timeIsRounded) {
  EXPECT_EQ(timeOf(0.9999996), "time=1.000000");
}

TEST(TraceFile, timeMayBeNegative) {
  EXPECT_EQ(timeOf(-0.007), "time=-0.007000");
}

TEST(TraceFile, timeOfManyDigitsIsWhole) {
  EXPECT_EQ(timeOf(9223372036854775.807), "time=9223372036854776.000000");
}

TEST(TraceFile, longestDurationIsWhole) {
  Measurement measurement;
  TraceRecord record;
  record.duration = static_cast<uint32_t>(TraceRecord::kLongestDuration);
  measurement.records.append(record);
  EXPECT_EQ(fieldOf(measurement, "duration"), "duration=300000000");
}

TEST(TraceFile, cpuMayBeNegative) {
  EXPECT_EQ(cpuOf(-1), "cpu=-1");
}

TEST(TraceFile, smallestCpuIsWhole) {
  EXPECT_EQ(cpuOf(kIntMin), "cpu=-2147483648");
}

TEST(TraceFile, largestIdsAreWhole) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kWait, kIntMax, "p", kIntMax - 1, "t");
  EXPECT_EQ(fieldOf(measurement, "tgid") + ' ' + fieldOf(measurement, "tid"),
            "tgid=2147483647 tid=2147483646");
}

TEST(TraceFile, namesMayHoldBlanks) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kRuntime, 40, "my process", 41, "my app-7 [x]");
  EXPECT_EQ(measurement.written(),
            "time=1.500000 tag=r duration=500 cpu=2 tgid=40 tgid_name=my process tid=41 "
            "tid_name=my app-7 [x] name=my app-7 [x]\n");
}

TEST(TraceFile, namesAreNoFormats) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kRuntime, 40, "%s%n", 41, "%d");
  EXPECT_EQ(measurement.written(),
            "time=1.500000 tag=r duration=500 cpu=2 tgid=40 tgid_name=%s%n tid=41 tid_name=%d "
            "name=%d\n");
}

TEST(TraceFile, hasTheLongestNamesWhole) {
  const std::string process(127, 'p');
  const std::string thread(79, 't');
  Measurement measurement;
  measurement.add(TraceRecordKind::kRuntime, 40, process, 41, thread);
  EXPECT_EQ(measurement.written(),
            "time=1.500000 tag=r duration=500 cpu=2 tgid=40 tgid_name=" + process +
                " tid=41 tid_name=" + thread + " name=" + thread + '\n');
}

// The name of a process that was about to be named.

TEST(TraceFile, hasNamesWholeThatFillManyBuffers) {
  const std::string name(200000, 'n');
  Measurement measurement;
  measurement.add(TraceRecordKind::kWait, 7, name, 8, "thread");
  EXPECT_EQ(fieldOf(measurement, "tgid_name"), "tgid_name=" + name);
}

TEST(TraceFile, placeholderBecomesTheNameOfTheProcess) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kWait, 40, "re-initialized>", 41, "app");
  measurement.tgidNames[40] = "com.example";
  EXPECT_EQ(fieldOf(measurement, "tgid_name"), "tgid_name=com.example");
}

TEST(TraceFile, placeholderBecomesEmptyWhereTheProcessWasNeverNamed) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kWait, 40, "re-initialized>", 41, "app");
  EXPECT_EQ(fieldOf(measurement, "tgid_name"), "tgid_name=");
}

TEST(TraceFile, placeholderAddsTheProcessThatWasNeverNamed) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kWait, 40, "re-initialized>", 41, "app");
  measurement.written();
  EXPECT_EQ(measurement.tgidNames, (std::map<int32_t, std::string>{{40, ""}}));
}

TEST(TraceFile, otherNameAddsNoProcess) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kWait, 40, "zygote64", 41, "app");
  measurement.written();
  EXPECT_EQ(measurement.tgidNames, (std::map<int32_t, std::string>{{40, "zygote64"}}));
}

// The main thread, whose id is its process's.

TEST(TraceFile, runTimeOfAMainThreadIsNamedAfterItsProcess) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kRuntime, 40, "com.example", 40, "main");
  EXPECT_EQ(measurement.written(),
            "time=1.500000 tag=r duration=500 cpu=2 tgid=40 tgid_name=com.example tid=40 "
            "tid_name=main name=com.example\n");
}

TEST(TraceFile, runTimeOfAMainThreadIsNamedAfterThePlaceholdersProcess) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kRuntime, 40, "re-initialized>", 40, "main");
  measurement.tgidNames[40] = "com.example";
  EXPECT_EQ(fieldOf(measurement, "name"), "name=com.example");
}

TEST(TraceFile, waitOfAMainThreadIsAWait) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kWait, 40, "com.example", 40, "main");
  EXPECT_EQ(fieldOf(measurement, "name"), "name=wait");
}

TEST(TraceFile, ioWaitOfAMainThreadIsAnIoWait) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kIoWait, 40, "com.example", 40, "main");
  EXPECT_EQ(fieldOf(measurement, "name"), "name=iowait");
}

// The name of a thread.

TEST(TraceFile, threadHasItsLastNameInEveryLine) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kWait, 40, "com.example", 41, "Thread-1");
  measurement.tidNames[41] = measurement.names.idOf("RenderThread");
  EXPECT_EQ(fieldOf(measurement, "tid_name"), "tid_name=RenderThread");
}

TEST(TraceFile, runTimeHasTheNameOfItsMoment) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kRuntime, 40, "com.example", 41, "Thread-1");
  measurement.tidNames[41] = measurement.names.idOf("RenderThread");
  EXPECT_EQ(fieldOf(measurement, "name"), "name=Thread-1");
}

TEST(TraceFile, unknownThreadHasNoName) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kWait, 40, "com.example", 40, "main");
  measurement.tidNames.clear();
  EXPECT_EQ(fieldOf(measurement, "tid_name"), "tid_name=");
}

TEST(TraceFile, unknownThreadIsAdded) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kWait, 40, "com.example", 41, "app");
  measurement.tidNames.clear();
  measurement.written();
  EXPECT_EQ(measurement.tidNames, (std::map<int32_t, NameTable::Id>{{41, 0}}));
}

// What has no process keeps its names.

TEST(TraceFile, kpiLineKeepsItsNameWhereTheThreadIsKnown) {
  Measurement measurement;
  measurement.addKpi(41, "KPI-R2K-ZY-6");
  measurement.tidNames[41] = measurement.names.idOf("RenderThread");
  EXPECT_EQ(fieldOf(measurement, "tid_name"), "tid_name=kpi");
}

TEST(TraceFile, kpiLineKeepsItsNameWhereThread0IsKnown) {
  Measurement measurement;
  measurement.addKpi(0, "KPI-R2K-AT-1");
  measurement.tgidNames[0] = measurement.names.name(0);
  measurement.tidNames[0] = measurement.names.idOf("swapper");
  EXPECT_EQ(fieldOf(measurement, "tid_name"), "tid_name=kpi");
}

TEST(TraceFile, kpiLineAddsNoThread) {
  Measurement measurement;
  measurement.addKpi(41, "KPI-R2K-ZY-6");
  measurement.written();
  EXPECT_TRUE(measurement.tidNames.empty());
}

TEST(TraceFile, kpiLineIsNamedFromItsOwnTable) {
  Measurement measurement;
  measurement.names.idOf("app");
  measurement.addKpi(0, "KPI-R2K-AT-1");
  EXPECT_EQ(fieldOf(measurement, "name"), "name=KPI-R2K-AT-1");
}

TEST(TraceFile, isInTheOrderOfAppending) {
  Measurement measurement;
  measurement.addKpi(0, "KPI-R2K-AT-1");
  measurement.add(TraceRecordKind::kWait, 40, "a", 41, "b");
  measurement.addKpi(0, "KPI-R2K-AT-5");
  EXPECT_EQ(measurement.written(),
            "time=5.000000 tag=nr duration=1000000 cpu=0 tgid=0 tgid_name=kpi tid=0 tid_name=kpi "
            "name=KPI-R2K-AT-1\n"
            "time=1.500000 tag=nr duration=500 cpu=2 tgid=40 tgid_name=a tid=41 tid_name=b "
            "name=wait\n"
            "time=5.000000 tag=nr duration=1000000 cpu=0 tgid=0 tgid_name=kpi tid=0 tid_name=kpi "
            "name=KPI-R2K-AT-5\n");
}

TEST(TraceFile, leavesTheRecordsAsTheyAre) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kRuntime, 40, "re-initialized>", 40, "main");
  const std::string first = measurement.written();
  EXPECT_EQ(measurement.written(), first);
}

// The same without ids: every line has its own texts, and the rules change them one after another.
struct PlainRecord {
  double time;
  std::string tag;
  int64_t duration;
  int32_t cpu;
  int32_t tgid;
  std::string tgidName;
  int32_t tid;
  std::string tidName;
  std::string name;
};

struct PlainMeasurement {
  std::vector<PlainRecord> records;
  std::map<int32_t, std::string> tgidNames, tidNames;

  std::string written() {
    std::string text;
    for (PlainRecord record : records) {
      if (record.tgidName == "re-initialized>") {
        record.tgidName = tgidNames[record.tgid];
      }
      if (record.tgid == record.tid) {
        record.tidName = record.tgidName;
        if (record.tag == "r") {
          record.name = record.tgidName;
        }
      }
      if (record.tgid != 0) {
        record.tidName = tidNames[record.tid];
      }
      char line[1024];
      for (std::string* name : {&record.tgidName, &record.tidName, &record.name}) {
        std::replace_if(
            name->begin(), name->end(), [](char c) { return iscntrl(c) != 0; }, '?');
      }
      snprintf(line, sizeof(line),
               "time=%.6lf tag=%s duration=%ld cpu=%d tgid=%d tgid_name=%s tid=%d tid_name=%s "
               "name=%s\n",
               record.time, record.tag.c_str(), record.duration, record.cpu, record.tgid,
               record.tgidName.c_str(), record.tid, record.tidName.c_str(), record.name.c_str());
      text += line;
    }
    return text;
  }
};

// The same random measurement in both forms.
class RandomMeasurement {
 public:
  explicit RandomMeasurement(uint64_t seed) : random_(seed) {
    for (size_t left = below(40); left > 0; --left) {
      below(5) == 0 ? addKpi() : addEvent();
    }
    // A name that came too late for a record, an event that left none, and a thread that is gone.
    for (int32_t id = 0; id <= kIds; ++id) {
      if (below(3) == 0) {
        processName(id);
      }
      if (below(4) == 0) {
        setTidName(id, threadName());
      } else if (below(4) == 0) {
        plain.tidNames.erase(id);
        compact.tidNames.erase(id);
      }
    }
  }

  PlainMeasurement plain;
  Measurement compact;

 private:
  static constexpr int32_t kIds = 6;  // few, so that threads meet their processes and themselves

  size_t below(size_t end) { return static_cast<size_t>(random_()) % end; }

  template <typename T>
  T oneOf(const std::vector<T>& choices) {
    return choices[below(choices.size())];
  }

  int32_t id() { return 1 + static_cast<int32_t>(below(kIds)); }

  // A thread's process, and a process's name but for the placeholder, stay what they were first.
  int32_t tgidOf(int32_t tid) { return compact.tidToTgid.try_emplace(tid, id()).first->second; }
  std::string processName(int32_t tgid) {
    const auto known = compact.tgidNames.find(tgid);
    if (known != compact.tgidNames.end()) {
      return known->second;
    }
    auto name =
        oneOf<std::string>({"re-initialized>", "com.example", "sh", "my app", "init", "lo\ngcat"});
    if (name != "re-initialized>") {
      plain.tgidNames[tgid] = compact.tgidNames[tgid] = name;
    }
    return name;
  }

  std::string threadName() {
    return oneOf<std::string>({"main", "blank", "Binder:1_2", "my app-7 [x]", "sh", " ",
                               "re-initialized>", "a\x1b[2Jb\x7f", "a?[2Jb?",
                               std::string(79, 'k')});
  }
  double time() {
    // Among them such as lie half between two numbers of six digits.
    return oneOf<double>({-0.0, static_cast<double>(below(2000000000)) / 2e6,
                          static_cast<double>(below(1000000000000)) / 1e9, 0, -1.5, 35.993756, 1e15,
                          0.0000005, static_cast<double>(below(1000000)),
                          static_cast<double>(random_() >> 11U) / 1e6});
  }

  void setTidName(int32_t tid, const std::string& name) {
    plain.tidNames[tid] = name;
    compact.tidNames[tid] = compact.names.idOf(name);
  }

  void addEvent() {
    const auto kind = oneOf<TraceRecordKind>(
        {TraceRecordKind::kWait, TraceRecordKind::kIoWait, TraceRecordKind::kRuntime});
    const std::string comm = threadName();
    const int32_t tid = id();
    const int32_t tgid = tgidOf(tid);
    const PlainRecord event = {
        .time = time(),
        .tag = kind == TraceRecordKind::kRuntime ? "r" : "nr",
        .duration = oneOf<int64_t>({1, 300000000, 1 + static_cast<int64_t>(below(300000000))}),
        .cpu = oneOf<int32_t>({-1, 0, 3, 511, kIntMin, kIntMax}),
        .tgid = tgid,
        .tgidName = processName(tgid),
        .tid = tid,
        .tidName = comm,
        .name = kind == TraceRecordKind::kWait     ? "wait"
                : kind == TraceRecordKind::kIoWait ? "iowait"
                                                   : comm};
    TraceRecord record;
    record.time = event.time;
    record.duration = static_cast<uint32_t>(event.duration) & ((1U << 29U) - 1);
    record.kind = kind;
    record.cpu = event.cpu;
    record.tid = event.tid;
    record.name = compact.names.idOf(comm);
    plain.records.push_back(event);
    compact.records.append(record);
    setTidName(event.tid, comm);
  }

  void addKpi() {
    const auto tid = static_cast<int32_t>(below(kIds));
    const auto tag = oneOf<std::string>({"KPI-R2K-AT-1", "KPI-R2K-\x1bZY-6", "", "main"});
    compact.addKpi(tid, tag);
    plain.records.push_back({.time = 5,
                             .tag = "nr",
                             .duration = 1000000,
                             .cpu = 0,
                             .tgid = 0,
                             .tgidName = "kpi",
                             .tid = tid,
                             .tidName = "kpi",
                             .name = tag});
  }

  std::mt19937_64 random_;
};

constexpr uint64_t kMeasurements = 5000;

TEST(TraceFile, randomMeasurementsAreWrittenRecordByRecord) {
  for (uint64_t seed = 0; seed < kMeasurements; ++seed) {
    RandomMeasurement measurement(seed);
    ASSERT_EQ(measurement.compact.written(), measurement.plain.written()) << seed;
  }
}

TEST(TraceFile, randomMeasurementsAddTheSameIds) {
  for (uint64_t seed = 0; seed < kMeasurements; ++seed) {
    RandomMeasurement measurement(seed);
    measurement.compact.written();
    measurement.plain.written();
    std::map<int32_t, std::string> tidNames;
    for (const auto& [tid, name] : measurement.compact.tidNames) {
      tidNames[tid] = measurement.compact.names.name(name);
    }
    ASSERT_EQ(tidNames, measurement.plain.tidNames) << seed;
    ASSERT_EQ(measurement.compact.tgidNames, measurement.plain.tgidNames) << seed;
  }
}

// What comes of a trace on a disk with this many bytes.
WrittenRecords writtenWithin(Measurement& measurement, size_t room) {
  bool full = false;
  return measurement.writeTo([&](std::string_view bytes) {
    EXPECT_FALSE(full) << "writes go on";
    const size_t taken = std::min(bytes.size(), room);
    room -= taken;
    full = taken < bytes.size();
    return taken;
  });
}

TEST(TraceFile, FullOutputKeepsWholeLines) {
  Measurement measurement;
  std::vector<size_t> ends;  // of the lines
  for (int32_t tid : {1, 22, 333}) {
    measurement.add(TraceRecordKind::kWait, tid, "p", tid, "t");
    ends.push_back(measurement.written().size());
  }
  for (size_t room = 0; room <= ends.back(); ++room) {
    const auto whole =
        static_cast<size_t>(std::upper_bound(ends.begin(), ends.end(), room) - ends.begin());
    const WrittenRecords written = writtenWithin(measurement, room);
    ASSERT_EQ(written.records, whole) << room;
    ASSERT_EQ(written.bytes, whole == 0 ? 0 : ends[whole - 1]) << room;
  }
}

TEST(TraceFile, FullOutputOfManyBlocksKeepsWholeLines) {
  Measurement measurement;
  constexpr size_t kRecords = 5000;
  for (size_t i = 0; i < kRecords; ++i) {
    measurement.add(TraceRecordKind::kWait, 7, "p", 7, "t");
  }
  const size_t length = measurement.written().size() / kRecords;
  for (const size_t room : {size_t{1000}, size_t{65536}, size_t{200000}, size_t{300001}}) {
    const WrittenRecords written = writtenWithin(measurement, room);
    EXPECT_EQ(written.records, room / length);
    EXPECT_EQ(written.bytes, room / length * length);
  }
}

TEST(TraceFile, NewlineInANameForgesNoRecord) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kRuntime, 7, "p\ntime=1", 7, "t");
  measurement.add(TraceRecordKind::kRuntime, 7, "p\ntime=1", 8, "t\ntime=2");
  measurement.addKpi(0, "KPI-R2K-\x1b[A");
  EXPECT_EQ(measurement.written(),
            "time=1.500000 tag=r duration=500 cpu=2 tgid=7 tgid_name=p?time=1 tid=7 tid_name=t "
            "name=p?time=1\n"
            "time=1.500000 tag=r duration=500 cpu=2 tgid=7 tgid_name=p?time=1 tid=8 "
            "tid_name=t?time=2 name=t?time=2\n"
            "time=5.000000 tag=nr duration=1000000 cpu=0 tgid=0 tgid_name=kpi tid=0 tid_name=kpi "
            "name=KPI-R2K-?[A\n");
}

TEST(TraceFile, NewlineInANameEndsNoLine) {
  Measurement measurement;
  measurement.add(TraceRecordKind::kWait, 7, "p\nq", 7, "t");
  EXPECT_EQ(writtenWithin(measurement, measurement.written().size() - 1).records, 0U);
}

TEST(TraceFile, NoRecordsNeedNoOutput) {
  Measurement measurement;
  EXPECT_EQ(writtenWithin(measurement, 0).records, 0U);
}

}  // namespace
}  // namespace tarnwick
