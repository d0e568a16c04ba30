#include "trace/page_cache_event.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/unit/support/odd_lines.h"
#include "tests/unit/support/page_cache_reading.h"
#include "tests/unit/trace/trace_lines.h"

namespace tarnwick {
namespace {

using page_cache_reading::eventOf;
using page_cache_reading::sscanfEventOf;

using Counts = std::map<std::string, int>;

Counts countsOf(const std::string& kernel, const std::string& file) {
  Counts counts;
  for (const std::string& line : readTraceLines(kernel, file)) {
    ++counts[eventOf(line)];
  }
  return counts;
}

Counts keyCountsOf(const std::string& kernel) {
  Counts counts;
  for (const std::string& line : readTraceLines(kernel, "filemap.txt")) {
    const std::optional<PageCacheEvent> event = parsePageCacheEvent(line);
    ++counts[event ? pageCacheKey(event->file) : kNone];
  }
  return counts;
}

// An addition with the text given behind the event's name.
std::string addition(const std::string& event) {
  return "             cat-204     [000] ....    40.794419: mm_filemap_add_to_page_cache: " +
         event + '\n';
}

TEST(PageCacheEvent, realAddition) {
  EXPECT_EQ(eventOf("             cat-204     [000] ....    40.799880: "
                    "mm_filemap_add_to_page_cache: dev 179:2 ino c page=fffffece3afb3040 "
                    "pfn=289985 ofs=4096\n"),
            "+ 179:2_12");
}

TEST(PageCacheEvent, realRemoval) {
  EXPECT_EQ(eventOf("              sh-104     [001] d....     4.624759: "
                    "mm_filemap_delete_from_page_cache: dev 254:0 ino 83 pfn=0x4013c ofs=16384 "
                    "order=2\n"),
            "- 254:0_131");
}

// The same of a thread with the name that is given.
std::string lineOf(const std::string& thread) {
  return thread +
         "-1042    [003] ....    40.794419: mm_filemap_add_to_page_cache: dev 179:2 ino c "
         "page=ffe0 pfn=262462 ofs=0\n";
}

// 5.14 to 5.16, of which there is no fixture.
TEST(PageCacheEvent, mayHaveAPageAndAHexadecimalFrame) {
  EXPECT_EQ(eventOf(addition("dev 254:3 ino 1f page=00000000b2c8a1f7 pfn=0x10a2f ofs=8192")),
            "+ 254:3_31");
}

TEST(PageCacheEvent, linux510HasOneOnEveryLine) {
  EXPECT_EQ(keyCountsOf("linux-5.10-arm64"), (Counts{{"0:24_7", 6},
                                                     {"0:3_0", 49},
                                                     {"179:2_12", 74},
                                                     {"179:2_14", 10},
                                                     {"179:2_33", 22},
                                                     {"254:0_16", 58},
                                                     {"8:2_12", 72}}));
}

TEST(PageCacheEvent, linux61HasOneOnEveryLine) {
  EXPECT_EQ(keyCountsOf("linux-6.1-arm64"), (Counts{{"0:23_7", 6},
                                                    {"0:3_187695106", 12},
                                                    {"0:3_266338304", 3},
                                                    {"0:3_8388610", 3},
                                                    {"0:3_8388624", 24},
                                                    {"179:2_12", 72},
                                                    {"179:2_14", 10},
                                                    {"179:2_33", 20},
                                                    {"254:0_16", 58},
                                                    {"8:2_12", 72}}));
}

TEST(PageCacheEvent, linux612HasOneOnEveryLine) {
  EXPECT_EQ(keyCountsOf("linux-6.12-arm64"), (Counts{{"0:26_7", 6},
                                                     {"0:3_187695106", 7},
                                                     {"0:3_266338304", 2},
                                                     {"0:3_8388610", 2},
                                                     {"0:3_8388624", 24},
                                                     {"179:2_12", 72},
                                                     {"179:2_14", 10},
                                                     {"179:2_33", 20},
                                                     {"254:0_16", 58},
                                                     {"8:2_12", 72}}));
}

TEST(PageCacheEvent, forSeveralPagesIsOneOnLinux61) {
  EXPECT_EQ(countsOf("linux-6.1-arm64", "filemap_large_folios.txt"),
            (Counts{{"+ 254:0_131", 19}, {"- 254:0_131", 19}}));
}

TEST(PageCacheEvent, forSeveralPagesIsOneOnLinux612) {
  EXPECT_EQ(countsOf("linux-6.12-arm64", "filemap_large_folios.txt"),
            (Counts{{"+ 254:0_131", 19}, {"- 254:0_131", 19}}));
}

TEST(PageCacheEvent, realLinesAreAdditionsAndRemovals) {
  for (const std::string& line : readTraceLines("filemap.txt")) {
    const bool added = line.find("mm_filemap_add_") != std::string::npos;
    EXPECT_EQ(parsePageCacheEvent(line).value().added, added) << line;
  }
}

TEST(PageCacheEvent, schedulerLinesHaveNone) {
  for (const std::string& line : readTraceLines("sched.txt")) {
    EXPECT_EQ(eventOf(line), kNone) << line;
  }
}

TEST(PageCacheEvent, isAnAdditionAfterAnO) {
  EXPECT_EQ(eventOf("o_page_cache: dev 1:2 ino 3 page=4 pfn=5 ofs=6"), "+ 1:2_3");
}

TEST(PageCacheEvent, isARemovalAfterAnyOtherCharacter) {
  EXPECT_EQ(eventOf("O_page_cache: dev 1:2 ino 3 page=4 pfn=5 ofs=6"), "- 1:2_3");
}

TEST(PageCacheEvent, isARemovalWhereTheLineStartsWithIt) {
  EXPECT_EQ(eventOf("_page_cache: dev 1:2 ino 3 page=4 pfn=5 ofs=6"), "- 1:2_3");
}

TEST(PageCacheEvent, isReadBehindTheFirstName) {
  EXPECT_EQ(eventOf("o_page_cache: x_page_cache: dev 1:2 ino 3 page=4 pfn=5 ofs=6"), kNone);
}

TEST(PageCacheEvent, ofAnOrdinaryLineBehindAnotherNameIsNone) {
  EXPECT_EQ(
      eventOf("x_page_cache: mm_filemap_add_to_page_cache: dev 1:2 ino 3 page=4 pfn=5 ofs=6\n"),
      kNone);
}

TEST(PageCacheEvent, threadNameMayHaveColons) {
  for (const char* thread :
       {"Binder:1042_1", "kworker/0:1", "kworker/u8:2", "::", "7: a", "a: 7: "}) {
    EXPECT_EQ(eventOf(lineOf(thread)), "+ 179:2_12") << thread;
  }
}

TEST(PageCacheEvent, threadNameMayBeReadAsAnEvent) {
  EXPECT_EQ(eventOf(lineOf("o_page_cache: ")), kNone);
  EXPECT_EQ(eventOf(lineOf("x_page_cache: dev 1:2 ino 3 page=4 pfn=5 ofs=6 ")), "- 1:2_3");
}

TEST(PageCacheEvent, nameWithoutABlankHasNone) {
  EXPECT_EQ(eventOf("o_page_cache:dev 1:2 ino 3 page=4 pfn=5 ofs=6"), kNone);
}

TEST(PageCacheEvent, emptyLineHasNone) {
  EXPECT_EQ(eventOf(""), kNone);
}

TEST(PageCacheEvent, nothingBehindTheNameIsNone) {
  EXPECT_EQ(eventOf("o_page_cache: "), kNone);
}

TEST(PageCacheEvent, blanksMayBeManyOrNone) {
  EXPECT_EQ(eventOf(addition("dev1: 2\t \tino3page= 4pfn= 5ofs= 6")), "+ 1:2_3");
}

TEST(PageCacheEvent, blankInFrontOfDevHasNone) {
  EXPECT_EQ(eventOf(addition(" dev 1:2 ino 3 page=4 pfn=5 ofs=6")), kNone);
}

TEST(PageCacheEvent, missingDevHasNone) {
  EXPECT_EQ(eventOf(addition("1:2 ino 3 page=4 pfn=5 ofs=6")), kNone);
}

TEST(PageCacheEvent, missingMajorHasNone) {
  EXPECT_EQ(eventOf(addition("dev :2 ino 3 page=4 pfn=5 ofs=6")), kNone);
}

TEST(PageCacheEvent, missingColonHasNone) {
  EXPECT_EQ(eventOf(addition("dev 1 2 ino 3 page=4 pfn=5 ofs=6")), kNone);
}

TEST(PageCacheEvent, missingMinorHasNone) {
  EXPECT_EQ(eventOf(addition("dev 1: ino 3 page=4 pfn=5 ofs=6")), kNone);
}

TEST(PageCacheEvent, missingInoHasNone) {
  EXPECT_EQ(eventOf(addition("dev 1:2 3 page=4 pfn=5 ofs=6")), kNone);
}

TEST(PageCacheEvent, missingInodeHasNone) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino page=4 pfn=5 ofs=6")), kNone);
}

TEST(PageCacheEvent, missingPageInFrontOfADecimalFrameHasNone) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 pfn=5 ofs=6")), kNone);
}

TEST(PageCacheEvent, pageWithoutAnAddressHasNone) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 page= pfn=5 ofs=6")), kNone);
}

TEST(PageCacheEvent, pageWithACharacterNextToTheHexadecimalDigitsHasNone) {
  for (const char* next : {"/", ":", "@", "G", "`", "g"}) {
    EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 page=0123456" + std::string(next) + " pfn=5 ofs=6")),
              kNone)
        << next;
  }
}

TEST(PageCacheEvent, pageThatIsNoAddressHasNone) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 page=(____ptrval____) pfn=5 ofs=6")), kNone);
}

TEST(PageCacheEvent, pageThatIsNoAddressHasNoneBeforeAHexadecimalFrame) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 page=(____ptrval____) pfn=0x5 ofs=6")), kNone);
}

TEST(PageCacheEvent, missingFrameHasNone) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 page=4 ofs=6")), kNone);
}

TEST(PageCacheEvent, frameThatIsNoNumberHasNone) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 page=4 pfn=f ofs=6")), kNone);
}

TEST(PageCacheEvent, hexadecimalFrameNeedsADigit) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 pfn=0x ofs=6")), kNone);
}

TEST(PageCacheEvent, hexadecimalFrameNeedsASmallX) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 pfn=0X5 ofs=6")), kNone);
}

// Behind its prefix the frame is a "%*x", with all that this takes.

TEST(PageCacheEvent, hexadecimalFrameMayHaveASign) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 pfn=0x-5 ofs=6")), "+ 1:2_3");
}

TEST(PageCacheEvent, hexadecimalFrameMayStandApart) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 pfn=0x 5 ofs=6")), "+ 1:2_3");
}

TEST(PageCacheEvent, hexadecimalFrameMayHaveASecondPrefix) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 pfn=0x0x5 ofs=6")), "+ 1:2_3");
}

TEST(PageCacheEvent, missingOffsetHasNone) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 page=4 pfn=5")), kNone);
}

TEST(PageCacheEvent, missingOffsetBehindAHexadecimalFrameHasNone) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 pfn=0x5 order=0")), kNone);
}

TEST(PageCacheEvent, offsetThatIsNoNumberHasNone) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 3 pfn=0x5 ofs=x")), kNone);
}

TEST(PageCacheEvent, inodeMayBeOf64Bits) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino fffffffffffffffe page=4 pfn=5 ofs=6")),
            "+ 1:2_18446744073709551614");
}

TEST(PageCacheEvent, inodeBeyond64BitsIsTheLargest) {
  EXPECT_EQ(eventOf(addition("dev 1:2 ino 10000000000000000 page=4 pfn=5 ofs=6")),
            "+ 1:2_18446744073709551615");
}

TEST(PageCacheEvent, deviceNumbersKeepTheirLow16Bits) {
  EXPECT_EQ(eventOf(addition("dev 65537:1048575 ino 3 page=4 pfn=5 ofs=6")), "+ 1:65535_3");
}

TEST(PageCacheKey, isDecimal) {
  EXPECT_EQ(pageCacheKey({.major = 179, .minor = 2, .inode = 0x1f}), "179:2_31");
}

TEST(PageCacheKey, holdsTheLargestNumbers) {
  EXPECT_EQ(pageCacheKey({.major = 65535, .minor = 65535, .inode = UINT64_MAX}),
            "65535:65535_18446744073709551615");
}

OddLines oddPageCacheLines() {
  std::vector<std::string> real = readTraceLines("filemap.txt");
  const std::vector<std::string> more =
      readTraceLines("linux-6.12-arm64", "filemap_large_folios.txt");
  real.insert(real.end(), more.begin(), more.end());
  real.push_back(addition("dev 254:3 ino 1f page=00000000b2c8a1f7 pfn=0x10a2f ofs=8192"));
  const std::vector<std::string> shorts = {"0",
                                           "7",
                                           "179",
                                           "-1",
                                           "+3",
                                           "65535",
                                           "65536",
                                           "131073",
                                           "-65536",
                                           "x",
                                           "",
                                           " 5",
                                           "18446744073709551616"};
  const std::vector<std::string> blanks = {" ", " ", " ", " ", "", "  ", "\t", "\n"};
  return {real,
          "0123456789abcdefx :=-+()\t\npgnoiv",
          {{"cat-204 [000] .... 40.794419: ", "Binder:1042_1-7 [001] d... 5.000001: ",
            "kworker/0:1-7 [0] .... 7: ", "a: b-7 [0] .... 7: ", "7: ", "7: 7: ", ": ",
            "_page_cache: ", "o_page_cache: dev 1:2 ino 3 page=4 pfn=5 ofs=6: ", ""},
           {"mm_filemap_add_to", "mm_filemap_delete_from", "o", "x", ""},
           {"_page_cache: ", "_page_cache: ", "_page_cache: ", "_page_cache:", "page_cache: "},
           {"dev", "dev", "dev", "dev", "de"},
           blanks,
           shorts,
           {":", ":", ":", ":", " :"},
           shorts,
           blanks,
           {"ino", "ino", "ino", "ino", "in"},
           blanks,
           {"c", "0", "83", "fffffffffffffffe", "10000000000000000", "0x1f", "0X1F", "-1", "0x",
            "x", "+aB", "0xg", "-0x5", "00x7"},
           blanks,
           {"page=fffffece3ae04f80", "page=0x1f", "page=(____ptrval____)", "page=", "page=0x",
            "page=-5", "page=5", "", "", ""},
           blanks,
           {"pfn=", "pfn=", "pfn=", "pfn"},
           {"0x44c8f", "0x0", "0x", "0x-5", "0x 5", "0x0x5", "0x+5", "0xg", "0X5", "262462", "-5",
            "0", "9223372036854775808", "0x99999999999999999999", ""},
           blanks,
           {"ofs=", "ofs=", "ofs=", "of"},
           {"0", "4096", "-1", "18446744073709551616", "x", " 8192"},
           {" order=0", "", "\n", "x"}}};
}

TEST(PageCacheEvent, oddLinesReadAsSscanfReadsThem) {
  expectSameReadings(oddPageCacheLines(), eventOf, sscanfEventOf);
}

}  // namespace
}  // namespace tarnwick
