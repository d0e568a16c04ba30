#include "trace/event_format.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/support/fixture.h"

namespace tarnwick {
namespace {

constexpr std::string_view kRuntime =
    "name: sched_stat_runtime\n"
    "ID: 363\n"
    "format:\n"
    "\tfield:unsigned short common_type;\toffset:0;\tsize:2;\tsigned:0;\n"
    "\tfield:int common_pid;\toffset:4;\tsize:4;\tsigned:1;\n"
    "\n"
    "\tfield:__data_loc char[] comm;\toffset:8;\tsize:4;\tsigned:0;\n"
    "\tfield:pid_t pid;\toffset:12;\tsize:4;\tsigned:1;\n"
    "\tfield:u64 runtime;\toffset:16;\tsize:8;\tsigned:0;\n";

std::string replaced(std::string_view text, const std::string& from, const std::string& to) {
  std::string changed(text);
  changed.replace(changed.find(from), from.size(), to);
  return changed;
}

TEST(EventFormat, FieldsAreWhereTheFileSays) {
  const auto format = parseSchedEventFormat(kRuntime, SchedEventKind::kRuntime);
  ASSERT_TRUE(format);
  EXPECT_EQ(format->id, 363);
  EXPECT_EQ(format->comm.offset, 8U);
  EXPECT_TRUE(format->comm.dynamic);
  EXPECT_EQ(format->pid.offset, 12U);
  EXPECT_EQ(format->value.offset, 16U);
  EXPECT_EQ(format->minSize, 24U);
}

TEST(EventFormat, FieldNameIsWhole) {
  // common_pid ends as pid does, and comes before it.
  EXPECT_EQ(parseEventField(kRuntime, "pid")->offset, 12U);
  EXPECT_EQ(parseEventField(kRuntime, "common_pid")->offset, 4U);
  EXPECT_FALSE(parseEventField(kRuntime, "id"));
}

TEST(EventFormat, ArrayHasTheNameBeforeItsBracket) {
  const auto comm =
      parseEventField("\tfield:char comm[16];\toffset:8;\tsize:16;\tsigned:0;\n", "comm");
  ASSERT_TRUE(comm);
  EXPECT_EQ(comm->size, 16U);
  EXPECT_FALSE(comm->dynamic);
}

TEST(EventFormat, WhatIsMissingOrUnknownGivesNoFormat) {
  const auto refused = [](const std::string& from, const std::string& to) {
    return !parseSchedEventFormat(replaced(kRuntime, from, to), SchedEventKind::kRuntime);
  };
  EXPECT_TRUE(refused("ID: 363", "ID: x"));
  EXPECT_TRUE(refused("ID: 363", "ID: 65536"));
  EXPECT_TRUE(refused("common_type;\toffset:0", "common_type;\toffset:2"));
  EXPECT_TRUE(refused("__data_loc", "__rel_loc"));
  EXPECT_TRUE(refused(" pid;", " tid;"));
  EXPECT_TRUE(refused("pid;\toffset:12;\tsize:4", "pid;\toffset:12;\tsize:8"));
  EXPECT_TRUE(refused("runtime;\toffset:16;\tsize:8", "runtime;\toffset:16;\tsize:4"));
  EXPECT_TRUE(refused("runtime;\toffset:16", "runtime;\toffset:99999999"));
  EXPECT_FALSE(parseSchedEventFormat(kRuntime, SchedEventKind::kWait));
  EXPECT_FALSE(parseSchedEventFormat("", SchedEventKind::kWait));
}

TEST(EventFormat, PageCacheFieldsHaveTheirSizes) {
  const std::string text =
      "ID: 600\n"
      "\tfield:unsigned short common_type;\toffset:0;\tsize:2;\tsigned:0;\n"
      "\tfield:unsigned long i_ino;\toffset:16;\tsize:8;\tsigned:0;\n"
      "\tfield:dev_t s_dev;\toffset:32;\tsize:4;\tsigned:0;\n"
      "\tfield:unsigned char order;\toffset:36;\tsize:1;\tsigned:0;\n";
  const std::string file = "name: mm_filemap_add_to_page_cache\n" + text;
  const auto format = parsePageCacheEventFormat(file, true);
  ASSERT_TRUE(format);
  EXPECT_EQ(format->minSize, 36U);
  EXPECT_TRUE(format->added);
  EXPECT_TRUE(parsePageCacheEventFormat(replaced(file, "size:8", "size:4"), true));
  EXPECT_FALSE(parsePageCacheEventFormat(replaced(file, "size:8", "size:2"), true));
  EXPECT_FALSE(parsePageCacheEventFormat(replaced(file, "s_dev", "dev"), true));
}

}  // namespace
}  // namespace tarnwick
