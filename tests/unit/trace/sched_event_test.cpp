#include "trace/sched_event.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "tests/unit/support/odd_lines.h"
#include "tests/unit/support/sched_reading.h"
#include "tests/unit/trace/trace_lines.h"
#include "trace/line_splitter.h"

namespace tarnwick {
namespace {

using sched_reading::described;
using sched_reading::eventOf;
using sched_reading::sscanfEventOf;

size_t eventsIn(const std::vector<std::string>& lines) {
  return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
    return parseSchedEvent(line).has_value();
  }));
}

// A line whose event has the text given.
std::string waitLine(const std::string& event) {
  return "             cat-190     [001] d...    35.434919: sched_stat_wait: " + event + '\n';
}

std::string runtimeLine(const std::string& event) {
  return "             cat-190     [001] d...    35.434919: sched_stat_runtime: " + event + '\n';
}

// The same with another head in front of the colon.
std::string lineWithHead(const std::string& head) {
  return head + ": sched_stat_wait: comm=app pid=7 delay=500 [ns]\n";
}

const std::string kWaitOfApp = described('w', 1, 35.434919, 7, 500, "app");

TEST(SchedEvent, realWait) {
  EXPECT_EQ(eventOf("          <idle>-0       [001] dN..    35.444082: sched_stat_wait: "
                    "comm=Binder:123_4 pid=174 delay=4295568 [ns]\n"),
            described('w', 1, 35.444082, 174, 4295568, "Binder:123_4"));
}

TEST(SchedEvent, realIoWait) {
  EXPECT_EQ(eventOf("    kworker/1:1H-166     [001] d.h..    33.536584: sched_stat_iowait: "
                    "comm=disk.writer pid=193 delay=3780032 [ns]\n"),
            described('i', 1, 33.536584, 193, 3780032, "disk.writer"));
}

TEST(SchedEvent, realRuntime) {
  EXPECT_EQ(eventOf("             cat-240     [001] d....    35.993756: sched_stat_runtime: "
                    "comm=cat pid=240 runtime=110816 [ns]\n"),
            described('r', 1, 35.993756, 240, 110816, "cat"));
}

TEST(SchedEvent, realRuntimeWithVirtualRuntime) {
  EXPECT_EQ(eventOf("             cat-190     [001] d...    35.434919: sched_stat_runtime: "
                    "comm=cat pid=190 runtime=39040 [ns] vruntime=16961830712 [ns]\n"),
            described('r', 1, 35.434919, 190, 39040, "cat"));
}

TEST(SchedEvent, realHeadWithProcessId) {
  EXPECT_EQ(eventOf("              sh-199     (    199) [001] d.h..    40.297672: "
                    "sched_stat_runtime: comm=sh pid=199 runtime=50151776 [ns]\n"),
            described('r', 1, 40.297672, 199, 50151776, "sh"));
}

TEST(SchedEvent, realHeadWithoutAProcessId) {
  EXPECT_EQ(eventOf("          <idle>-0       (-------) [000] dN...    37.701731: "
                    "sched_stat_wait: comm=Binder:123_4 pid=191 delay=0 [ns]\n"),
            described('w', 0, 37.701731, 191, 0, "Binder:123_4"));
}

TEST(SchedEvent, headOfAnUnknownTask) {
  EXPECT_EQ(eventOf(lineWithHead("           <...>-255     [001] d....    35.434919")), kWaitOfApp);
}

TEST(SchedEvent, realNameWithBlanksAndBrackets) {
  EXPECT_EQ(eventOf("              sh-199     [001] d....    40.301742: sched_stat_wait: "
                    "comm=my app-7 [x] pid=226 delay=54222656 [ns]\n"),
            described('w', 1, 40.301742, 226, 54222656, "my app-7 [x]"));
}

TEST(SchedEvent, realNameWithParentheses) {
  EXPECT_EQ(eventOf("       a) R 1 (b-228     (    228) [003] d.h..    40.249118: "
                    "sched_stat_runtime: comm=a) R 1 (b pid=228 runtime=13533984 [ns]\n"),
            described('r', 3, 40.249118, 228, 13533984, "a) R 1 (b"));
}

TEST(SchedEvent, realHeadWhoseNameHoldsABracketHasNone) {
  EXPECT_EQ(eventOf("    my app-7 [x]-226     [001] d....    40.301736: sched_stat_runtime: "
                    "comm=my app-7 [x] pid=226 runtime=103824 [ns]\n"),
            kNone);
}

TEST(SchedEvent, realLineOfLostEventsHasNone) {
  EXPECT_EQ(eventOf("CPU:1 [LOST 863 EVENTS]\n"), kNone);
}

// The lines of the fixtures without those of the task "my app-7 [x]".

TEST(SchedEvent, linux510HasOneOnEveryLineWithAPlainHead) {
  EXPECT_EQ(eventsIn(readTraceLines("linux-5.10-arm64", "sched.txt")), 289U);
}

TEST(SchedEvent, linux61HasOneOnEveryLineWithAPlainHead) {
  EXPECT_EQ(eventsIn(readTraceLines("linux-6.1-arm64", "sched.txt")), 276U);
}

TEST(SchedEvent, linux612HasOneOnEveryLineWithAPlainHead) {
  EXPECT_EQ(eventsIn(readTraceLines("linux-6.12-arm64", "sched.txt")), 290U);
}

TEST(SchedEvent, linesWithProcessIdsHaveOneBehindEveryPlainHead) {
  EXPECT_EQ(eventsIn(readTraceLines("sched_with_tgid.txt")), 3U * 38);
}

TEST(SchedEvent, linesBetweenLostEventsHaveOneEach) {
  EXPECT_EQ(eventsIn(readTraceLines("lost_events.txt")), 3U * 15);
}

// What a line of the fixtures says, found from its unmistakable middle outwards.
std::string fixtureEventOf(const std::string& line) {
  const size_t middle = line.find(": sched_stat_");
  if (middle == std::string::npos) {
    return kNone;
  }
  const size_t cpuAt = line.rfind(" [", middle);
  const size_t nameAt = line.find(": comm=", middle) + strlen(": comm=");
  const size_t numbersAt = line.find(" pid=", nameAt);
  int cpu = 0;
  double time = 0;
  char kind = 0;
  int tid = 0;
  char valueName[20] = "";
  long value = 0;
  if (sscanf(line.c_str() + cpuAt, " [%3d] %*5[A-Za-z0-9.] %lf: sched_stat_%c", &cpu, &time,
             &kind) != 3 ||
      sscanf(line.c_str() + numbersAt, " pid=%d %19[a-z]=%ld [ns]", &tid, valueName, &value) != 3) {
    return "a line that the fixtures should not have";
  }
  // A task name with a bracket hides the CPU.
  return line.find(" [") == cpuAt
             ? described(kind, cpu, time, tid, value, line.substr(nameAt, numbersAt - nameAt))
             : kNone;
}

TEST(SchedEvent, realLinesReadAsTheyAre) {
  for (const char* file : {"sched.txt", "sched_with_tgid.txt", "lost_events.txt"}) {
    for (const std::string& line : readTraceLines(file)) {
      EXPECT_EQ(eventOf(line), fixtureEventOf(line)) << line;
    }
  }
}

TEST(SchedEvent, pageCacheLinesHaveNone) {
  EXPECT_EQ(eventsIn(readTraceLines("filemap.txt")), 0U);
}

TEST(SchedEvent, sleepIsNone) {
  EXPECT_EQ(eventOf("             cat-190     [001] d...    35.434919: sched_stat_sleep: "
                    "comm=cat pid=190 delay=39040 [ns]\n"),
            kNone);
}

TEST(SchedEvent, blockedIsNone) {
  EXPECT_EQ(eventOf("             cat-190     [001] d...    35.434919: sched_stat_blocked: "
                    "comm=cat pid=190 delay=39040 [ns]\n"),
            kNone);
}

TEST(SchedEvent, kindIsTheLetterBehindTheFirstEventName) {
  EXPECT_EQ(eventOf("  cat-190 [001] d... 35.434919: sched_stat_iowait: comm=sched_stat_wait pid=7 "
                    "delay=500 [ns]\n"),
            described('i', 1, 35.434919, 7, 500, "sched_stat_wait"));
}

TEST(SchedEvent, eventNameInTheTaskNameIsNotTheKind) {
  EXPECT_EQ(eventOf(lineWithHead("   sched_stat_run-255     [001] d....    35.434919")),
            kWaitOfApp);
}

TEST(SchedEvent, lineThatEndsBehindTheEventNameHasNone) {
  // The kind behind the end of the line is not the line's.
  const std::string_view text =
      "  cat-190 [001] d... 35.434919: comm=app pid=7 delay=500 sched_stat_w";
  EXPECT_EQ(eventOf(text.substr(0, text.size() - 1)), kNone);
}

TEST(SchedEvent, emptyNameIsBlank) {
  EXPECT_EQ(parseSchedEvent(waitLine("comm= pid=7 delay=500 [ns]")).value().comm, "blank");
}

TEST(SchedEvent, nameOfABlankStays) {
  EXPECT_EQ(parseSchedEvent(waitLine("comm=  pid=7 delay=500 [ns]")).value().comm, " ");
}

TEST(SchedEvent, nameWithoutABlankBehindItLosesItsLastCharacter) {
  EXPECT_EQ(parseSchedEvent(waitLine("comm=apppid=7 delay=500 [ns]")).value().comm, "ap");
}

TEST(SchedEvent, nameWithNoRoomForABlankHasNone) {
  EXPECT_EQ(eventOf(waitLine("comm=pid=7 delay=500 [ns]")), kNone);
}

TEST(SchedEvent, nameOfAnUnknownTask) {
  EXPECT_EQ(parseSchedEvent(waitLine("comm=<...> pid=7 delay=500")).value().comm, "<...>");
}

// The kernel's longest.
TEST(SchedEvent, nameOf15CharactersIsWhole) {
  EXPECT_EQ(parseSchedEvent(waitLine("comm=mmcqd/0-the-lon pid=7 delay=500")).value().comm,
            "mmcqd/0-the-lon");
}

TEST(SchedEvent, nameOf79CharactersIsWhole) {
  const std::string name(79, 'k');
  EXPECT_EQ(parseSchedEvent(waitLine("comm=" + name + " pid=7 delay=500")).value().comm, name);
}

TEST(SchedEvent, nameOf80CharactersIsCut) {
  const std::string name(80, 'k');
  EXPECT_EQ(parseSchedEvent(waitLine("comm=" + name + " pid=7 delay=500")).value().comm,
            name.substr(0, 79));
}

TEST(SchedEvent, nameOf200CharactersIsCut) {
  const std::string name(200, 'k');
  EXPECT_EQ(parseSchedEvent(waitLine("comm=" + name + " pid=7 delay=500")).value().comm,
            name.substr(0, 79));
}

TEST(SchedEvent, numbersBehindACutNameAreRead) {
  EXPECT_EQ(
      parseSchedEvent(waitLine("comm=" + std::string(900, 'k') + " pid=7 delay=500")).value().value,
      500);
}

// The events of a line that the splitter cuts so that its first part ends as given.
std::vector<std::string> eventsOfCutLine(const std::string& end, const std::string& rest) {
  const std::string start = waitLine("comm=");
  const std::string line = start.substr(0, start.size() - 1);
  std::vector<std::string> events;
  const auto take = [&events](std::string_view part) { events.push_back(eventOf(part)); };
  LineSplitter splitter;
  splitter.feed(line + std::string(1023 - line.size() - end.size(), 'k') + end + rest + '\n', take);
  splitter.finish(take);
  return events;
}

TEST(SchedEvent, numberIsReadUpToTheCutOfItsLine) {
  EXPECT_EQ(
      eventsOfCutLine(" pid=7 delay=50", "0 [ns]"),
      (std::vector<std::string>{described('w', 1, 35.434919, 7, 50, std::string(79, 'k')), kNone}));
}

TEST(SchedEvent, lineCutInFrontOfItsNumberHasNone) {
  EXPECT_EQ(eventsOfCutLine(" pid=7 delay=", "500 [ns]"), (std::vector<std::string>{kNone, kNone}));
}

TEST(SchedEvent, nameMayHoldANewline) {
  EXPECT_EQ(parseSchedEvent(waitLine("comm=a\nb pid=7 delay=500 [ns]")).value().comm, "a\nb");
}

TEST(SchedEvent, nameIsThatOfTheEventAndNotOfTheHead) {
  EXPECT_EQ(eventOf(lineWithHead("    comm=x pid=9-255     [001] d....    35.434919")), kWaitOfApp);
}

TEST(SchedEvent, nameThatHoldsAPidHasNone) {
  EXPECT_EQ(eventOf(waitLine("comm=a pid=b pid=7 delay=500 [ns]")), kNone);
}

TEST(SchedEvent, nameThatHoldsAPidWithANumberHasNone) {
  EXPECT_EQ(eventOf(waitLine("comm=a pid=5 pid=7 delay=500 [ns]")), kNone);
}

TEST(SchedEvent, nameThatHoldsNumbersGivesThem) {
  EXPECT_EQ(eventOf(waitLine("comm=a pid=5 delay=9 pid=7 delay=500 [ns]")),
            described('w', 1, 35.434919, 5, 9, "a"));
}

TEST(SchedEvent, nameThatHoldsACommStartsAtTheFirst) {
  EXPECT_EQ(parseSchedEvent(waitLine("comm=comm=a pid=7 delay=500")).value().comm, "comm=a");
}

TEST(SchedEvent, pidInFrontOfTheNameHasNone) {
  EXPECT_EQ(eventOf(waitLine("pid=7 delay=500 [ns] comm=app")), kNone);
}

TEST(SchedEvent, missingNameHasNone) {
  EXPECT_EQ(eventOf(waitLine("app pid=7 delay=500 [ns]")), kNone);
}

TEST(SchedEvent, missingPidHasNone) {
  EXPECT_EQ(eventOf(waitLine("comm=app tid=7 delay=500 [ns]")), kNone);
}

TEST(SchedEvent, pidWithoutANumberHasNone) {
  EXPECT_EQ(eventOf(waitLine("comm=app pid= delay=500 [ns]")), kNone);
}

TEST(SchedEvent, missingDelayHasNone) {
  EXPECT_EQ(eventOf(waitLine("comm=app pid=7\n")), kNone);
}

TEST(SchedEvent, delayThatIsNoNumberHasNone) {
  EXPECT_EQ(eventOf(waitLine("comm=app pid=7 delay=x")), kNone);
}

TEST(SchedEvent, waitWithARuntimeHasNone) {
  EXPECT_EQ(eventOf(waitLine("comm=app pid=7 runtime=500 [ns]")), kNone);
}

TEST(SchedEvent, runtimeWithADelayHasNone) {
  EXPECT_EQ(eventOf(runtimeLine("comm=app pid=7 delay=500 [ns]")), kNone);
}

TEST(SchedEvent, numbersMayStandApart) {
  EXPECT_EQ(eventOf(waitLine("comm=app pid= 7 \t delay= 500")), kWaitOfApp);
}

TEST(SchedEvent, numbersMayTouch) {
  EXPECT_EQ(eventOf(waitLine("comm=app pid=7delay=500")), kWaitOfApp);
}

TEST(SchedEvent, missingTimeHasNone) {
  EXPECT_EQ(eventOf(lineWithHead("  cat-190 [001] d...")), kNone);
}

TEST(SchedEvent, missingFlagsHaveNone) {
  EXPECT_EQ(eventOf(lineWithHead("  cat-190 [001] 35.434919")), kNone);
}

TEST(SchedEvent, flagsMayTouchTheBracket) {
  EXPECT_EQ(eventOf(lineWithHead("  cat-190 [001]d... 35.434919")), kWaitOfApp);
}

TEST(SchedEvent, timeMayLackItsColon) {
  EXPECT_EQ(eventOf("  cat-190 [001] d... 35.434919 sched_stat_wait: comm=app pid=7 delay=500"),
            kWaitOfApp);
}

TEST(SchedEvent, missingCpuHasNone) {
  EXPECT_EQ(eventOf(lineWithHead("  cat-190 [] d... 35.434919")), kNone);
}

TEST(SchedEvent, missingClosingBracketHasNone) {
  EXPECT_EQ(eventOf(lineWithHead("  cat-190 [001 d... 35.434919")), kNone);
}

TEST(SchedEvent, missingBracketHasNone) {
  EXPECT_EQ(eventOf(lineWithHead("  cat-190 001] d... 35.434919")), kNone);
}

TEST(SchedEvent, bracketWithoutABlankBeforeItIsNotTheHead) {
  EXPECT_EQ(eventOf(lineWithHead("  cat-190[001] d... 35.434919")), kNone);
}

TEST(SchedEvent, lineMayStartWithTheHead) {
  EXPECT_EQ(eventOf(lineWithHead(" [001] d... 35.434919")), kWaitOfApp);
}

TEST(SchedEvent, emptyLineHasNone) {
  EXPECT_EQ(eventOf(""), kNone);
}

TEST(SchedEvent, delayBeyondTheRangeIsTheLargest) {
  EXPECT_EQ(
      parseSchedEvent(waitLine("comm=app pid=7 delay=18446744073709551615 [ns]")).value().value,
      std::numeric_limits<int64_t>::max());
}

TEST(SchedEvent, runtimeBelowTheRangeIsTheSmallest) {
  EXPECT_EQ(parseSchedEvent(runtimeLine("comm=app pid=7 runtime=-9223372036854775809 [ns]"))
                .value()
                .value,
            std::numeric_limits<int64_t>::min());
}

TEST(SchedEvent, runtimeMayBeNegative) {
  EXPECT_EQ(parseSchedEvent(runtimeLine("comm=app pid=7 runtime=-500 [ns]")).value().value, -500);
}

TEST(SchedEvent, pidBeyond32BitsKeepsItsLowHalf) {
  EXPECT_EQ(parseSchedEvent(waitLine("comm=app pid=4294967303 delay=500 [ns]")).value().tid, 7);
}

TEST(SchedEvent, pidBeyond64BitsIsMinusOne) {
  EXPECT_EQ(parseSchedEvent(waitLine("comm=app pid=99999999999999999999 delay=500")).value().tid,
            -1);
}

TEST(SchedEvent, cpuBeyond64BitsIsMinusOne) {
  EXPECT_EQ(parseSchedEvent(lineWithHead("  cat-190 [9223372036854775808] d... 35.4")).value().cpu,
            -1);
}

TEST(SchedEvent, timeOfManyDigitsIsExact) {
  EXPECT_EQ(
      parseSchedEvent(lineWithHead("  cat-190 [001] d... 18446744073709.551615")).value().time,
      18446744073709.551615);
}

TEST(SchedEvent, nameLiesInTheLine) {
  const std::string line = waitLine("comm=app pid=7 delay=500 [ns]");
  EXPECT_EQ(parseSchedEvent(line).value().comm.data(), line.data() + line.find("app"));
}

OddLines oddSchedLines() {
  std::vector<std::string> real = readTraceLines("sched.txt");
  for (const char* file : {"sched_with_tgid.txt", "lost_events.txt"}) {
    const std::vector<std::string> more = readTraceLines(file);
    real.insert(real.end(), more.begin(), more.end());
  }
  const std::vector<std::string> numbers = {"7",
                                            "0",
                                            "-1",
                                            "+12",
                                            "500",
                                            "39040",
                                            "300000000",
                                            "007",
                                            "0x1f",
                                            "4294967303",
                                            "2147483648",
                                            "-2147483649",
                                            "9223372036854775807",
                                            "9223372036854775808",
                                            "-9223372036854775809",
                                            "18446744073709551615",
                                            "99999999999999999999999",
                                            " 5",
                                            "x"};
  return {real,
          "0123456789 [](){}<>=:._-\t\ncompidelayruntsh",
          {{"cat-190    ", "<...>-7", "comm=-1", "my [x", "pid= ", "sched_stat_", ""},
           {" [", "  [", "[", "\t[", " ["},
           {"001", "0", "-1", "3", "4294967297", "99999999999999999999", " 2", "x", ""},
           {"]", "] ", "]\t", " ]"},
           {"d...", "d.h..", ".", "d... 1", "..... "},
           {" ", "    ", "\n", "\t", ""},
           {"35.434919", "0.000001", "86400.5", "1e5", "0x1p4", ".5", "5.", "-3.25", "inf",
            "123456789012345.678", "123456789012345", "1234567890123456", "0.1234567890123456",
            "nan", "1.5.2", "x", "7"},
           {":", ": ", " ", ""},
           {"sched_stat_", "sched_stat_", "sched_stat_", "sched_stat", "sched_switch"},
           {"wait: ", "iowait: ", "runtime: ", "wait", "i", "r", "sleep: ", "blocked: ", "", "\n"},
           {"comm=", "comm=", "comm=", "comm", "prev_comm="},
           {"cat", "", "a) R 1 (b", "my app-7 [x]", "comm=", "pid=", "\n", std::string(78, 'k'),
            std::string(79, 'k'), std::string(80, 'k'), std::string(300, 'k')},
           {" ", " ", " ", "", "  ", "\n"},
           {"pid=", "pid=", "pid=", "tid=", "pid= "},
           numbers,
           {" ", " ", "", "  ", "\t\n"},
           {"delay=", "runtime=", "delay=", "runtime=", "delay", "vruntime="},
           numbers,
           {" [ns]", " [ns] vruntime=16961830712 [ns]", "", "\n"}}};
}

TEST(SchedEvent, oddLinesReadAsSscanfReadsThem) {
  expectSameReadings(oddSchedLines(), eventOf, sscanfEventOf);
}

}  // namespace
}  // namespace tarnwick
