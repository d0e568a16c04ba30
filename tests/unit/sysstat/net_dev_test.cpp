#include "sysstat/net_dev.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/support/counter_limits.h"
#include "tests/unit/support/fixture.h"
#include "tests/unit/support/net_dev_reading.h"
#include "tests/unit/support/odd_texts.h"
#include "tests/unit/support/string_sink.h"

namespace tarnwick {
namespace {

using net_dev_reading::Interfaces;
using net_dev_reading::interfacesOf;
using net_dev_reading::sscanfInterfacesOf;
using net_dev_reading::Traffic;

// The two lines that stand above the interfaces.
const std::string kHead = "Inter-|   Receive\n face |bytes    packets\n";

android::sp<NetDevRecord> recordOf(const Traffic& traffic) {
  android::sp<NetDevRecord> record = new NetDevRecord;
  record->rx_kb = traffic[0];
  record->rx_packets = traffic[1];
  record->tx_kb = traffic[2];
  record->tx_packets = traffic[3];
  return record;
}

NetDevMap mapOf(const Interfaces& interfaces) {
  NetDevMap map;
  for (const auto& [name, traffic] : interfaces) {
    map[name] = recordOf(traffic);
  }
  return map;
}

Interfaces interfacesBelowHead(const std::string& lines) {
  return interfacesOf(kHead + lines);
}

std::string networkLines(const Interfaces& before, const Interfaces& after) {
  StringSink sink;
  formatNetDev(mapOf(before), mapOf(after), sink);
  return sink.text();
}

TEST(NetDev, realTextGivesTheInterfacesThatCarriedPackets) {
  EXPECT_EQ(interfacesOf(readFixture("linux-6.12-arm64/t1/proc/net/dev")),
            (Interfaces{{"    lo", {0, 10, 0, 10}}, {" wlan0", {0, 0, 3, 7}}}));
}

TEST(NetDev, recordHasTheFirstSecondNinthAndTenthNumber) {
  EXPECT_EQ(interfacesBelowHead("  eth0: 10240 2 3 4 5 6 7 8 92160 10 11 12\n"),
            (Interfaces{{"  eth0", {10, 2, 90, 10}}}));
}

TEST(NetDev, bytesAreCutToKilobytes) {
  EXPECT_EQ(interfacesBelowHead("a: 1023 1 0 0 0 0 0 0 2047 1\n"),
            (Interfaces{{"a", {0, 1, 1, 1}}}));
}

TEST(NetDev, wholeKilobyteIsOne) {
  EXPECT_EQ(interfacesBelowHead("a: 1024 1 0 0 0 0 0 0 2048 1\n"),
            (Interfaces{{"a", {1, 1, 2, 1}}}));
}

TEST(NetDev, nameKeepsItsBlanks) {
  EXPECT_EQ(interfacesBelowHead("    lo: 0 1 0 0 0 0 0 0 0 0\n").begin()->first, "    lo");
}

TEST(NetDev, nameEndsAtTheFirstColon) {
  EXPECT_EQ(interfacesBelowHead("eth0:x: 0 1 0 0 0 0 0 0 0 0\n").count("eth0"), 1U);
}

TEST(NetDev, nameOf39CharactersIsWhole) {
  const std::string name(39, 'n');
  EXPECT_EQ(interfacesBelowHead(name + ": 0 1 0 0 0 0 0 0 0 0\n").begin()->first, name);
}

TEST(NetDev, longerNameIsCutAt39Characters) {
  EXPECT_EQ(interfacesBelowHead(std::string(39, 'n') + "m: 0 1 0 0 0 0 0 0 0 0\n").begin()->first,
            std::string(39, 'n'));
}

TEST(NetDev, headIsTwoLinesWhateverTheySay) {
  EXPECT_EQ(interfacesOf("a: 0 1 0 0 0 0 0 0 0 0\nb: 0 1 0 0 0 0 0 0 0 0\n"
                         "c: 0 1 0 0 0 0 0 0 0 0\n"),
            (Interfaces{{"c", {0, 1, 0, 0}}}));
}

TEST(NetDev, emptyLinesAreNotCountedToTheHead) {
  EXPECT_EQ(interfacesOf("\nhead\n\n\nhead\n\na: 0 1 0 0 0 0 0 0 0 0\n").count("a"), 1U);
}

TEST(NetDev, interfaceWithoutPacketsIsLeftOut) {
  EXPECT_EQ(interfacesBelowHead("a: 4096 0 0 0 0 0 0 0 4096 0\n"), Interfaces{});
}

TEST(NetDev, onePacketReceivedIsEnough) {
  EXPECT_EQ(interfacesBelowHead("a: 0 1 0 0 0 0 0 0 0 0\n"), (Interfaces{{"a", {0, 1, 0, 0}}}));
}

TEST(NetDev, onePacketSentIsEnough) {
  EXPECT_EQ(interfacesBelowHead("a: 0 0 0 0 0 0 0 0 0 1\n"), (Interfaces{{"a", {0, 0, 0, 1}}}));
}

TEST(NetDev, digitBehindTheColonKeepsTheNumbersOfTheLineBefore) {
  EXPECT_EQ(interfacesBelowHead("    lo: 1024 2 0 0 0 0 0 0 3072 4\n"
                                "rmnet0:123456789012 50 0 0 0 0 0 0 60 70\n"),
            (Interfaces{{"    lo", {1, 2, 3, 4}}, {"rmnet0", {1, 2, 3, 4}}}));
}

TEST(NetDev, digitBehindTheColonOfTheFirstLineStoresNothing) {
  EXPECT_EQ(interfacesBelowHead("rmnet0:123456789012 50 0 0 0 0 0 0 60 70\n"), Interfaces{});
}

TEST(NetDev, numbersOfAnInterfaceThatIsLeftOutAreKeptForTheNext) {
  EXPECT_EQ(interfacesBelowHead("a: 1024 2 0 0 0 0 0 0 3072 4\n"
                                "b: 5120 0 0 0 0 0 0 0 6144 0\n"
                                "c:1 1\n"),
            (Interfaces{{"a", {1, 2, 3, 4}}}));
}

TEST(NetDev, lineCutInItsNumbersKeepsTheRestOfTheLineBefore) {
  EXPECT_EQ(interfacesBelowHead("a: 1024 2 0 0 0 0 0 0 3072 4\nb: 5120 6 0 0"),
            (Interfaces{{"a", {1, 2, 3, 4}}, {"b", {5, 6, 3, 4}}}));
}

TEST(NetDev, lineCutInANumberHasWhatIsLeftOfIt) {
  EXPECT_EQ(interfacesBelowHead("a: 0 1 0 0 0 0 0 0 0 4\nb: 1024 12"),
            (Interfaces{{"a", {0, 1, 0, 4}}, {"b", {1, 12, 0, 4}}}));
}

TEST(NetDev, lineCutInItsNameHasTheNumbersOfTheLineBefore) {
  EXPECT_EQ(interfacesBelowHead("a: 1024 2 0 0 0 0 0 0 3072 4\n wla"),
            (Interfaces{{"a", {1, 2, 3, 4}}, {" wla", {1, 2, 3, 4}}}));
}

TEST(NetDev, lineCutBehindItsColonHasTheNumbersOfTheLineBefore) {
  EXPECT_EQ(interfacesBelowHead("a: 1024 2 0 0 0 0 0 0 3072 4\nb:"),
            (Interfaces{{"a", {1, 2, 3, 4}}, {"b", {1, 2, 3, 4}}}));
}

TEST(NetDev, lineWithoutColonIsANameAltogether) {
  EXPECT_EQ(interfacesBelowHead("a: 1024 2 0 0 0 0 0 0 3072 4\n 5 6 7 8\n"),
            (Interfaces{{"a", {1, 2, 3, 4}}, {" 5 6 7 8", {1, 2, 3, 4}}}));
}

TEST(NetDev, lineThatBeginsWithItsColonHasTheEmptyNameAndTheNumbersOfTheLineBefore) {
  EXPECT_EQ(interfacesBelowHead("a: 1024 2 0 0 0 0 0 0 3072 4\n: 9 9 9 9 9 9 9 9 9 9\n"),
            (Interfaces{{"a", {1, 2, 3, 4}}, {"", {1, 2, 3, 4}}}));
}

TEST(NetDev, numbersHaveNoSign) {
  EXPECT_EQ(interfacesBelowHead("a: -2048 -3 0 0 0 0 0 0 -4096 -5\n"),
            (Interfaces{{"a", {2, 3, 4, 5}}}));
}

TEST(NetDev, numbersAboveTheRangeAreTheLargest) {
  EXPECT_EQ(interfacesBelowHead("a: 18446744073709551615 9223372036854775808 0 0 0 0 0 0 "
                                "9223372036854775807 0\n"),
            (Interfaces{{"a", {kMax / 1024, kMax, kMax / 1024, 0}}}));
}

TEST(NetDev, packetsWhoseSumWrapsAreFewerThanOne) {
  EXPECT_EQ(interfacesBelowHead("a: 0 9223372036854775807 0 0 0 0 0 0 0 1\n"), Interfaces{});
}

TEST(NetDev, laterTextReplacesTheRecord) {
  NetDevMap map = mapOf({{"a", {1, 2, 3, 4}}});
  parseNetDev(kHead + "a: 5120 6 0 0 0 0 0 0 7168 8\n", map);
  EXPECT_EQ(interfacesOf(map), (Interfaces{{"a", {5, 6, 7, 8}}}));
}

TEST(NetDev, replacedRecordIsNotChanged) {
  const android::sp<NetDevRecord> old = recordOf({1, 2, 3, 4});
  NetDevMap map = {{"a", old}};
  parseNetDev(kHead + "a: 5120 6 0 0 0 0 0 0 7168 8\n", map);
  EXPECT_EQ(interfacesOf(NetDevMap{{"a", old}}), (Interfaces{{"a", {1, 2, 3, 4}}}));
}

TEST(NetDev, replacedRecordIsReleased) {
  const android::sp<NetDevRecord> old = recordOf({1, 2, 3, 4});
  NetDevMap map = {{"a", old}};
  parseNetDev(kHead + "a: 5120 6 0 0 0 0 0 0 7168 8\n", map);
  EXPECT_EQ(old->getStrongCount(), 1);
}

TEST(NetDev, recordIsHeldByTheMapAlone) {
  NetDevMap map;
  parseNetDev(kHead + "a: 0 1 0 0 0 0 0 0 0 0\n", map);
  EXPECT_EQ(map.at("a")->getStrongCount(), 1);
}

TEST(NetDev, interfacesThatTheTextLacksStay) {
  NetDevMap map = mapOf({{"gone", {1, 2, 3, 4}}});
  parseNetDev(kHead + "a: 0 1 0 0 0 0 0 0 0 0\n", map);
  EXPECT_EQ(map.count("gone"), 1U);
}

TEST(NetDev, interfaceThatHasNoPacketsAnyMoreStaysAsItWas) {
  NetDevMap map = mapOf({{"a", {1, 2, 3, 4}}});
  parseNetDev(kHead + "a: 0 0 0 0 0 0 0 0 0 0\n", map);
  EXPECT_EQ(interfacesOf(map), (Interfaces{{"a", {1, 2, 3, 4}}}));
}

TEST(NetDev, emptyTextGivesNothing) {
  EXPECT_EQ(interfacesOf(""), Interfaces{});
}

TEST(NetDev, headAloneGivesNothing) {
  EXPECT_EQ(interfacesOf(kHead), Interfaces{});
}

TEST(NetDev, oddTextsReadAsSscanfReadsThem) {
  constexpr int kTexts = 200000;
  std::vector<std::string> real = {
      "rmnet0:123456789012 50 0 0 0 0 0 0 60 70\n    lo: 1 2 3 4 5 6 7 8 9 10 11\n",
      "    lo: 1 2 3 4 5 6 7 8 9 10 11\nrmnet0:123456789012 50 0 0 0 0 0 0 60 70\n",
      std::string(39, 'n') + ": 1 2 3 4 5 6 7 8 9 10 11\n" + std::string(41, 'n') + ": 1 2 3\n"};
  for (const std::string& text : readFixtures("proc/net/dev")) {
    real.push_back(text);
    real.push_back(text.substr(text.find("    lo")));
  }
  OddTexts texts(real, "0123456789 +-:\t\n\v\f\rx.|:\n");
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = (i % 4 == 0 ? "" : kHead) + texts.next();
    ASSERT_EQ(interfacesOf(text), sscanfInterfacesOf(text)) << testing::PrintToString(text);
  }
}

TEST(NetDevLines, ofLoopbackTraffic) {
  EXPECT_EQ(networkLines({{"    lo", {0, 0, 0, 0}}}, {{"    lo", {1, 10, 2, 20}}}),
            "    lo: rx_kb=1      rx_packets=10     tx_kb=2      tx_packets=20    \n");
}

TEST(NetDevLines, areAfterMinusBefore) {
  EXPECT_EQ(networkLines({{"a", {100, 200, 300, 400}}}, {{"a", {101, 202, 303, 404}}}),
            "a: rx_kb=1      rx_packets=2      tx_kb=3      tx_packets=4     \n");
}

TEST(NetDevLines, leaveOutAnInterfaceWithUnchangedPackets) {
  EXPECT_EQ(networkLines({{"a", {1, 2, 3, 4}}}, {{"a", {100, 2, 300, 4}}}), "");
}

TEST(NetDevLines, listAnInterfaceThatOnlyReceived) {
  EXPECT_EQ(networkLines({{"a", {1, 2, 3, 4}}}, {{"a", {1, 3, 3, 4}}}),
            "a: rx_kb=0      rx_packets=1      tx_kb=0      tx_packets=0     \n");
}

TEST(NetDevLines, listAnInterfaceThatOnlySent) {
  EXPECT_EQ(networkLines({{"a", {1, 2, 3, 4}}}, {{"a", {1, 2, 3, 5}}}),
            "a: rx_kb=0      rx_packets=0      tx_kb=0      tx_packets=1     \n");
}

TEST(NetDevLines, countKilobytesBeforeTheyAreSubtracted) {
  NetDevMap before, after;
  parseNetDev(kHead + "a: 1023 1 0 0 0 0 0 0 0 0\n", before);
  parseNetDev(kHead + "a: 1025 2 0 0 0 0 0 0 0 0\n", after);
  StringSink sink;
  formatNetDev(before, after, sink);
  EXPECT_EQ(sink.text(), "a: rx_kb=1      rx_packets=1      tx_kb=0      tx_packets=0     \n");
}

TEST(NetDevLines, haveNegativeNumbersWhenThePacketsSumUpToOne) {
  EXPECT_EQ(networkLines({{"a", {90, 9, 3, 4}}}, {{"a", {10, 4, 3, 10}}}),
            "a: rx_kb=-80    rx_packets=-5     tx_kb=0      tx_packets=6     \n");
}

TEST(NetDevLines, leaveOutPacketsThatSumUpToZero) {
  EXPECT_EQ(networkLines({{"a", {0, 9, 0, 4}}}, {{"a", {0, 4, 0, 9}}}), "");
}

TEST(NetDevLines, leaveOutCountersThatWereReset) {
  EXPECT_EQ(networkLines({{"a", {90, 90, 90, 90}}}, {{"a", {0, 1, 0, 1}}}), "");
}

TEST(NetDevLines, leaveOutAnInterfaceThatIsNew) {
  EXPECT_EQ(networkLines({}, {{"a", {1, 2, 3, 4}}}), "");
}

TEST(NetDevLines, leaveOutAnInterfaceThatIsGone) {
  EXPECT_EQ(networkLines({{"a", {1, 2, 3, 4}}}, {}), "");
}

TEST(NetDevLines, listAnInterfaceBehindOneThatIsNew) {
  EXPECT_EQ(networkLines({{"b", {0, 0, 0, 0}}}, {{"a", {1, 2, 3, 4}}, {"b", {1, 2, 3, 4}}}),
            "b: rx_kb=1      rx_packets=2      tx_kb=3      tx_packets=4     \n");
}

TEST(NetDevLines, listAnInterfaceBehindOneWithoutTraffic) {
  EXPECT_EQ(networkLines({{"a", {1, 2, 3, 4}}, {"b", {0, 0, 0, 0}}},
                         {{"a", {1, 2, 3, 4}}, {"b", {1, 2, 3, 4}}}),
            "b: rx_kb=1      rx_packets=2      tx_kb=3      tx_packets=4     \n");
}

TEST(NetDevLines, areOrderedByTheNameWithItsBlanks) {
  const Interfaces none = {{"    lo", {}}, {" wlan0", {}}, {"dummy0", {}}};
  const Interfaces one = {
      {"    lo", {0, 1, 0, 0}}, {" wlan0", {0, 1, 0, 0}}, {"dummy0", {0, 1, 0, 0}}};
  EXPECT_EQ(networkLines(none, one),
            "    lo: rx_kb=0      rx_packets=1      tx_kb=0      tx_packets=0     \n"
            " wlan0: rx_kb=0      rx_packets=1      tx_kb=0      tx_packets=0     \n"
            "dummy0: rx_kb=0      rx_packets=1      tx_kb=0      tx_packets=0     \n");
}

TEST(NetDevLines, showNumbersWiderThanTheirColumnsWhole) {
  EXPECT_EQ(networkLines({{"a", {}}}, {{"a", {1234567, 12345678, 123456789, 1234567890}}}),
            "a: rx_kb=1234567 rx_packets=12345678 tx_kb=123456789 tx_packets=1234567890\n");
}

TEST(NetDevLines, wrapAroundTheRange) {
  EXPECT_EQ(networkLines({{"a", {kMax, kMax, 0, 0}}}, {{"a", {kMin, kMin, 0, 0}}}),
            "a: rx_kb=1      rx_packets=1      tx_kb=0      tx_packets=0     \n");
}

TEST(NetDevLines, leaveOutPacketsWhoseSumWraps) {
  EXPECT_EQ(networkLines({{"a", {}}}, {{"a", {0, kMax, 0, 1}}}), "");
}

TEST(NetDevLines, leaveBothMapsAlone) {
  const NetDevMap before = mapOf({{"gone", {}}});
  const NetDevMap after = mapOf({{"new", {0, 1, 0, 0}}});
  StringSink sink;
  formatNetDev(before, after, sink);
  EXPECT_TRUE(before.size() == 1 && after.size() == 1);
}

TEST(NetDevLines, ofInterfacesThatAreLeftOutAreNoRecords) {
  StringSink sink;
  formatNetDev(mapOf({{"same", {}}, {"gone", {}}}), mapOf({{"same", {}}, {"new", {0, 1, 0, 0}}}),
               sink);
  EXPECT_TRUE(sink.records().empty());
}

TEST(NetDevLines, areRecordsOfTheirOwn) {
  StringSink sink;
  formatNetDev(mapOf({{"a", {}}, {"b", {}}}), mapOf({{"a", {0, 1, 0, 0}}, {"b", {0, 1, 0, 0}}}),
               sink);
  EXPECT_EQ(sink.records().size(), 2U);
}

}  // namespace
}  // namespace tarnwick
