#include "trace/trace_losses.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace tarnwick {
namespace {

TEST(TraceLosses, NothingLostHasNoLine) {
  EXPECT_EQ(formatTraceLosses({}), "");
}

TEST(TraceLosses, LimitThatWasNotReachedHasNoLine) {
  TraceLosses losses;
  losses.memoryLimit = 1 << 20;
  losses.memoryLimitIsDefault = true;
  EXPECT_EQ(formatTraceLosses(losses), "");
}

TEST(TraceLosses, CountedEventsOfTheKernel) {
  TraceLosses losses;
  losses.overwritten = 2825;
  EXPECT_EQ(formatTraceLosses(losses), "tarnwick: trace: 2825 events lost: kernel buffer full\n");
}

TEST(TraceLosses, UncountedEventsOfTheKernel) {
  TraceLosses losses;
  losses.overwrittenUnknown = 3;
  EXPECT_EQ(formatTraceLosses(losses),
            "tarnwick: trace: events lost 3 times, number unknown: kernel buffer full\n");
}

TEST(TraceLosses, EventsThatWereNotReadInTime) {
  TraceLosses losses;
  losses.notDrained = true;
  EXPECT_EQ(formatTraceLosses(losses),
            "tarnwick: trace: last events lost, number unknown: not read within 2 seconds\n");
}

TEST(TraceLosses, EventsOfThreadsThatHaveEnded) {
  TraceLosses losses;
  losses.unresolved = 12;
  EXPECT_EQ(formatTraceLosses(losses),
            "tarnwick: trace: 12 events skipped: thread ended before it was looked up\n");
}

TEST(TraceLosses, RecordsOverTheLimit) {
  TraceLosses losses;
  losses.overMemory = 100;
  losses.memoryLimit = (8 << 10) + 1023;
  EXPECT_EQ(formatTraceLosses(losses),
            "tarnwick: trace: 100 records dropped: memory limit of 8 KB\n");
}

TEST(TraceLosses, DefaultLimitIsNamed) {
  TraceLosses losses;
  losses.overMemory = 100;
  losses.memoryLimit = 8 << 10;
  losses.memoryLimitIsDefault = true;
  EXPECT_EQ(formatTraceLosses(losses),
            "tarnwick: trace: 100 records dropped: memory limit of 8 KB (MemAvailable unknown)\n");
}

TEST(TraceLosses, EventsWithoutMemory) {
  TraceLosses losses;
  losses.outOfMemory = 5;
  EXPECT_EQ(formatTraceLosses(losses), "tarnwick: trace: 5 events dropped: out of memory\n");
}

TEST(TraceLosses, RecordsThatAreNotInTheFileHaveTheReason) {
  TraceLosses losses;
  losses.notWritten = 7;
  losses.writeError = ENOSPC;
  EXPECT_EQ(formatTraceLosses(losses),
            "tarnwick: trace: 7 records not written to /data/trace.txt: No space left on device\n");
}

TEST(TraceLosses, OneIsSingular) {
  TraceLosses losses;
  losses.overwritten = 1;
  EXPECT_EQ(formatTraceLosses(losses), "tarnwick: trace: 1 event lost: kernel buffer full\n");
}

TEST(TraceLosses, LargestCountIsPrintedWhole) {
  TraceLosses losses;
  losses.overwritten = UINT64_MAX;
  EXPECT_EQ(formatTraceLosses(losses),
            "tarnwick: trace: 18446744073709551615 events lost: kernel buffer full\n");
}

TEST(TraceLosses, EachKindHasALineInThisOrder) {
  const TraceLosses losses{.overwritten = 1,
                           .overwrittenUnknown = 2,
                           .notDrained = true,
                           .unresolved = 3,
                           .overMemory = 4,
                           .memoryLimit = 1 << 10,
                           .memoryLimitIsDefault = false,
                           .outOfMemory = 5,
                           .notWritten = 6,
                           .writeError = EIO};
  EXPECT_EQ(formatTraceLosses(losses),
            "tarnwick: trace: 1 event lost: kernel buffer full\n"
            "tarnwick: trace: events lost 2 times, number unknown: kernel buffer full\n"
            "tarnwick: trace: last events lost, number unknown: not read within 2 seconds\n"
            "tarnwick: trace: 3 events skipped: thread ended before it was looked up\n"
            "tarnwick: trace: 4 records dropped: memory limit of 1 KB\n"
            "tarnwick: trace: 5 events dropped: out of memory\n"
            "tarnwick: trace: 6 records not written to /data/trace.txt: Input/output error\n");
}

}  // namespace
}  // namespace tarnwick
