#include <gtest/gtest.h>
#include <utils/SystemClock.h>

#include <algorithm>
#include <string>

#include "tests/unit/collector/made_up_device.h"

namespace tarnwick {
namespace {

constexpr const char* kVmstat = "/proc/vmstat";
constexpr const char* kBuddyinfo = "/proc/buddyinfo";
constexpr const char* kPagetypeinfo = "/proc/pagetypeinfo";

// A /proc/vmstat of lines of no interest, so long that `last` follows it at once.
std::string vmstatUpTo(size_t length, const std::string& last) {
  std::string text = "a 123\n";
  while (text.size() + 20 < length) {
    text += "filler 1\n";
  }
  text += std::string(length - text.size() - 4, 'f') + " 77\n" + last;
  return text;
}

class MemorySource : public MadeUpDevice {
 protected:
  MemorySource() {
    // No summary, unless a test asks for it.
    collector_.lastPagetypeinfoTime = android::elapsedRealtime() + 3600'000;
  }

  VmstatMap vmstatOf(const std::string& text) {
    set(kVmstat, text);
    VmstatMap map;
    collector_.readVmstat(map);
    return map;
  }

  void letSummaryBeDue() { collector_.lastPagetypeinfoTime = android::elapsedRealtime() - 60001; }

  static std::string memorySection(const std::string& report) {
    return section(report, "alloc_stalls=", "body_temp=");
  }

  // What stands behind the memory line.
  static std::string textsOf(const std::string& report) {
    const std::string memory = memorySection(report);
    return memory.substr(memory.find('\n', memory.find("MemFree=")) + 1);
  }

  // The same of a measurement that prints to standard output, where no text is cut.
  std::string measuredTexts() {
    collector_.useStdout = true;
    return textsOf(captureStdout([this] {
      collector_.beginSample();
      collector_.endSample();
    }));
  }
};

TEST_F(MemorySource, vmstatIsReadIntoTheMap) {
  EXPECT_EQ(vmstatOf("pswpin 22\npswpout 8035\n"), (VmstatMap{{"pswpin", 22}, {"pswpout", 8035}}));
}

TEST_F(MemorySource, missingVmstatLeavesTheMapAsItIs) {
  VmstatMap map = {{"pswpin", 22}};
  collector_.readVmstat(map);
  EXPECT_EQ(map, (VmstatMap{{"pswpin", 22}}));
}

TEST_F(MemorySource, missingVmstatIsNotReported) {
  VmstatMap map;
  collector_.readVmstat(map);
  EXPECT_TRUE(logRecords().empty());
}

TEST_F(MemorySource, unreadableVmstatIsReported) {
  madeUpFiles().unreadable = {kVmstat};
  VmstatMap map;
  collector_.readVmstat(map);
  EXPECT_EQ(logText(), "Error opening /proc/vmstat: Is a directory (21)\n");
}

TEST_F(MemorySource, vmstatBehind4096BytesIsNotSeen) {
  EXPECT_FALSE(vmstatOf(vmstatUpTo(4096 - 10, "pgfault 8\npgmajfault 9\n")).contains("pgmajfault"));
}

TEST_F(MemorySource, numberAtTheEndOf4096BytesIsCut) {
  EXPECT_EQ(vmstatOf(vmstatUpTo(4096 - 10, "pgfault 8765\n")).at("pgfault"), 87);
}

TEST_F(MemorySource, numberBehind4096BytesIsThatOfTheLineBefore) {
  EXPECT_EQ(vmstatOf(vmstatUpTo(4096 - 8, "pgfault 8765\n")).at("pgfault"), 77);
}

TEST_F(MemorySource, nameAtTheEndOf4096BytesIsCut) {
  EXPECT_EQ(vmstatOf(vmstatUpTo(4096 - 4, "pgfault 8765\n")).at("pgfa"), 77);
}

TEST_F(MemorySource, reclaimNamingIsToldFromTheText) {
  vmstatOf("allocstall 1\npgscan_kswapd_dma 2\npgsteal_kswapd 3\n");
  EXPECT_TRUE(collector_.reclaimNaming.allocStallsInOne &&
              collector_.reclaimNaming.kswapdScansByZone &&
              !collector_.reclaimNaming.kswapdStealsByZone);
}

TEST_F(MemorySource, olderNamingOutlivesATextWithoutItsNames) {
  vmstatOf("allocstall 1\n");
  vmstatOf("allocstall_normal 1\n");
  EXPECT_TRUE(collector_.reclaimNaming.allocStallsInOne);
}

TEST_F(MemorySource, olderNamingOutlivesItsFile) {
  set(kVmstat, "allocstall 7\n");
  collector_.beginSample();
  remove(kVmstat);
  EXPECT_EQ(section(endMeasurement(), "alloc_stalls=", " compact_stalls="), "alloc_stalls=-7");
}

TEST_F(MemorySource, reclaimNamingIsNotToldFromTheMap) {
  VmstatMap map = {{"allocstall", 0}};
  set(kVmstat, "allocstall_normal 1\n");
  collector_.readVmstat(map);
  EXPECT_FALSE(collector_.reclaimNaming.allocStallsInOne);
}

TEST_F(MemorySource, reportOfARealInterval) {
  madeUpFiles().texts = filesOfFixture("linux-5.10-arm64/t0");
  collector_.beginSample();
  madeUpFiles().texts = filesOfFixture("linux-5.10-arm64/t1");
  EXPECT_EQ(
      memorySection(endMeasurement()),
      "alloc_stalls=25 compact_stalls=0 kswapd_scans=7128 kswapd_steals=6800 direct_scans=1499 "
      "direct_steals=1345\n"
      "MemFree=426668(+252) Cached=7880(-520) AnonPages=472(-48) Mapped=2304(+36) "
      "Slab=18440(+372) Ion=0(+0) Shmem=6996(-264)\n"
      "Node 0, zone      DMA     42     63     44     31     14     10      9      8      8      5 "
      " "
      "   97 \n");
}

TEST_F(MemorySource, reportOfAnIntervalCountedByZone) {
  madeUpFiles().texts = filesOfFixture("made-up-3.10/t0");
  collector_.beginSample();
  madeUpFiles().texts = filesOfFixture("made-up-3.10/t1");
  EXPECT_EQ(memorySection(endMeasurement()),
            "alloc_stalls=3 compact_stalls=2 kswapd_scans=1494 kswapd_steals=1191 "
            "direct_scans=109 direct_steals=70\n"
            "MemFree=52960(-4040) Cached=157904(-4904) AnonPages=206588(+3024) "
            "Mapped=65152(+340) Slab=33744(-4) Ion=25600(+1024) Shmem=716(+0)\n");
}

TEST_F(MemorySource, reportWithoutAnyFileIsZeros) {
  EXPECT_EQ(memorySection(measure()),
            "alloc_stalls=0 compact_stalls=0 kswapd_scans=0 kswapd_steals=0 direct_scans=0 "
            "direct_steals=0\n"
            "MemFree=0(+0) Cached=0(+0) AnonPages=0(+0) Mapped=0(+0) Slab=0(+0) Ion=0(+0) "
            "Shmem=0(+0)\n");
}

TEST_F(MemorySource, reportAddsTheNamesThatItLooksUpToTheAfterMap) {
  set(kVmstat, "nr_free_pages 5\n");
  measure();
  const VmstatMap& after = collector_.vmstatAfter;
  EXPECT_TRUE(after.at("nr_free_pages") == 5 && after.at("nr_ion") == 0 &&
              after.at("pswpin") == 0 && after.at("pgscan_kswapd") == 0)
      << testing::PrintToString(after);
}

TEST_F(MemorySource, namesThatAReportAddedAreTakenOverByTheNextMeasurement) {
  measure();
  collector_.beginSample();
  EXPECT_TRUE(collector_.vmstatBefore.contains("nr_ion"));
}

TEST_F(MemorySource, counterThatComesAndGoesIsFollowedThroughThreeMeasurements) {
  std::string changes;
  for (const char* text : {"nr_shmem 1\n", "nr_shmem 1\nnr_ion 5\n", "nr_shmem 1\n"}) {
    collector_.beginSample();
    set(kVmstat, text);
    changes += section(endMeasurement(), "Ion=", "Shmem=");
  }
  EXPECT_EQ(changes, "Ion=0(+0) Ion=20(+20) Ion=0(-20) ");
}

TEST_F(MemorySource, threeMeasurementsInARowMeetEndToEnd) {
  set(kVmstat, "compact_stall 1\n");
  std::string figures;
  for (const char* text : {"compact_stall 2\n", "compact_stall 12\n", "compact_stall 112\n"}) {
    collector_.beginSample();
    set(kVmstat, text);
    figures += section(endMeasurement(), "compact_stalls=", "kswapd_scans=");
  }
  EXPECT_EQ(figures, "compact_stalls=1 compact_stalls=10 compact_stalls=100 ");
}

TEST_F(MemorySource, newerNamingHoldsThroughThreeMeasurements) {
  set(kVmstat, "allocstall_normal 1\n");
  std::string figures;
  for (const char* text :
       {"allocstall_normal 2\n", "allocstall_normal 12\n", "allocstall_normal 112\n"}) {
    collector_.beginSample();
    set(kVmstat, text);
    collector_.vmstatBefore["allocstall"] = 0;
    collector_.vmstatAfter["allocstall"] = 0;
    figures += section(endMeasurement(), "alloc_stalls=", "compact_stalls=");
  }
  EXPECT_EQ(figures, "alloc_stalls=1 alloc_stalls=10 alloc_stalls=100 ");
}

TEST_F(MemorySource, buddyinfoIsPrintedAsItStands) {
  set(kBuddyinfo, "Node 0, %s\n\n  zone %d");
  EXPECT_EQ(textsOf(measure()), "Node 0, %s\n\n  zone %d");
}

TEST_F(MemorySource, buddyinfoIsThatOfTheAfterSnapshot) {
  set(kBuddyinfo, "before\n");
  collector_.beginSample();
  set(kBuddyinfo, "after\n");
  EXPECT_EQ(textsOf(endMeasurement()), "after\n");
}

TEST_F(MemorySource, missingBuddyinfoIsPrintedAsNothing) {
  collector_.buddyinfoText.fill('#');
  EXPECT_EQ(textsOf(measure()), "");
}

// What follows the buffer in memory is the other text, without a NUL byte.
TEST_F(MemorySource, buddyinfoOf512BytesIsPrintedNoFurtherThanItsBuffer) {
  const std::string text(512, 'b');
  collector_.pagetypeinfoText.fill('#');
  set(kBuddyinfo, text);
  EXPECT_EQ(measuredTexts(), text);
}

TEST_F(MemorySource, longBuddyinfoIsCutTo512Bytes) {
  collector_.pagetypeinfoText.fill('#');
  set(kBuddyinfo, std::string(512, 'b') + "\nmore\n");
  EXPECT_EQ(measuredTexts(), std::string(512, 'b'));
}

TEST_F(MemorySource, summaryFollowsBuddyinfoWhenItIsDue) {
  letSummaryBeDue();
  set(kBuddyinfo, "Node 0\n");
  set(kPagetypeinfo, "Page block order: 9\nNumber of blocks type\nNode 0\n");
  EXPECT_EQ(textsOf(measure()), "Node 0\nNumber of blocks type\nNode 0\n");
}

TEST_F(MemorySource, summaryIsPrintedAsItStands) {
  letSummaryBeDue();
  set(kPagetypeinfo, "Number of blocks %s %n\n");
  EXPECT_EQ(textsOf(measure()), "Number of blocks %s %n\n");
}

TEST_F(MemorySource, summaryThatIsNotDueIsNotPrinted) {
  set(kPagetypeinfo, "Number of blocks type\n");
  EXPECT_EQ(textsOf(measure()), "");
}

TEST_F(MemorySource, summaryThatIsNotDueIsNotRead) {
  set(kPagetypeinfo, "Number of blocks type\n");
  measure();
  EXPECT_EQ(std::count(madeUpFiles().opened.begin(), madeUpFiles().opened.end(), kPagetypeinfo), 0);
}

TEST_F(MemorySource, printedSummaryIsStampedWithItsTime) {
  letSummaryBeDue();
  const int64_t start = android::elapsedRealtime();
  set(kPagetypeinfo, "Number of blocks type\n");
  measure();
  EXPECT_GE(collector_.lastPagetypeinfoTime, start);
}

TEST_F(MemorySource, summaryIsNotPrintedAgainAtOnce) {
  letSummaryBeDue();
  set(kPagetypeinfo, "Number of blocks type\n");
  measure();
  EXPECT_EQ(textsOf(measure()), "");
}

TEST_F(MemorySource, firstSummaryIsNotDueAtOnce) {
  const StatsCollector fresh;
  collector_.lastPagetypeinfoTime = fresh.lastPagetypeinfoTime;
  set(kPagetypeinfo, "Number of blocks type\n");
  EXPECT_EQ(textsOf(measure()), "");
}

TEST_F(MemorySource, textWithoutSummaryPrintsNothing) {
  letSummaryBeDue();
  set(kPagetypeinfo, "Page block order: 9\n");
  EXPECT_EQ(textsOf(measure()), "");
}

TEST_F(MemorySource, textWithoutSummaryLeavesTheStamp) {
  letSummaryBeDue();
  const int64_t stamp = collector_.lastPagetypeinfoTime;
  set(kPagetypeinfo, "Page block order: 9\n");
  measure();
  EXPECT_EQ(collector_.lastPagetypeinfoTime, stamp);
}

TEST_F(MemorySource, missingSummaryIsTriedAgainAtTheNextReport) {
  letSummaryBeDue();
  measure();
  set(kPagetypeinfo, "Number of blocks type\n");
  EXPECT_EQ(textsOf(measure()), "Number of blocks type\n");
}

TEST_F(MemorySource, missingSummaryIsNotThatOfAnEarlierText) {
  letSummaryBeDue();
  const std::string earlier = "Number of blocks type\n";
  std::copy(earlier.begin(), earlier.end(), collector_.pagetypeinfoText.begin());
  EXPECT_EQ(textsOf(measure()), "");
}

TEST_F(MemorySource, summaryThatFillsItsBufferIsPrintedNoFurther) {
  const std::string summary = "Number of blocks type" + std::string(4075, 'p');
  // What follows the buffer in memory, the stamp, holds no NUL byte.
  collector_.lastPagetypeinfoTime = -0x7e7e7e7e7e7e7e7f;
  set(kPagetypeinfo, summary);
  EXPECT_EQ(measuredTexts(), summary);
}

TEST_F(MemorySource, longSummaryIsCutAtTheEndOfItsBuffer) {
  letSummaryBeDue();
  set(kPagetypeinfo, std::string(4000, 't') + "Number of blocks type" + std::string(500, 'p'));
  EXPECT_EQ(measuredTexts(), "Number of blocks type" + std::string(75, 'p'));
}

TEST_F(MemorySource, summaryBehind4096BytesIsNotSeen) {
  letSummaryBeDue();
  set(kPagetypeinfo, std::string(4085, 't') + "Number of blocks type\n");
  EXPECT_EQ(measuredTexts(), "");
}

}  // namespace
}  // namespace tarnwick
