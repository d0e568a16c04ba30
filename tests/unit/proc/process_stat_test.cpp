#include "proc/process_stat.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/unit/support/fixture.h"
#include "tests/unit/support/odd_texts.h"
#include "tests/unit/support/process_reading.h"

namespace tarnwick {
namespace {

using process_reading::Fields;
using process_reading::fieldsOf;
using process_reading::heldRecord;
using process_reading::Schedstat;
using process_reading::schedstatOf;
using process_reading::sscanfSchedstatOf;
using process_reading::sscanfStatOf;
using process_reading::statOf;

constexpr int kStatTexts = 200000;

// A stat line with its field numbers as values, so that field 14 is 14.
std::string numberedStat(const std::string& name = "name") {
  std::string text = "1 (" + name + ") S";
  for (int field = 4; field <= 52; ++field) {
    text += ' ' + std::to_string(field);
  }
  return text + '\n';
}

TEST(TaskId, isDecimal) {
  EXPECT_EQ(parseTaskId("4194304"), 4194304);
}

TEST(TaskId, isNothingButDigits) {
  for (const char* name : {"", "self", "12x", "x12", "+1", "-1", "1.5", " 1", "1 ", "/", ":"}) {
    EXPECT_EQ(parseTaskId(name), std::nullopt) << name;
  }
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

TEST(ProcessStat, oddTextsReadAsSscanfReadsThem) {
  std::vector<std::string> real = readFixtures("proc", "stat");
  real.push_back(numberedStat("kworker/u16:0-events_unbound_and_then_some_more"));
  OddTexts texts(real, "0123456789 +-()\t\n\v\f\rxe.,");
  for (int i = 0; i < kStatTexts; ++i) {
    const std::string text = texts.next();
    ASSERT_EQ(statOf(text), sscanfStatOf(text)) << testing::PrintToString(text);
  }
}

TEST(ProcessStat, rowsOfOddNumbersReadAsSscanfReadsThem) {
  OddTexts texts({"4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20"}, "0123456789 +-\t\n");
  for (int i = 0; i < kStatTexts; ++i) {
    const std::string text = "7 (a b) R " + texts.next() + texts.next();
    ASSERT_EQ(statOf(text), sscanfStatOf(text)) << testing::PrintToString(text);
  }
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
  OddTexts texts(readFixtures("proc", "schedstat"), "0123456789 +-()\t\n\v\f\rxe.,");
  for (int i = 0; i < kStatTexts; ++i) {
    const std::string text = texts.next();
    ASSERT_EQ(schedstatOf(text), sscanfSchedstatOf(text)) << testing::PrintToString(text);
  }
}

}  // namespace
}  // namespace tarnwick
