#include "trace/mount_table.h"

#include <gtest/gtest.h>
#include <linux/magic.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <string_view>

#include "tests/unit/support/mountinfo_reading.h"

namespace tarnwick {
namespace {

constexpr std::string_view kText =
    "22 1 253:0 / / rw,relatime shared:1 - ext4 /dev/vda rw\n"
    "23 22 0:21 / /proc rw,nosuid,nodev,noexec,relatime shared:12 - proc proc rw\n"
    "30 22 0:27 / /run rw,nosuid shared:5 - tmpfs tmpfs rw,size=1608,mode=755,inode64\n"
    "41 22 253:0 /etc/hosts /run/deep/hosts rw - ext4 /dev/vda rw\n"
    "42 22 0:40 / /merged rw - overlay overlay rw,lowerdir=/l,upperdir=/u,workdir=/w\n";

std::string lineOf(std::string_view device, std::string_view point, std::string_view type) {
  return "36 35 " + std::string(device) + " / " + std::string(point) + " rw,noatime - " +
         std::string(type) + " /dev/source rw\n";
}

bool hasMountIn(std::string_view point, std::string_view directory) {
  const auto table = MountTable::parse(lineOf("8:1", point, "ext4"));
  return table && table->hasMountIn(directory);
}

TEST(MountTable, findsTheDirectoriesOfMountPoints) {
  const auto table = MountTable::parse(kText);
  ASSERT_TRUE(table);
  EXPECT_TRUE(table->hasMountIn(""));
  EXPECT_TRUE(table->hasMountIn("/run/deep"));
  for (const char* const directory : {"/run", "/run/deep/hosts", "/run/dee", "/proc", "/", "x"}) {
    EXPECT_FALSE(table->hasMountIn(directory)) << directory;
  }
}

TEST(MountTable, emptyTextHasNoMounts) {
  const auto table = MountTable::parse("");
  ASSERT_TRUE(table);
  EXPECT_FALSE(table->hasMountIn(""));
  EXPECT_FALSE(table->entriesCarryInodes(8, 1, EXT4_SUPER_MAGIC));
}

TEST(MountTable, rootIsNoEntryOfItself) {
  EXPECT_FALSE(hasMountIn("/", ""));
  EXPECT_TRUE(hasMountIn("/file", ""));
}

TEST(MountTable, decodesWhatTheKernelEscapes) {
  EXPECT_TRUE(hasMountIn(R"(/a\040b\011c\012d\134e/file)", "/a b\tc\nd\\e"));
  EXPECT_TRUE(hasMountIn(R"(/a\043/file)", "/a#"));
  EXPECT_TRUE(hasMountIn(R"(/\377\000/file)", std::string_view("/\xff\0", 3)));
}

TEST(MountTable, leavesWhatIsNoEscape) {
  EXPECT_TRUE(hasMountIn(R"(/a\04/file)", R"(/a\04)"));
  EXPECT_TRUE(hasMountIn(R"(/a\048/file)", R"(/a\048)"));
  EXPECT_TRUE(hasMountIn(R"(/a\x20/file)", R"(/a\x20)"));
  EXPECT_TRUE(hasMountIn(R"(/a/b\)", "/a"));
}

TEST(MountTable, keepsOtherWhiteSpaceOfAPath) {
  EXPECT_TRUE(hasMountIn("/a\r\v\f/file", "/a\r\v\f"));
}

TEST(MountTable, skipsOptionalFields) {
  for (const char* const fields :
       {"", "shared:1 ", "shared:1 master:2 ", "shared:1 master:2 propagate_from:3 unbindable "}) {
    const auto table =
        MountTable::parse("36 35 8:1 / /a/b rw " + std::string(fields) + "- ext4 source rw\n");
    ASSERT_TRUE(table) << fields;
    EXPECT_TRUE(table->hasMountIn("/a")) << fields;
    EXPECT_TRUE(table->entriesCarryInodes(8, 1, EXT4_SUPER_MAGIC)) << fields;
  }
}

TEST(MountTable, sourceMayBeEmpty) {
  EXPECT_TRUE(MountTable::parse("36 35 0:5 / /a/b rw - tmpfs  rw\n"));
}

TEST(MountTable, takesLongLines) {
  std::string folder;
  for (int i = 0; i < 1000; ++i) {
    folder += "/folder" + std::to_string(i);
  }
  EXPECT_TRUE(hasMountIn(folder + "/file", folder));
  EXPECT_TRUE(MountTable::parse("1 2 0:5 / /a rw - overlay o lowerdir=" + folder + "\n" +
                                lineOf("8:1", "/b/c", "ext4"))
                  ->hasMountIn("/b"));
}

TEST(MountTable, takesManyLines) {
  std::string text;
  for (int i = 0; i < 5000; ++i) {
    text += lineOf("0:" + std::to_string(i), "/d" + std::to_string(i) + "/file", "tmpfs");
  }
  const auto table = MountTable::parse(text);
  ASSERT_TRUE(table);
  for (int i = 0; i < 5000; ++i) {
    EXPECT_TRUE(table->hasMountIn("/d" + std::to_string(i))) << i;
    EXPECT_TRUE(table->entriesCarryInodes(0, static_cast<uint32_t>(i), TMPFS_MAGIC)) << i;
  }
  EXPECT_FALSE(table->entriesCarryInodes(0, 5000, TMPFS_MAGIC));
}

TEST(MountTable, isNothingWhenALineIsCut) {
  for (size_t length = 1; length < kText.size(); ++length) {
    const bool isWhole = kText[length - 1] == '\n';
    EXPECT_EQ(MountTable::parse(kText.substr(0, length)).has_value(), isWhole) << length;
  }
}

TEST(MountTable, isNothingWhenALineIsMalformed) {
  for (const char* const line :
       {"\n", "x\n", "36 35 8:1 / /a rw ext4 source rw\n", "36 35 8:1 / /a rw -\n",
        "36 35 8:1 / /a rw - \n", "36 35 8:1 / a rw - ext4 s rw\n", "36 35 8 / /a rw - ext4 s rw\n",
        "36 35 8: / /a rw - ext4 s rw\n", "36 35 :1 / /a rw - ext4 s rw\n",
        "36 35 8:1x / /a rw - ext4 s rw\n", "36 35 -8:1 / /a rw - ext4 s rw\n",
        "36 35 8:4294967296 / /a rw - ext4 s rw\n", "36 35 8:1 /  /a rw - ext4 s rw\n",
        "36 35 8:1 / /a rw  - ext4 s rw\n"}) {
    EXPECT_FALSE(MountTable::parse(line)) << line;
    EXPECT_FALSE(MountTable::parse(std::string(kText) + line + std::string(kText))) << line;
  }
}

TEST(MountTable, knowsWhoseEntriesCarryInodes) {
  struct Known {
    const char* type;
    uint32_t magic;
  };
  for (const Known& known : {Known{"ext2", EXT4_SUPER_MAGIC}, Known{"ext3", EXT4_SUPER_MAGIC},
                             Known{"ext4", EXT4_SUPER_MAGIC}, Known{"f2fs", F2FS_SUPER_MAGIC},
                             Known{"tmpfs", TMPFS_MAGIC}, Known{"erofs", EROFS_SUPER_MAGIC_V1},
                             Known{"xfs", XFS_SUPER_MAGIC}}) {
    const auto table = MountTable::parse(lineOf("259:7", "/", known.type));
    ASSERT_TRUE(table);
    EXPECT_TRUE(table->entriesCarryInodes(259, 7, known.magic)) << known.type;
    EXPECT_FALSE(table->entriesCarryInodes(259, 8, known.magic)) << known.type;
    EXPECT_FALSE(table->entriesCarryInodes(258, 7, known.magic)) << known.type;
  }
}

TEST(MountTable, allOthersAreNotKnown) {
  for (const char* const type :
       {"overlay", "btrfs", "fuse", "fuseblk", "fuse.ext4", "9p", "nfs", "ext", "ext4x", "4"}) {
    const auto table = MountTable::parse(lineOf("0:7", "/", type));
    ASSERT_TRUE(table);
    for (const uint32_t magic :
         std::array<uint32_t, 3>{EXT4_SUPER_MAGIC, TMPFS_MAGIC, 0x794c7630}) {
      EXPECT_FALSE(table->entriesCarryInodes(0, 7, magic)) << type;
    }
  }
}

// A device number that was given to another file system, or one that passes on another's f_type.
TEST(MountTable, statfsHasToAgree) {
  const auto table = MountTable::parse(kText);
  ASSERT_TRUE(table);
  EXPECT_TRUE(table->entriesCarryInodes(0, 27, TMPFS_MAGIC));
  EXPECT_FALSE(table->entriesCarryInodes(0, 27, EXT4_SUPER_MAGIC));
  EXPECT_FALSE(table->entriesCarryInodes(0, 40, EXT4_SUPER_MAGIC));
}

TEST(MountTable, agreesWithTheLibrariesOnRandomTexts) {
  std::mt19937 random(1);
  const auto pick = [&random](const auto&... each) {
    const std::array<std::string_view, sizeof...(each)> all{each...};
    return all[random() % all.size()];
  };
  int whole = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (size_t lines = random() % 4; lines > 0; --lines) {
      text += "1 2 ";
      text += pick("8:1", "8:1", "0:27", "0:4294967295", "8:4294967296", "8", "");
      text += pick(" / ", " / ", " ", "  ");
      text += pick("/", "/a", "/a/b", R"(/a\040b/c)", R"(/\0401/\04/c)", "a", "", "/a\r/b");
      text += pick(" rw ", " rw ", " rw", " ");
      text += pick("", "", "shared:1 ", "master:1 shared:2 ", " ", "- ");
      text += pick("- ", "- ", "- ", "", "-");
      text += pick("ext4", "tmpfs", "overlay", "");
      text += pick(" s rw\n", " s rw\n", "\n", "  rw\n", "");
    }
    const auto table = MountTable::parse(text);
    const auto expected = mountinfo_reading::mountsOf(text);
    ASSERT_EQ(table.has_value(), expected.has_value()) << text;
    if (!expected) {
      continue;
    }
    ++whole;
    const auto parents = mountinfo_reading::parentsOf(*expected);
    for (const char* const folder : {"", "/a", "/a b", R"(/ 1/\04)", "/a\r", "/b"}) {
      ASSERT_EQ(table->hasMountIn(folder), parents.contains(folder)) << text << folder;
    }
    for (const auto& mount : *expected) {
      ASSERT_EQ(table->entriesCarryInodes(mount.major, mount.minor, TMPFS_MAGIC) ||
                    table->entriesCarryInodes(mount.major, mount.minor, EXT4_SUPER_MAGIC),
                std::any_of(expected->begin(), expected->end(),
                            [&mount](const auto& other) {
                              return other.major == mount.major && other.minor == mount.minor &&
                                     (other.type == "ext4" || other.type == "tmpfs");
                            }))
          << text;
    }
  }
  EXPECT_GT(whole, 1000);
}

}  // namespace
}  // namespace tarnwick
