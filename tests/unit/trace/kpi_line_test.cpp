#include "trace/kpi_line.h"

#include <gtest/gtest.h>

#include <string>

namespace tarnwick {
namespace {

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

TEST(KpiLine, longTagIsCut) {
  EXPECT_EQ(parseKpiLine(line("I KPI-R2K-" + std::string(90, 't') + ": 1"))->tag.size(), 31U);
}

TEST(KpiLine, negativeTimeIsATime) {
  EXPECT_EQ(parseKpiLine(line("I KPI-R2K-AT-1: -7"))->timeMs, -7);
}

TEST(KpiLine, otherPriorityIsNone) {
  EXPECT_FALSE(parseKpiLine(line("D KPI-R2K-AT-1: 5000")));
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

TEST(KpiLine, packageIsWhatStandsBeforeTheSlash) {
  EXPECT_EQ(componentPackage("com.example/.Main"), "com.example");
}

TEST(KpiLine, packageWithoutASlashIsTheWhole) {
  EXPECT_EQ(componentPackage("com.example"), "com.example");
}

}  // namespace
}  // namespace tarnwick
