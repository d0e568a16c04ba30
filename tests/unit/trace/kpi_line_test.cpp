#include "trace/kpi_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/support/kpi_reading.h"
#include "tests/unit/support/odd_lines.h"

namespace tarnwick {
namespace {

using kpi_reading::described;
using kpi_reading::kpiOf;
using kpi_reading::sscanfKpiOf;

std::string line(const std::string& rest) {
  return "11-20 16:41:43.123  1234  1250 " + rest;
}

TEST(KpiLine, hasProcessTagAndTime) {
  const std::string text = line("I KPI-R2K-AT-1: 5000 ms\n");
  const auto kpi = parseKpiLine(text);
  ASSERT_TRUE(kpi);
  EXPECT_EQ(kpi->pid, 1234);
  EXPECT_EQ(kpi->tag, "KPI-R2K-AT-1");
  EXPECT_EQ(kpi->timeMs, 5000);
  EXPECT_EQ(kpi->component, "");
}

TEST(KpiLine, componentEndsAtWhiteSpace) {
  EXPECT_EQ(parseKpiLine(line("I KPI-R2K-AMS-1: 1 cmp=com.example/.Main flg\n"))->component,
            "com.example/.Main");
}

TEST(KpiLine, componentOfTheWholeBufferIsCut) {
  const std::string text = line("I KPI-R2K-AMS-1: 1 cmp=" + std::string(400, 'c'));
  EXPECT_EQ(parseKpiLine(text)->component, std::string(255, 'c'));
}

TEST(KpiLine, componentOf255CharactersIsWhole) {
  const std::string component(255, 'c');
  EXPECT_EQ(parseKpiLine(line("I KPI-R2K-AMS-1: 1 cmp=" + component))->component, component);
}

TEST(KpiLine, componentIsTheFirst) {
  EXPECT_EQ(kpiOf(line("I KPI-R2K-AMS-1: 1 cmp=a/.A cmp=b/.B")),
            described(1234, "KPI-R2K-AMS-1", 1, "a/.A"));
}

TEST(KpiLine, componentMayStandApart) {
  EXPECT_EQ(kpiOf(line("I KPI-R2K-AMS-1: 1 cmp= a/.A")),
            described(1234, "KPI-R2K-AMS-1", 1, "a/.A"));
}

TEST(KpiLine, componentThatIsMissingBehindItsNameIsEmpty) {
  EXPECT_EQ(kpiOf(line("I KPI-R2K-AMS-1: 1 cmp=\n")), described(1234, "KPI-R2K-AMS-1", 1, ""));
}

TEST(KpiLine, tagOf31CharactersIsWhole) {
  const std::string tag = "KPI-R2K-" + std::string(23, 't');
  EXPECT_EQ(parseKpiLine(line("I " + tag + ": 1"))->tag, tag);
}

TEST(KpiLine, tagOf32CharactersIsCut) {
  const std::string tag = "KPI-R2K-" + std::string(24, 't');
  EXPECT_EQ(parseKpiLine(line("I " + tag + ": 1"))->tag, tag.substr(0, 31));
}

TEST(KpiLine, timeBehindACutTagIsRead) {
  EXPECT_EQ(parseKpiLine(line("I KPI-R2K-" + std::string(900, 't') + ": 7"))->timeMs, 7);
}

TEST(KpiLine, tagLosesItsLastCharacterWhateverItIs) {
  EXPECT_EQ(parseKpiLine(line("I KPI-R2K-AT-12 5000"))->tag, "KPI-R2K-AT-1");
}

TEST(KpiLine, tagOfOneCharacterIsEmpty) {
  EXPECT_EQ(kpiOf(line("I : 5000 KPI-R2K-AT-1")), described(1234, "", 5000, ""));
}

TEST(KpiLine, tagIsTheWordBehindThePriority) {
  EXPECT_EQ(kpiOf(line("I Activity: 5000 KPI-R2K-AT-1:")), described(1234, "Activity", 5000, ""));
}

TEST(KpiLine, tagWithABlankBeforeItsColonIsNone) {
  EXPECT_EQ(kpiOf(line("I KPI-R2K-AT-1 : 5000")), kNone);
}

TEST(KpiLine, priorityMayTouchTheTag) {
  EXPECT_EQ(kpiOf(line("IKPI-R2K-AT-1: 5000")), described(1234, "KPI-R2K-AT-1", 5000, ""));
}

TEST(KpiLine, priorityMayTouchTheThread) {
  EXPECT_EQ(kpiOf("11-20 16:41:43.123 1234 1250I KPI-R2K-AT-1: 5000"),
            described(1234, "KPI-R2K-AT-1", 5000, ""));
}

TEST(KpiLine, timeMayTouchItsUnit) {
  EXPECT_EQ(parseKpiLine(line("I KPI-R2K-AT-1: 5000ms"))->timeMs, 5000);
}

TEST(KpiLine, blanksInFrontArePassedOver) {
  EXPECT_EQ(kpiOf(" \t\n " + line("I KPI-R2K-AT-1: 5000")),
            described(1234, "KPI-R2K-AT-1", 5000, ""));
}

TEST(KpiLine, pidBeyond32BitsKeepsItsLowHalf) {
  EXPECT_EQ(parseKpiLine("11-20 16:41 4294967303 1250 I KPI-R2K-AT-1: 1")->pid, 7);
}

TEST(KpiLine, pidBeyond64BitsIsMinusOne) {
  EXPECT_EQ(parseKpiLine("11-20 16:41 99999999999999999999 1250 I KPI-R2K-AT-1: 1")->pid, -1);
}

TEST(KpiLine, timeBeyondTheRangeIsTheLargest) {
  EXPECT_EQ(parseKpiLine(line("I KPI-R2K-AT-1: 9223372036854775808"))->timeMs, INT64_MAX);
}

TEST(KpiLine, timeBelowTheRangeIsTheSmallest) {
  EXPECT_EQ(parseKpiLine(line("I KPI-R2K-AT-1: -9223372036854775809"))->timeMs, INT64_MIN);
}

TEST(KpiLine, negativeTimeIsATime) {
  EXPECT_EQ(parseKpiLine(line("I KPI-R2K-AT-1: -7"))->timeMs, -7);
}

TEST(KpiLine, otherPriorityIsNone) {
  EXPECT_FALSE(parseKpiLine(line("D KPI-R2K-AT-1: 5000")));
}

TEST(KpiLine, smallPriorityIsNone) {
  EXPECT_EQ(kpiOf(line("i KPI-R2K-AT-1: 5000")), kNone);
}

TEST(KpiLine, missingPriorityIsNone) {
  EXPECT_EQ(kpiOf(line("KPI-R2K-AT-1: 5000")), kNone);
}

TEST(KpiLine, otherTagIsNone) {
  EXPECT_FALSE(parseKpiLine(line("I Activity: 5000")));
}

TEST(KpiLine, messageWithoutANumberIsNone) {
  EXPECT_FALSE(parseKpiLine(line("I KPI-R2K-AT-1: soon")));
}

TEST(KpiLine, missingThreadIsNone) {
  EXPECT_FALSE(parseKpiLine("11-20 16:41:43.123  1234 I KPI-R2K-AT-1: 5000"));
}

TEST(KpiLine, missingDateIsNone) {
  EXPECT_EQ(kpiOf("16:41:43.123  1234  1250 I KPI-R2K-AT-1: 5000"), kNone);
}

TEST(KpiLine, missingTagIsNone) {
  EXPECT_EQ(kpiOf(line("I 5000 KPI-R2K-AT-1:")), kNone);
}

TEST(KpiLine, missingMessageIsNone) {
  EXPECT_EQ(kpiOf(line("I KPI-R2K-AT-1:\n")), kNone);
}

TEST(KpiLine, pidThatIsNoNumberIsNone) {
  EXPECT_EQ(kpiOf("11-20 16:41:43.123 root 1250 I KPI-R2K-AT-1: 5000"), kNone);
}

TEST(KpiLine, emptyLineIsNone) {
  EXPECT_EQ(kpiOf(""), kNone);
}

TEST(KpiLine, lineOfNothingButTheTagIsNone) {
  EXPECT_EQ(kpiOf("KPI-R2K-"), kNone);
}

OddLines oddKpiLines() {
  const std::vector<std::string> blanks = {" ", " ", " ", "", "  ", "\t", "\n"};
  const std::vector<std::string> ids = {"1234", "1250",       "0",           "-1",
                                        "+7",   "4294967303", "-2147483649", "99999999999999999999",
                                        "x",    " 5",         "0x1f"};
  return {{line("I KPI-R2K-AMS-1: 5000 cmp=com.example/.Main flg=0x10000000\n"),
           line("I KPI-R2K-ZY-6: 1234567 forked\n"), line("I KPI-R2K-AT-1: 5000 ms\n"),
           "11-20 16:41:43.123 10234 10234 I KPI-R2K-WMS-6: -1 cmp=a\n",
           line("D KPI-R2K-AT-1: 5000\n"), "--------- beginning of main\n"},
          "0123456789 :.-=/\t\nIDKPR2cmp",
          {{"", "", "", " ", "\n\t"},
           {"11-20", "x", "11"},
           {" ", " ", " ", "", "\t "},
           {"16:41:43.123", "KPI-R2K-", "7"},
           {"  ", " ", " ", "\n"},
           ids,
           {"  ", " ", " ", "\t", "+", "-", ""},
           ids,
           blanks,
           {"I", "I", "I", "I", "I", "D", "i", "II", "W"},
           blanks,
           {"KPI-R2K-AMS-1:", "KPI-R2K-ZY-6:", "KPI-R2K-AT-1", "KPI-R2K-", ":", "KPI-R2K",
            "KPI-R2K-" + std::string(22, 't') + ':', "KPI-R2K-" + std::string(23, 't') + ':',
            "KPI-R2K-" + std::string(24, 't') + ':', "KPI-R2K-" + std::string(300, 't') + ':'},
           blanks,
           {"5000", "0", "-7", "+8", "007", "0x1f", "9223372036854775807", "9223372036854775808",
            "-9223372036854775809", "99999999999999999999999", "5000ms", "1.5", "x", "", "soon"},
           {" ", " ", "", "\n", " started "},
           {"", "cmp=", "cmp= ", "cmp", "KPI-R2K-AT-1", "cmp=cmp="},
           {"com.example/.Main", "", "/", "a/b/c", "cmp=x", std::string(254, 'c'),
            std::string(255, 'c'), std::string(256, 'c'), std::string(400, 'c')},
           {" flg=0x1", "\n", "", "\tx"}}};
}

TEST(KpiLine, oddLinesReadAsSscanfReadsThem) {
  expectSameReadings(oddKpiLines(), kpiOf, sscanfKpiOf);
}

TEST(KpiLine, packageOfTwoSlashesEndsAtTheFirst) {
  EXPECT_EQ(componentPackage("a/b/c"), "a");
}

TEST(KpiLine, packageOfNothingIsEmpty) {
  EXPECT_EQ(componentPackage(""), "");
}

TEST(KpiLine, packageBeforeALeadingSlashIsEmpty) {
  EXPECT_EQ(componentPackage("/.Main"), "");
}

TEST(KpiLine, packageIsWhatStandsBeforeTheSlash) {
  EXPECT_EQ(componentPackage("com.example/.Main"), "com.example");
}

TEST(KpiLine, packageWithoutASlashIsTheWhole) {
  EXPECT_EQ(componentPackage("com.example"), "com.example");
}

}  // namespace
}  // namespace tarnwick
