#include "trace/block_source.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/unit/collector/made_up_device.h"
#include "tests/unit/collector/temporary_directory.h"

namespace tarnwick {
namespace {

using Names = std::vector<std::string>;

class Directory : public TemporaryDirectory {
 public:
  void addLink(const std::string& name) const {
    std::filesystem::create_symlink("../devices/" + name, std::string(path()) + "/" + name);
  }
  void addDirectory(const std::string& name) const {
    std::filesystem::create_directory(std::string(path()) + "/" + name);
  }
};

class BlockSource : public MadeUpDevice {
 protected:
  Names foundIn(const Directory& directory) {
    collector_.blockDeviceNames.clear();
    findBlockDevices(collector_, directory.path());
    std::sort(collector_.blockDeviceNames.begin(), collector_.blockDeviceNames.end());
    return collector_.blockDeviceNames;
  }

  BlockStats statsOf(const Names& disks) {
    collector_.blockDeviceNames = disks;
    BlockStats sums;
    sums.fill(-1);
    readBlockStats(collector_, sums);
    return sums;
  }

  // A disk's fields, each of them the same number.
  static void setStat(const std::string& disk, int number) {
    std::string text;
    for (int field = 0; field < 17; ++field) {
      text += " " + std::to_string(number);
    }
    set("/sys/block/" + disk + "/stat", text + "\n");
  }

  static BlockStats allFields(int64_t number) {
    BlockStats stats;
    stats.fill(number);
    return stats;
  }

  static std::string ioSection(const std::string& report) {
    return section(report, "rw_reqs=", "alloc_stalls=");
  }
};

TEST_F(BlockSource, sampledDisksAreFound) {
  const Directory directory;
  for (const char* name : {"sda", "sdb", "mmcblk0", "mmcblk0boot0", "mmcblk1", "loop0", "zram0",
                           "ram0", "dm-0", "vda"}) {
    directory.addLink(name);
  }
  EXPECT_EQ(foundIn(directory), (Names{"mmcblk0", "sda", "sdb"}));
}

TEST_F(BlockSource, entryThatIsNoLinkIsNoDisk) {
  const Directory directory;
  directory.addLink("sda");
  directory.addDirectory("sdb");
  EXPECT_EQ(foundIn(directory), (Names{"sda"}));
}

TEST_F(BlockSource, longNameIsWhole) {
  const Directory directory;
  const std::string name = "sd" + std::string(253, 'x');
  directory.addLink(name);
  EXPECT_EQ(foundIn(directory), (Names{name}));
}

TEST_F(BlockSource, missingDirectoryHasNoDisks) {
  collector_.blockDeviceNames.clear();
  findBlockDevices(collector_, "/proc/tarnwick/no-such-directory");
  EXPECT_EQ(collector_.blockDeviceNames, Names{});
}

TEST_F(BlockSource, disksAreFoundOnce) {
  const Directory directory;
  directory.addLink("sdb");
  collector_.blockDeviceNames = {"sda"};
  findBlockDevices(collector_, directory.path());
  EXPECT_EQ(collector_.blockDeviceNames, (Names{"sda"}));
}

TEST_F(BlockSource, disksAreLookedForAgainUntilOneIsFound) {
  const Directory directory;
  foundIn(directory);
  directory.addLink("sdb");
  findBlockDevices(collector_, directory.path());
  EXPECT_EQ(collector_.blockDeviceNames, (Names{"sdb"}));
}

TEST_F(BlockSource, sumsAreOverAllDisks) {
  setStat("sda", 1);
  setStat("sdb", 20);
  setStat("mmcblk0", 300);
  EXPECT_EQ(statsOf({"sda", "mmcblk0", "sdb"}), allFields(321));
}

TEST_F(BlockSource, sumsReplaceWhatWasThere) {
  setStat("sda", 5);
  BlockStats sums = allFields(1000);
  readBlockStats(collector_, sums);
  EXPECT_EQ(sums, allFields(5));
}

TEST_F(BlockSource, missingDiskAddsNothing) {
  setStat("sda", 1);
  setStat("sdc", 20);
  EXPECT_EQ(statsOf({"sda", "sdb", "sdc"}), allFields(21));
}

TEST_F(BlockSource, missingDiskIsNotReported) {
  statsOf({"sda"});
  EXPECT_TRUE(logRecords().empty());
}

TEST_F(BlockSource, unreadableDiskAddsNothing) {
  setStat("sda", 1);
  setStat("sdc", 20);
  madeUpFiles().unreadable = {"/sys/block/sdb/stat"};
  EXPECT_EQ(statsOf({"sda", "sdb", "sdc"}), allFields(21));
}

TEST_F(BlockSource, unreadableDiskIsReported) {
  madeUpFiles().unreadable = {"/sys/block/sda/stat"};
  statsOf({"sda"});
  EXPECT_EQ(logText(), "Error opening /sys/block/sda/stat: Is a directory (21)\n");
}

TEST_F(BlockSource, emptyStatAddsNothing) {
  set("/sys/block/sda/stat", "");
  EXPECT_EQ(statsOf({"sda"}), allFields(0));
}

TEST_F(BlockSource, shortStatAddsTheFieldsThatItHas) {
  setStat("sda", 1);
  set("/sys/block/sdb/stat", "10 20\n");
  BlockStats expected = allFields(1);
  expected[kReadsCompleted] = 11;
  expected[kReadsMerged] = 21;
  EXPECT_EQ(statsOf({"sda", "sdb"}), expected);
}

TEST_F(BlockSource, statIsReadNoFurtherThan512Bytes) {
  set("/sys/block/sda/stat", std::string(510, ' ') + "123\n");
  EXPECT_EQ(statsOf({"sda"})[kReadsCompleted], 12);
}

TEST_F(BlockSource, diskWithTheLongestNameIsRead) {
  const std::string disk = "sd" + std::string(253, 'x');
  setStat(disk, 4);
  EXPECT_EQ(statsOf({disk}), allFields(4));
}

TEST_F(BlockSource, reportOfARealInterval) {
  collector_.blockDeviceNames = {"sda", "mmcblk0"};
  madeUpFiles().texts = filesOfFixture("linux-6.1-arm64/t0");
  collector_.beginSample();
  madeUpFiles().texts = filesOfFixture("linux-6.1-arm64/t1");
  EXPECT_EQ(ioSection(endMeasurement()),
            "rw_reqs=512/517 rw_merges=0/2 rw_kb=2048/32838 rw_ms=2931/6549 total_ms=8332 "
            "total_queue_ms=9479 swap_inout_kb=16/4023 maj_flt=2\n");
}

TEST_F(BlockSource, reportWithoutAnyFileIsZeros) {
  EXPECT_EQ(ioSection(measure()),
            "rw_reqs=0/0 rw_merges=0/0 rw_kb=0/0 rw_ms=0/0 total_ms=0 total_queue_ms=0 "
            "swap_inout_kb=0/0 maj_flt=0\n");
}

TEST_F(BlockSource, threeMeasurementsInARowMeetEndToEnd) {
  setStat("sda", 1);
  std::string figures;
  for (const int number : {2, 12, 112}) {
    collector_.beginSample();
    setStat("sda", number);
    figures += section(endMeasurement(), "rw_reqs=", "rw_merges=");
  }
  EXPECT_EQ(figures, "rw_reqs=1/1 rw_reqs=10/10 rw_reqs=100/100 ");
}

TEST_F(BlockSource, diskThatIsGoneTakesItsCountersBack) {
  setStat("sda", 7);
  collector_.beginSample();
  remove("/sys/block/sda/stat");
  EXPECT_EQ(section(endMeasurement(), "rw_reqs=", "rw_merges="), "rw_reqs=-7/-7 ");
}

}  // namespace
}  // namespace tarnwick
