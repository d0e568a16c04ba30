#include "sysstat/memory_report.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/support/counter_limits.h"
#include "tests/unit/support/fixture.h"
#include "tests/unit/support/string_sink.h"
#include "tests/unit/support/vmstat_reading.h"

namespace tarnwick {
namespace {

std::string reclaimLine(const ReclaimFigures& figures) {
  StringSink sink;
  formatReclaim(figures, sink);
  return sink.text();
}

std::string memoryLine(VmstatMap before, VmstatMap after) {
  StringSink sink;
  formatMemory(before, after, sink);
  return sink.text();
}

std::string memoryLineOf(const std::string& pathBefore, const std::string& pathAfter) {
  VmstatMap before, after;
  vmstat_reading::addCounters(readFixture(pathBefore), before);
  vmstat_reading::addCounters(readFixture(pathAfter), after);
  return memoryLine(before, after);
}

constexpr const char* kNothing =
    "MemFree=0(+0) Cached=0(+0) AnonPages=0(+0) Mapped=0(+0) Slab=0(+0) Ion=0(+0) Shmem=0(+0)\n";

TEST(ReclaimLine, hasTheFiguresInTheirOrder) {
  EXPECT_EQ(reclaimLine({1, 2, 3, 4, 5, 6}),
            "alloc_stalls=1 compact_stalls=2 kswapd_scans=3 kswapd_steals=4 direct_scans=5 "
            "direct_steals=6\n");
}

TEST(ReclaimLine, hasNegativeFigures) {
  EXPECT_EQ(reclaimLine({-1, -2, -3, -4, -5, -6}),
            "alloc_stalls=-1 compact_stalls=-2 kswapd_scans=-3 kswapd_steals=-4 direct_scans=-5 "
            "direct_steals=-6\n");
}

TEST(ReclaimLine, hasFiguresOf64Bits) {
  EXPECT_EQ(reclaimLine({kMax, kMin, kMax, kMin, kMax, kMin}),
            "alloc_stalls=9223372036854775807 compact_stalls=-9223372036854775808 "
            "kswapd_scans=9223372036854775807 kswapd_steals=-9223372036854775808 "
            "direct_scans=9223372036854775807 direct_steals=-9223372036854775808\n");
}

TEST(ReclaimLine, isOneRecord) {
  StringSink sink;
  formatReclaim({}, sink);
  EXPECT_EQ(sink.records().size(), 1U);
}

TEST(MemoryLine, hasEachCounterAndItsChangeInKilobytes) {
  EXPECT_EQ(memoryLine({{"nr_free_pages", 11},
                        {"nr_file_pages", 22},
                        {"nr_anon_pages", 33},
                        {"nr_mapped", 44},
                        {"nr_slab_reclaimable", 55},
                        {"nr_slab_unreclaimable", 500},
                        {"nr_ion", 66},
                        {"nr_shmem", 77}},
                       {{"nr_free_pages", 111},
                        {"nr_file_pages", 222},
                        {"nr_anon_pages", 333},
                        {"nr_mapped", 444},
                        {"nr_slab_reclaimable", 555},
                        {"nr_slab_unreclaimable", 5000},
                        {"nr_ion", 666},
                        {"nr_shmem", 777}}),
            "MemFree=444(+400) Cached=888(+800) AnonPages=1332(+1200) Mapped=1776(+1600) "
            "Slab=22220(+20000) Ion=2664(+2400) Shmem=3108(+2800)\n");
}

TEST(MemoryLine, ofARealInterval) {
  EXPECT_EQ(memoryLineOf("linux-6.12-arm64/t0/proc/vmstat", "linux-6.12-arm64/t1/proc/vmstat"),
            "MemFree=440548(+6248) Cached=2628(-6112) AnonPages=224(-252) Mapped=908(-1360) "
            "Slab=15384(+332) Ion=0(+0) Shmem=2080(-5528)\n");
}

TEST(MemoryLine, ofADeviceWithIon) {
  EXPECT_EQ(memoryLineOf("made-up-3.10/t0/proc/vmstat", "made-up-3.10/t1/proc/vmstat"),
            "MemFree=52960(-4040) Cached=157904(-4904) AnonPages=206588(+3024) "
            "Mapped=65152(+340) Slab=33744(-4) Ion=25600(+1024) Shmem=716(+0)\n");
}

TEST(MemoryLine, thousandPagesLessAreMinus4000) {
  EXPECT_EQ(memoryLine({{"nr_free_pages", 5000}}, {{"nr_free_pages", 4000}}).substr(0, 21),
            "MemFree=16000(-4000) ");
}

TEST(MemoryLine, tenPagesMoreArePlus40) {
  EXPECT_EQ(memoryLine({{"nr_free_pages", 5000}}, {{"nr_free_pages", 5010}}).substr(0, 19),
            "MemFree=20040(+40) ");
}

TEST(MemoryLine, noPagesMoreArePlus0) {
  EXPECT_EQ(memoryLine({{"nr_free_pages", 5000}}, {{"nr_free_pages", 5000}}).substr(0, 18),
            "MemFree=20000(+0) ");
}

TEST(MemoryLine, ofEmptyMapsIsZeros) {
  EXPECT_EQ(memoryLine({}, {}), kNothing);
}

TEST(MemoryLine, ignoresOtherCounters) {
  EXPECT_EQ(memoryLine({}, {{"nr_ion_heap", 7}, {"nr_free_cma", 7}, {"nr_shmem_hugepages", 7}}),
            kNothing);
}

TEST(MemoryLine, addsMissingNamesToBothMapsWithZero) {
  VmstatMap before = {{"nr_mapped", 3}};
  VmstatMap after = {{"nr_mapped", 4}};
  StringSink sink;
  formatMemory(before, after, sink);
  VmstatMap looked = {{"nr_free_pages", 0},
                      {"nr_file_pages", 0},
                      {"nr_anon_pages", 0},
                      {"nr_mapped", 3},
                      {"nr_slab_reclaimable", 0},
                      {"nr_slab_unreclaimable", 0},
                      {"nr_ion", 0},
                      {"nr_shmem", 0}};
  const bool sameBefore = before == looked;
  looked["nr_mapped"] = 4;
  EXPECT_TRUE(sameBefore && after == looked)
      << testing::PrintToString(before) << testing::PrintToString(after);
}

TEST(MemoryLine, wrapsPagesThatAreNoKilobytesIn64Bits) {
  EXPECT_EQ(memoryLine({{"nr_free_pages", kMin}}, {{"nr_free_pages", kMax}}).substr(0, 16),
            "MemFree=-4(-4) C");
}

TEST(MemoryLine, wrapsTheSumOfTheSlabs) {
  const std::string line =
      memoryLine({}, {{"nr_slab_reclaimable", kMax}, {"nr_slab_unreclaimable", kMax}});
  EXPECT_NE(line.find("Slab=-8(-8)"), std::string::npos) << line;
}

TEST(MemoryLine, isOneRecord) {
  StringSink sink;
  VmstatMap before, after;
  formatMemory(before, after, sink);
  EXPECT_EQ(sink.records().size(), 1U);
}

TEST(PagetypeinfoDue, notAfter60000Milliseconds) {
  EXPECT_FALSE(pagetypeinfoDue(160000, 100000));
}

TEST(PagetypeinfoDue, after60001Milliseconds) {
  EXPECT_TRUE(pagetypeinfoDue(160001, 100000));
}

TEST(PagetypeinfoDue, notAtOnce) {
  EXPECT_FALSE(pagetypeinfoDue(100000, 100000));
}

TEST(PagetypeinfoDue, notWhenTheClockWentBackwards) {
  EXPECT_FALSE(pagetypeinfoDue(100000, 200000));
}

TEST(PagetypeinfoDue, longAfter) {
  EXPECT_TRUE(pagetypeinfoDue(kMax, 0));
}

TEST(PagetypeinfoDue, afterAStampBelowZero) {
  EXPECT_TRUE(pagetypeinfoDue(1, -60000));
}

TEST(PagetypeinfoDue, notLittleAfterAStampBelowZero) {
  EXPECT_FALSE(pagetypeinfoDue(0, -60000));
}

TEST(PagetypeinfoDue, notAcrossTheWholeRange) {
  // Their difference wraps around to -1.
  EXPECT_FALSE(pagetypeinfoDue(kMax, kMin));
}

TEST(PagetypeinfoDue, notLongBeforeTheStamp) {
  EXPECT_FALSE(pagetypeinfoDue(kMin, 0));
}

TEST(PagetypeinfoSummary, ofARealTextIsItsEnd) {
  EXPECT_EQ(pagetypeinfoSummary(readFixture("linux-6.12-arm64/t0/proc/pagetypeinfo")),
            "Number of blocks type     Unmovable      Movable  Reclaimable   HighAtomic          "
            "CMA      "
            "Isolate \n"
            "Node 0, zone      DMA           21          199            4            0           "
            "32       "
            "     0 \n");
}

TEST(PagetypeinfoSummary, startsInTheMiddleOfALine) {
  EXPECT_EQ(pagetypeinfoSummary("x Number of blocks y"), "Number of blocks y");
}

TEST(PagetypeinfoSummary, startsAtTheFirstOfTwo) {
  EXPECT_EQ(pagetypeinfoSummary("x\nNumber of blocks 1\nNumber of blocks 2"),
            "Number of blocks 1\nNumber of blocks 2");
}

TEST(PagetypeinfoSummary, mayBeTheWholeText) {
  EXPECT_EQ(pagetypeinfoSummary("Number of blocks"), "Number of blocks");
}

TEST(PagetypeinfoSummary, ofATextCutBeforeItIsEmpty) {
  EXPECT_EQ(pagetypeinfoSummary("Page block order: 9\nNumber of block"), "");
}

TEST(PagetypeinfoSummary, ofNothingIsEmpty) {
  EXPECT_EQ(pagetypeinfoSummary(""), "");
}

}  // namespace
}  // namespace tarnwick
