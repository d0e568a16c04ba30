#include "trace/page_cache_report.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/unit/support/string_sink.h"

namespace tarnwick {
namespace {

constexpr uint64_t kMaxPages = std::numeric_limits<uint64_t>::max();

StringSink reportOf(const PageCacheCounts& counts, std::string inodes = "") {
  InodePaths paths;
  paths.merge([&inodes](char* buffer, size_t size) {
    const size_t length = inodes.copy(buffer, size);
    inodes.erase(0, length);
    return length;
  });
  StringSink sink;
  formatPageCache(counts, paths, sink);
  return sink;
}

TEST(PageCacheReport, ofNothingIsUnknownAndTotal) {
  EXPECT_EQ(reportOf({}).text(),
            "add=0 del=0 file=unknown\n"
            "add=0 del=0 file=total\n");
}

TEST(PageCacheReport, knownPathsAloneAreNoLines) {
  EXPECT_EQ(reportOf({}, "8:1_9 /nine\n").text(),
            "add=0 del=0 file=unknown\n"
            "add=0 del=0 file=total\n");
}

TEST(PageCacheReport, knownFileHasALine) {
  EXPECT_EQ(reportOf({{"8:1_9", {3, 4}}}, "8:1_9 /data/nine\n").text(),
            "add=3 del=4 file=/data/nine\n"
            "add=0 del=0 file=unknown\n"
            "add=3 del=4 file=total\n");
}

TEST(PageCacheReport, unknownFileIsInTheLastLinesOnly) {
  EXPECT_EQ(reportOf({{"8:1_9", {3, 4}}}).text(),
            "add=3 del=4 file=unknown\n"
            "add=3 del=4 file=total\n");
}

TEST(PageCacheReport, fileWithAKeyThatBeginsAlikeIsUnknown) {
  EXPECT_EQ(reportOf({{"8:1_9", {3, 4}}}, "8:1_90 /ninety\n").text(),
            "add=3 del=4 file=unknown\n"
            "add=3 del=4 file=total\n");
}

TEST(PageCacheReport, unknownFilesAreAddedUp) {
  EXPECT_EQ(reportOf({{"8:1_9", {1, 20}}, {"8:1_10", {300, 4000}}}).text(),
            "add=301 del=4020 file=unknown\n"
            "add=301 del=4020 file=total\n");
}

TEST(PageCacheReport, totalIsOfKnownAndUnknownFiles) {
  EXPECT_EQ(reportOf({{"8:1_7", {1, 20}}, {"8:1_8", {300, 4000}}, {"8:1_9", {50000, 600000}}},
                     "8:1_7 /seven\n8:1_9 /nine\n")
                .text(),
            "add=1 del=20 file=/seven\n"
            "add=50000 del=600000 file=/nine\n"
            "add=300 del=4000 file=unknown\n"
            "add=50301 del=604020 file=total\n");
}

TEST(PageCacheReport, filesAreInTheOrderOfTheirKeysAsTexts) {
  EXPECT_EQ(reportOf({{"8:1_9", {}}, {"8:1_10", {}}, {"179:2_4", {}}, {"8:10_1", {}}},
                     "8:1_9 /a\n8:1_10 /b\n179:2_4 /d\n8:10_1 /c\n")
                .text(),
            "add=0 del=0 file=/d\n"
            "add=0 del=0 file=/c\n"
            "add=0 del=0 file=/b\n"
            "add=0 del=0 file=/a\n"
            "add=0 del=0 file=unknown\n"
            "add=0 del=0 file=total\n");
}

TEST(PageCacheReport, filesOfOnePathHaveALineEach) {
  EXPECT_EQ(reportOf({{"8:1_7", {1, 2}}, {"8:1_8", {3, 4}}}, "8:1_7 /same\n8:1_8 /same\n").text(),
            "add=1 del=2 file=/same\n"
            "add=3 del=4 file=/same\n"
            "add=0 del=0 file=unknown\n"
            "add=4 del=6 file=total\n");
}

TEST(PageCacheReport, largestCountsAreWhole) {
  EXPECT_EQ(reportOf({{"8:1_9", {kMaxPages, kMaxPages - 1}}}, "8:1_9 /nine\n").text(),
            "add=18446744073709551615 del=18446744073709551614 file=/nine\n"
            "add=0 del=0 file=unknown\n"
            "add=18446744073709551615 del=18446744073709551614 file=total\n");
}

TEST(PageCacheReport, largestUnknownCountsAreWhole) {
  EXPECT_EQ(reportOf({{"8:1_9", {kMaxPages - 1, kMaxPages}}}).text(),
            "add=18446744073709551614 del=18446744073709551615 file=unknown\n"
            "add=18446744073709551614 del=18446744073709551615 file=total\n");
}

TEST(PageCacheReport, sumsWrapAround) {
  EXPECT_EQ(reportOf({{"8:1_8", {kMaxPages, 2}}, {"8:1_9", {3, kMaxPages}}}).text(),
            "add=2 del=1 file=unknown\n"
            "add=2 del=1 file=total\n");
}

TEST(PageCacheReport, longestPathIsWhole) {
  const std::string path = '/' + std::string(510, 'p');
  EXPECT_EQ(reportOf({{"8:1_9", {1, 2}}}, "8:1_9 " + path + '\n').records().front(),
            "add=1 del=2 file=" + path + '\n');
}

TEST(PageCacheReport, pathIsNoFormat) {
  EXPECT_EQ(reportOf({{"8:1_9", {1, 2}}}, "8:1_9 /%s%n\n").records().front(),
            "add=1 del=2 file=/%s%n\n");
}

TEST(PageCacheReport, isOneRecordALine) {
  EXPECT_EQ(reportOf({{"8:1_9", {3, 4}}}, "8:1_9 /nine\n").records(),
            (std::vector<std::string>{"add=3 del=4 file=/nine\n", "add=0 del=0 file=unknown\n",
                                      "add=3 del=4 file=total\n"}));
}

}  // namespace
}  // namespace tarnwick
