#include "sysstat/vmstat.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/unit/support/counter_limits.h"
#include "tests/unit/support/fixture.h"
#include "tests/unit/support/odd_texts.h"
#include "tests/unit/support/vmstat_reading.h"

namespace tarnwick {
namespace {

using vmstat_reading::countersOf;
using vmstat_reading::sscanfCountersOf;

TEST(Vmstat, everyLineIsACounter) {
  EXPECT_EQ(countersOf("nr_free_pages 106667\npswpin 22\npgfault 3520\n"),
            (VmstatMap{{"nr_free_pages", 106667}, {"pswpin", 22}, {"pgfault", 3520}}));
}

TEST(Vmstat, realTextsGiveACounterForEachLine) {
  for (const std::string& text : readFixtures("proc/vmstat")) {
    EXPECT_EQ(countersOf(text).size(), std::count(text.begin(), text.end(), '\n'));
  }
}

TEST(Vmstat, realTextGivesItsLastCounter) {
  EXPECT_EQ(countersOf(readFixture("linux-5.10-arm64/t1/proc/vmstat")).at("swap_ra_hit"), 2);
}

TEST(Vmstat, shorterNameStandsBeforeALongerOne) {
  EXPECT_EQ(countersOf("pgscan_kswapd_dma 1\npgscan_kswapd 2\n").begin()->first, "pgscan_kswapd");
}

TEST(Vmstat, namesAreOrderedByBytes) {
  EXPECT_EQ(countersOf("a 1\nZ 2\n").begin()->first, "Z");
}

TEST(Vmstat, laterTextOverwrites) {
  VmstatMap map = {{"pswpin", 22}};
  vmstat_reading::addCounters("pswpin 23\n", map);
  EXPECT_EQ(map, (VmstatMap{{"pswpin", 23}}));
}

TEST(Vmstat, countersThatTheTextLacksStay) {
  VmstatMap map = {{"nr_ion", 7}};
  vmstat_reading::addCounters("pswpin 23\n", map);
  EXPECT_EQ(map, (VmstatMap{{"nr_ion", 7}, {"pswpin", 23}}));
}

TEST(Vmstat, lastOfEqualNamesHolds) {
  EXPECT_EQ(countersOf("pswpin 1\npswpin 2\n"), (VmstatMap{{"pswpin", 2}}));
}

TEST(Vmstat, emptyTextChangesNothing) {
  VmstatMap map = {{"pswpin", 22}};
  vmstat_reading::addCounters("", map);
  EXPECT_EQ(map, (VmstatMap{{"pswpin", 22}}));
}

TEST(Vmstat, lineWithoutNumberHasTheValueOfTheLineBefore) {
  EXPECT_EQ(countersOf("a 5\nb\nc x\nd 6\n"), (VmstatMap{{"a", 5}, {"b", 5}, {"c", 5}, {"d", 6}}));
}

TEST(Vmstat, firstLineWithoutNumberHasZero) {
  EXPECT_EQ(countersOf("a\n"), (VmstatMap{{"a", 0}}));
}

TEST(Vmstat, lineOfBlanksHasTheEmptyName) {
  EXPECT_EQ(countersOf("a 5\n \t\n"), (VmstatMap{{"a", 5}, {"", 5}}));
}

TEST(Vmstat, emptyLinesArePassedOver) {
  EXPECT_EQ(countersOf("\n\na 5\n\n\nb 6\n"), (VmstatMap{{"a", 5}, {"b", 6}}));
}

TEST(Vmstat, blanksBeforeANameAreDropped) {
  EXPECT_EQ(countersOf(" \ta 5\n"), (VmstatMap{{"a", 5}}));
}

TEST(Vmstat, moreNumbersOnALineAreIgnored) {
  EXPECT_EQ(countersOf("a 5 6\nb\n"), (VmstatMap{{"a", 5}, {"b", 5}}));
}

TEST(Vmstat, lineCutInItsNumberHasWhatIsLeftOfIt) {
  EXPECT_EQ(countersOf("a 5\npgfault 35"), (VmstatMap{{"a", 5}, {"pgfault", 35}}));
}

TEST(Vmstat, lineCutBehindItsNameHasTheValueOfTheLineBefore) {
  EXPECT_EQ(countersOf("a 5\npgfault "), (VmstatMap{{"a", 5}, {"pgfault", 5}}));
}

TEST(Vmstat, lineCutInItsNameIsACounterOfItsOwn) {
  EXPECT_EQ(countersOf("pgfault 5\npgfa"), (VmstatMap{{"pgfault", 5}, {"pgfa", 5}}));
}

TEST(Vmstat, nameOf39CharactersIsWhole) {
  const std::string name(39, 'n');
  EXPECT_EQ(countersOf(name + " 5\n"), (VmstatMap{{name, 5}}));
}

TEST(Vmstat, longerNameIsCutAt39Characters) {
  EXPECT_EQ(countersOf(std::string(39, 'n') + "m 5\n"), (VmstatMap{{std::string(39, 'n'), 5}}));
}

TEST(Vmstat, namesThatDifferBehindThe39thCharacterAreOneCounter) {
  const std::string name(39, 'n');
  EXPECT_EQ(countersOf(name + "a 5\n" + name + "b 6\n"), (VmstatMap{{name, 6}}));
}

TEST(Vmstat, namesInTheirPlacesNeedNoSearch) {
  VmstatMap map;
  VmstatPlaces places;
  EXPECT_TRUE(parseVmstat("b 1\na 2\n", map, places) && parseVmstat("b 3\na 4\n", map, places) &&
              !parseVmstat("b 5\na 6\n", map, places));
  EXPECT_EQ(map, (VmstatMap{{"a", 6}, {"b", 5}}));
}

TEST(Vmstat, fewerLinesNeedNoSearch) {
  VmstatMap map;
  VmstatPlaces places;
  parseVmstat("a 1\nb 2\n", map, places);
  EXPECT_FALSE(parseVmstat("a 3\n", map, places));
}

TEST(Vmstat, anotherNameInAPlaceIsSearched) {
  VmstatMap map;
  VmstatPlaces places;
  parseVmstat("a 1\nb 2\n", map, places);
  EXPECT_TRUE(parseVmstat("a 3\nbc 4\n", map, places));
  EXPECT_EQ(map, (VmstatMap{{"a", 3}, {"b", 2}, {"bc", 4}}));
}

TEST(Vmstat, placesOfAnotherMapAreNotTrusted) {
  VmstatMap map;
  VmstatPlaces places;
  parseVmstat("a 1\nb 2\n", map, places);
  VmstatMap other = {{"b", 7}, {"c", 8}};
  parseVmstat("a 1\nb 2\n", other, places);
  EXPECT_EQ(other, (VmstatMap{{"a", 1}, {"b", 2}, {"c", 8}}));
}

TEST(Vmstat, lineWithoutNumberInItsPlaceHasTheValueOfTheLineBefore) {
  VmstatMap map;
  VmstatPlaces places;
  for (const char* text : {"a 1\nb 2\nc 3\n", "a 5\nb \nc 6\n"}) {
    parseVmstat(text, map, places);
  }
  EXPECT_EQ(map, (VmstatMap{{"a", 5}, {"b", 5}, {"c", 6}}));
}

TEST(Vmstat, lineWithoutNumberInItsPlaceTakesNoneOfTheNextLine) {
  VmstatMap map;
  VmstatPlaces places;
  for (const char* text : {"a 1\nb 2\n", "a 5\nb \n7\n"}) {
    parseVmstat(text, map, places);
  }
  EXPECT_EQ(map, (VmstatMap{{"a", 5}, {"b", 5}, {"7", 5}}));
}

TEST(Vmstat, moreNumbersOnALineInItsPlaceAreIgnored) {
  VmstatMap map;
  VmstatPlaces places;
  for (const char* text : {"a 1\nb 2\n", "a 5 6\nb 7\n"}) {
    parseVmstat(text, map, places);
  }
  EXPECT_EQ(map, (VmstatMap{{"a", 5}, {"b", 7}}));
}

TEST(Vmstat, forgottenCountersAreZeroAndInTheirPlaces) {
  VmstatMap map;
  VmstatPlaces places;
  parseVmstat("a 1\nb 2\n", map, places);
  forgetCounters(map);
  EXPECT_EQ(map, (VmstatMap{{"a", 0}, {"b", 0}}));
  EXPECT_FALSE(parseVmstat("a 3\n", map, places));
}

TEST(Vmstat, numbersAreSigned) {
  EXPECT_EQ(countersOf("a -5\n"), (VmstatMap{{"a", -5}}));
}

TEST(Vmstat, limitsOfTheRangeAreExact) {
  EXPECT_EQ(countersOf("a 9223372036854775807\nb -9223372036854775808\n"),
            (VmstatMap{{"a", kMax}, {"b", kMin}}));
}

TEST(Vmstat, largestUnsignedNumberIsTheLargestOfTheRange) {
  EXPECT_EQ(countersOf("a 18446744073709551615\n"), (VmstatMap{{"a", kMax}}));
}

TEST(VmstatName, endsAtAnyBlank) {
  EXPECT_EQ(vmstatName("pgfault\t3520"), "pgfault");
}

TEST(VmstatName, hasNoBlanksBeforeIt) {
  EXPECT_EQ(vmstatName("  pgfault 3520"), "pgfault");
}

TEST(VmstatName, isCutAt39Characters) {
  EXPECT_EQ(vmstatName(std::string(40, 'n') + " 1"), std::string(39, 'n'));
}

TEST(VmstatName, ofABlankLineIsEmpty) {
  EXPECT_EQ(vmstatName(" \t"), "");
}

// Some lines of the text from each place of it.
std::vector<std::string> piecesOf(const std::string& text) {
  constexpr size_t kPiece = 130;
  std::vector<std::string> pieces;
  for (size_t at = 0; at < text.size(); at += kPiece) {
    pieces.push_back(text.substr(at, kPiece));
  }
  return pieces;
}

std::vector<std::string> realPieces() {
  std::vector<std::string> real = {std::string(38, 'n') + " 1\n" + std::string(39, 'n') + " 2\n",
                                   std::string(40, 'n') + " 3\n" + std::string(60, 'n') + " 4\n"};
  for (const char* path : {"linux-5.10-arm64/t1/proc/vmstat", "linux-6.12-arm64/t1/proc/vmstat",
                           "made-up-3.10/t1/proc/vmstat"}) {
    for (const std::string& piece : piecesOf(readFixture(path))) {
      real.push_back(piece);
    }
  }
  return real;
}

constexpr const char* kVmstatAlphabet = "0123456789 +-_\t\n\v\f\rxe.,pgnr\n\n";

TEST(Vmstat, oddTextsReadAsSscanfReadsThem) {
  constexpr int kTexts = 200000;
  OddTexts texts(realPieces(), kVmstatAlphabet);
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = texts.next();
    ASSERT_EQ(countersOf(text), sscanfCountersOf(text)) << testing::PrintToString(text);
  }
}

TEST(Vmstat, oddTextsWithNamesInTheirPlacesReadAsSscanfReadsThem) {
  constexpr int kTextsOfAPiece = 2000;
  for (const std::string& piece : realPieces()) {
    OddTexts texts({piece}, kVmstatAlphabet);
    for (int i = 0; i < kTextsOfAPiece; ++i) {
      const std::string text = texts.next();
      VmstatMap map;
      VmstatPlaces places;
      parseVmstat(piece, map, places);
      parseVmstat(text, map, places);
      VmstatMap expected = sscanfCountersOf(piece);
      vmstat_reading::addSscanfCounters(text, expected);
      ASSERT_EQ(map, expected) << testing::PrintToString(piece) << testing::PrintToString(text);
    }
  }
}

}  // namespace
}  // namespace tarnwick
