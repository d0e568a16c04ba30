#include "proc/process_stat.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/unit/support/fixture.h"
#include "tests/unit/support/odd_texts.h"

namespace tarnwick {
namespace {

constexpr int kTexts = 200000;

// The fields of a record, which unlike a record can be copied and compared.
struct Fields {
  int32_t id = 0;
  std::string name;
  int32_t ppid = 0;
  int64_t minFaults = 0;
  int64_t majFaults = 0;
  int64_t utime = 0;
  int64_t stime = 0;
  int64_t total = 0;
  int64_t numThreads = 0;
  int64_t blkioTicks = 0;

  bool operator==(const Fields&) const = default;
};

void PrintTo(const Fields& fields, std::ostream* out) {
  *out << fields.id << " (" << testing::PrintToString(fields.name) << ") " << fields.ppid << ' '
       << fields.minFaults << ' ' << fields.majFaults << ' ' << fields.utime << ' ' << fields.stime
       << ' ' << fields.total << ' ' << fields.numThreads << ' ' << fields.blkioTicks;
}

Fields fieldsOf(const ProcessRecord& record) {
  return {.id = record.id,
          .name = record.name.data(),
          .ppid = record.ppid,
          .minFaults = record.minFaults,
          .majFaults = record.majFaults,
          .utime = record.utime,
          .stime = record.stime,
          .total = record.total,
          .numThreads = record.numThreads,
          .blkioTicks = record.blkioTicks};
}

// A record with something else than 0 in every field.
android::sp<ProcessRecord> heldRecord() {
  android::sp<ProcessRecord> record = new ProcessRecord;
  record->id = -1;
  record->name.fill('#');
  record->name.back() = '\0';
  record->ppid = -2;
  record->minFaults = -3;
  record->majFaults = -4;
  record->utime = -5;
  record->stime = -6;
  record->total = -7;
  record->numThreads = -8;
  record->blkioTicks = -9;
  record->runNs = -10;
  record->waitNs = -11;
  record->switches = -12;
  return record;
}

// What the text gives over the held record.
Fields statOf(std::string_view text) {
  const android::sp<ProcessRecord> record = heldRecord();
  parseProcessStat(text, *record);
  return fieldsOf(*record);
}

// A stat line with its field numbers as values, so that field 14 is 14.
std::string numberedStat(const std::string& name = "name") {
  std::string text = "1 (" + name + ") S";
  for (int field = 4; field <= 52; ++field) {
    text += ' ' + std::to_string(field);
  }
  return text + '\n';
}

TEST(ProcessStat, idIsTheFirstField) {
  EXPECT_EQ(statOf(numberedStat()).id, 1);
}

TEST(ProcessStat, nameHasNoParentheses) {
  EXPECT_EQ(statOf(numberedStat()).name, "name");
}

TEST(ProcessStat, ppidIsField4) {
  EXPECT_EQ(statOf(numberedStat()).ppid, 4);
}

TEST(ProcessStat, minFaultsIsField10) {
  EXPECT_EQ(statOf(numberedStat()).minFaults, 10);
}

TEST(ProcessStat, majFaultsIsField12) {
  EXPECT_EQ(statOf(numberedStat()).majFaults, 12);
}

TEST(ProcessStat, utimeIsField14) {
  EXPECT_EQ(statOf(numberedStat()).utime, 14);
}

TEST(ProcessStat, stimeIsField15) {
  EXPECT_EQ(statOf(numberedStat()).stime, 15);
}

TEST(ProcessStat, totalIsTheSumOfUtimeAndStime) {
  EXPECT_EQ(statOf(numberedStat()).total, 29);
}

TEST(ProcessStat, numThreadsIsField20) {
  EXPECT_EQ(statOf(numberedStat()).numThreads, 20);
}

TEST(ProcessStat, blkioTicksIsField42) {
  EXPECT_EQ(statOf(numberedStat()).blkioTicks, 42);
}

TEST(ProcessStat, schedstatFieldsStay) {
  const android::sp<ProcessRecord> record = heldRecord();
  parseProcessStat(numberedStat(), *record);
  EXPECT_TRUE(record->runNs == -10 && record->waitNs == -11 && record->switches == -12);
}

TEST(ProcessStat, realProcess) {
  EXPECT_EQ(statOf(readFixture("linux-5.10-arm64/t1/proc/176/stat")), (Fields{.id = 176,
                                                                              .name = "disk.writer",
                                                                              .ppid = 146,
                                                                              .minFaults = 60,
                                                                              .utime = 2,
                                                                              .stime = 112,
                                                                              .total = 114,
                                                                              .numThreads = 1,
                                                                              .blkioTicks = 1279}));
}

TEST(ProcessStat, realKernelThread) {
  EXPECT_EQ(statOf(readFixture("linux-6.1-arm64/t0/proc/2/stat")),
            (Fields{.id = 2, .name = "kthreadd", .stime = 9, .total = 9, .numThreads = 1}));
}

TEST(ProcessStat, realNameWithBlanksAndBrackets) {
  EXPECT_EQ(statOf(readFixture("linux-6.1-arm64/t0/proc/192/stat")).name, "my app-7 [x]");
}

TEST(ProcessStat, realNameOf15CharactersIsWhole) {
  EXPECT_EQ(statOf(readFixture("linux-6.12-arm64/t0/proc/229/stat")).name, "com.example.lon");
}

TEST(ProcessStat, realNameEndsAtItsFirstParenthesis) {
  EXPECT_EQ(statOf(readFixture("linux-6.1-arm64/t0/proc/194/stat")).name, "a");
}

TEST(ProcessStat, whatFollowsAParenthesisInTheNameIsReadAsFields) {
  // "194 (a) R 1 (b) ...": the parent is 1, and what follows it is no number.
  EXPECT_EQ(statOf(readFixture("linux-6.1-arm64/t0/proc/194/stat")), (Fields{.id = 194,
                                                                             .name = "a",
                                                                             .ppid = 1,
                                                                             .minFaults = -3,
                                                                             .majFaults = -4,
                                                                             .utime = -5,
                                                                             .stime = -6,
                                                                             .total = -11,
                                                                             .numThreads = -8,
                                                                             .blkioTicks = -9}));
}

TEST(ProcessStat, nameMayHoldAnOpeningParenthesis) {
  EXPECT_EQ(statOf(numberedStat("a(b")).name, "a(b");
}

TEST(ProcessStat, nameMayHoldANewline) {
  EXPECT_EQ(statOf(numberedStat("a\nb")).name, "a\nb");
}

TEST(ProcessStat, nameOf39CharactersIsWhole) {
  EXPECT_EQ(statOf(numberedStat(std::string(39, 'k'))).name, std::string(39, 'k'));
}

TEST(ProcessStat, nameOf40CharactersIsCut) {
  EXPECT_EQ(statOf(numberedStat(std::string(40, 'k'))).name, std::string(39, 'k'));
}

TEST(ProcessStat, fieldsBehindACutNameAreRead) {
  EXPECT_EQ(statOf(numberedStat("kworker/u16:0-" + std::string(49, 'k'))).blkioTicks, 42);
}

TEST(ProcessStat, shorterNameLeavesNothingOfALongerOne) {
  const android::sp<ProcessRecord> record = heldRecord();
  parseProcessStat(numberedStat("ab"), *record);
  EXPECT_EQ(record->name, (ProcessRecord::Name{'a', 'b'}));
}

TEST(ProcessStat, nameIsClearedEvenWhenTheTextHasNone) {
  EXPECT_EQ(statOf("12").name, "");
}

TEST(ProcessStat, emptyNameEndsTheFields) {
  EXPECT_EQ(statOf("1 () S 4 5").ppid, -2);
}

TEST(ProcessStat, nameWithoutItsEndIsTaken) {
  EXPECT_EQ(statOf("1 (nam").name, "nam");
}

TEST(ProcessStat, missingParenthesisEndsTheFields) {
  EXPECT_EQ(statOf("1 name S 4 5").ppid, -2);
}

TEST(ProcessStat, anyCharacterIsAState) {
  EXPECT_EQ(statOf("1 (a) 7 4").ppid, 4);
}

TEST(ProcessStat, emptyTextLeavesTheFieldsAlone) {
  EXPECT_EQ(statOf("").utime, -5);
}

TEST(ProcessStat, fieldsThatTheTextDoesNotReachStay) {
  const Fields fields = statOf("1 (a) S 4 5 6 7 8 9 10 11 12 13 14 x 16 17");
  EXPECT_TRUE(fields.utime == 14 && fields.stime == -6);
}

TEST(ProcessStat, totalCountsFieldsThatStayed) {
  EXPECT_EQ(statOf("1 (a) S 4 5 6 7 8 9 10 11 12 13 14 x 16 17").total, 8);
}

TEST(ProcessStat, totalWrapsAtTheEndOfTheRange) {
  EXPECT_EQ(statOf("1 (a) S 4 5 6 7 8 9 10 11 12 13 9223372036854775807 1").total,
            std::numeric_limits<int64_t>::min());
}

TEST(ProcessStat, unsignedFieldBeyondTheRangeIsPassedOver) {
  std::string text = numberedStat();
  text.replace(text.find(" 25 "), 4, " 18446744073709551615 ");
  EXPECT_EQ(statOf(text).blkioTicks, 42);
}

TEST(ProcessStat, idBeyond32BitsKeepsItsLowHalf) {
  EXPECT_EQ(statOf("4294967298 (a) S 4").id, 2);
}

Fields sscanfStatOf(const std::string& text) {
  const android::sp<ProcessRecord> held = heldRecord();
  Fields fields = fieldsOf(*held);
  std::string name(text.size() + 1, '\0');
  char state = 0;
  int64_t no = 0;  // fields that are read and dropped
  sscanf(text.c_str(),
         "%d (%[^)]) %c %d %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld "
         "%ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld %ld",
         &fields.id, name.data(), &state, &fields.ppid, &no, &no, &no, &no, &no,        // 5 to 9
         &fields.minFaults, &no, &fields.majFaults, &no, &fields.utime, &fields.stime,  //
         &no, &no, &no, &no, &fields.numThreads,                                        // 16 to 20
         &no, &no, &no, &no, &no, &no, &no, &no, &no, &no,                              // 21 to 30
         &no, &no, &no, &no, &no, &no, &no, &no, &no, &no, &no,                         // 31 to 41
         &fields.blkioTicks);
  fields.name = name.substr(0, std::min(name.find('\0'), size_t{39}));
  fields.total = static_cast<int64_t>(static_cast<uint64_t>(fields.utime) +
                                      static_cast<uint64_t>(fields.stime));
  return fields;
}

TEST(ProcessStat, oddTextsReadAsSscanfReadsThem) {
  std::vector<std::string> real = readProcessFixtures("stat");
  real.push_back(numberedStat("kworker/u16:0-events_unbound_and_then_some_more"));
  OddTexts texts(real, "0123456789 +-()\t\n\v\f\rxe.,");
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = texts.next();
    ASSERT_EQ(statOf(text), sscanfStatOf(text)) << testing::PrintToString(text);
  }
}

TEST(ProcessStat, rowsOfOddNumbersReadAsSscanfReadsThem) {
  OddTexts texts({"4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20"}, "0123456789 +-\t\n");
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = "7 (a b) R " + texts.next() + texts.next();
    ASSERT_EQ(statOf(text), sscanfStatOf(text)) << testing::PrintToString(text);
  }
}

struct Schedstat {
  int fields = 0;
  int64_t runNs = -10;
  int64_t waitNs = -11;
  int64_t switches = -12;

  bool operator==(const Schedstat&) const = default;
};

void PrintTo(const Schedstat& schedstat, std::ostream* out) {
  *out << schedstat.fields << ": " << schedstat.runNs << ' ' << schedstat.waitNs << ' '
       << schedstat.switches;
}

Schedstat schedstatOf(std::string_view text) {
  const android::sp<ProcessRecord> record = heldRecord();
  const int fields = parseProcessSchedstat(text, *record);
  return {fields, record->runNs, record->waitNs, record->switches};
}

TEST(ProcessSchedstat, realThread) {
  EXPECT_EQ(schedstatOf(readFixture("linux-6.1-arm64/t1/proc/190/schedstat")),
            (Schedstat{3, 648885280, 1802376816, 1209}));
}

TEST(ProcessSchedstat, statFieldsStay) {
  const android::sp<ProcessRecord> record = heldRecord();
  parseProcessSchedstat("1 2 3", *record);
  EXPECT_EQ(fieldsOf(*record), fieldsOf(*heldRecord()));
}

TEST(ProcessSchedstat, missingFieldsStay) {
  EXPECT_EQ(schedstatOf("97000 - 5"), (Schedstat{1, 97000, -11, -12}));
}

TEST(ProcessSchedstat, emptyTextHasNoFields) {
  EXPECT_EQ(schedstatOf(""), Schedstat{});
}

TEST(ProcessSchedstat, oddTextsReadAsSscanfReadsThem) {
  OddTexts texts(readProcessFixtures("schedstat"), "0123456789 +-()\t\n\v\f\rxe.,");
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = texts.next();
    long long run = -10;
    long long wait = -11;
    long switches = -12;
    const int fields = sscanf(text.c_str(), "%lld %lld %ld", &run, &wait, &switches);
    // The end of the text before the first field is -1 to sscanf and no field to us.
    ASSERT_EQ(schedstatOf(text), (Schedstat{std::max(fields, 0), run, wait, switches}))
        << testing::PrintToString(text);
  }
}

}  // namespace
}  // namespace tarnwick
