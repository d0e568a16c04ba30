#include "cli/command_line.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tarnwick {
namespace {

std::optional<Options> parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "tarnwick");
  return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

// The options of a command line that is accepted.
Options options(std::vector<const char*> arguments) {
  const std::optional<Options> parsed = parse(std::move(arguments));
  EXPECT_TRUE(parsed.has_value());
  return parsed.value_or(Options{});
}

bool rejected(std::vector<const char*> arguments) {
  return !parse(std::move(arguments));
}

TEST(CommandLine, intervalIsTwoSecondsByDefault) {
  EXPECT_EQ(options({}).intervalSeconds, 2U);
}

TEST(CommandLine, iterationsHaveNoLimitByDefault) {
  EXPECT_EQ(options({}).iterations, 0xFFFFFFFFU);
}

TEST(CommandLine, runModeIsTheLoopByDefault) {
  EXPECT_EQ(options({}).runMode, RunMode::kLoop);
}

TEST(CommandLine, noProcessIsWatchedByDefault) {
  EXPECT_EQ(options({}).processName, std::nullopt);
}

TEST(CommandLine, logIsTheDestinationByDefault) {
  EXPECT_FALSE(options({}).useStdout);
}

TEST(CommandLine, blockDumpIsOffByDefault) {
  EXPECT_FALSE(options({"--sig"}).blockDump);
}

TEST(CommandLine, systraceIsOffByDefault) {
  EXPECT_FALSE(options({"--sig"}).systrace);
}

TEST(CommandLine, freqIsOffByDefault) {
  EXPECT_FALSE(options({}).freq);
}

TEST(CommandLine, pmuIsOffByDefault) {
  EXPECT_FALSE(options({}).pmu);
}

TEST(CommandLine, processCpuIsOnByDefault) {
  EXPECT_TRUE(options({}).procCpu);
}

TEST(CommandLine, minimumCpuIsZeroByDefault) {
  EXPECT_EQ(options({}).minCpuMs, 0);
}

TEST(CommandLine, missingProgramNameGivesTheDefaults) {
  const char* const none[] = {nullptr};
  EXPECT_TRUE(parseCommandLine(0, none).has_value());
}

TEST(CommandLine, programNameIsNotLookedAt) {
  const char* const arguments[] = {"--stdout"};
  EXPECT_FALSE(parseCommandLine(1, arguments).value().useStdout);
}

TEST(CommandLine, intervalTakesItsNumber) {
  EXPECT_EQ(options({"--interval=5"}).intervalSeconds, 5U);
}

TEST(CommandLine, emptyIntervalIsZero) {
  EXPECT_EQ(options({"--interval="}).intervalSeconds, 0U);
}

TEST(CommandLine, intervalWithoutDigitsIsZero) {
  EXPECT_EQ(options({"--interval=soon"}).intervalSeconds, 0U);
}

TEST(CommandLine, numberEndsAtTheFirstOtherCharacter) {
  EXPECT_EQ(options({"--interval=7s"}).intervalSeconds, 7U);
}

TEST(CommandLine, numberMayHaveBlanksAndASign) {
  EXPECT_EQ(options({"--interval= \t+7"}).intervalSeconds, 7U);
}

TEST(CommandLine, numberIsDecimalDespiteItsLeadingZero) {
  EXPECT_EQ(options({"--interval=010"}).intervalSeconds, 10U);
}

TEST(CommandLine, hexadecimalNumberEndsBehindItsZero) {
  EXPECT_EQ(options({"--interval=0x10"}).intervalSeconds, 0U);
}

TEST(CommandLine, numberStandsBehindTheFirstEqualsSign) {
  EXPECT_EQ(options({"--interval==3"}).intervalSeconds, 0U);
}

TEST(CommandLine, negativeIntervalIsItsBitPattern) {
  EXPECT_EQ(options({"--interval=-2"}).intervalSeconds, 0xFFFFFFFEU);
}

TEST(CommandLine, intervalBeyond32BitsKeepsItsLowHalf) {
  EXPECT_EQ(options({"--interval=4294967297"}).intervalSeconds, 1U);
}

TEST(CommandLine, intervalBeyond64BitsHasAllBitsSet) {
  EXPECT_EQ(options({"--interval=99999999999999999999"}).intervalSeconds, 0xFFFFFFFFU);
}

TEST(CommandLine, intervalAsASeparateArgumentIsRejected) {
  EXPECT_TRUE(rejected({"--interval", "5"}));
}

TEST(CommandLine, intervalWithoutValueIsRejected) {
  EXPECT_TRUE(rejected({"--interval"}));
}

TEST(CommandLine, iterationsTakeTheirNumber) {
  EXPECT_EQ(options({"--iter=12"}).iterations, 12U);
}

TEST(CommandLine, iterationsMayBeZero) {
  EXPECT_EQ(options({"--iter=0"}).iterations, 0U);
}

TEST(CommandLine, iterationsOfMinusOneHaveNoLimit) {
  EXPECT_EQ(options({"--iter=-1"}).iterations, Options::kNoLimit);
}

TEST(CommandLine, iterWithoutValueIsRejected) {
  EXPECT_TRUE(rejected({"--iter"}));
}

TEST(CommandLine, minimumCpuTakesItsNumber) {
  EXPECT_EQ(options({"--min-cpu=50"}).minCpuMs, 50);
}

TEST(CommandLine, minimumCpuMayBeNegative) {
  EXPECT_EQ(options({"--min-cpu=-1"}).minCpuMs, -1);
}

TEST(CommandLine, minCpuWithoutValueIsRejected) {
  EXPECT_TRUE(rejected({"--min-cpu"}));
}

TEST(CommandLine, procTakesItsName) {
  EXPECT_EQ(options({"--proc=system_server"}).processName, "system_server");
}

TEST(CommandLine, procNameMayHoldEqualsSignsAndBlanks) {
  EXPECT_EQ(options({"--proc=a=b c"}).processName, "a=b c");
}

TEST(CommandLine, emptyProcNameIsAName) {
  EXPECT_EQ(options({"--proc="}).processName, "");
}

TEST(CommandLine, procWithoutValueIsRejected) {
  EXPECT_TRUE(rejected({"--proc"}));
}

TEST(CommandLine, stdoutIsSwitchedOn) {
  EXPECT_TRUE(options({"--stdout"}).useStdout);
}

TEST(CommandLine, sigSelectsTheSignalMode) {
  EXPECT_EQ(options({"--sig"}).runMode, RunMode::kSignal);
}

TEST(CommandLine, enterSelectsTheEnterMode) {
  EXPECT_EQ(options({"--enter"}).runMode, RunMode::kEnter);
}

TEST(CommandLine, runModesHaveTheirNumbers) {
  EXPECT_EQ(static_cast<int>(RunMode::kLoop), 0);
  EXPECT_EQ(static_cast<int>(RunMode::kSignal), 1);
  EXPECT_EQ(static_cast<int>(RunMode::kEnter), 2);
}

TEST(CommandLine, noProcCpuSwitchesItOff) {
  EXPECT_FALSE(options({"--no-proc-cpu"}).procCpu);
}

TEST(CommandLine, freqIsSwitchedOn) {
  EXPECT_TRUE(options({"--freq"}).freq);
}

TEST(CommandLine, pmuIsSwitchedOn) {
  EXPECT_TRUE(options({"--pmu"}).pmu);
}

TEST(CommandLine, lastNumberHolds) {
  EXPECT_EQ(options({"--interval=5", "--interval=9"}).intervalSeconds, 9U);
}

TEST(CommandLine, lastProcNameHolds) {
  EXPECT_EQ(options({"--proc=first", "--proc=last"}).processName, "last");
}

TEST(CommandLine, enterAfterSigHolds) {
  EXPECT_EQ(options({"--sig", "--enter"}).runMode, RunMode::kEnter);
}

TEST(CommandLine, sigAfterEnterHolds) {
  EXPECT_EQ(options({"--enter", "--sig"}).runMode, RunMode::kSignal);
}

TEST(CommandLine, helpIsRejected) {
  EXPECT_TRUE(rejected({"--help"}));
}

TEST(CommandLine, emptyArgumentIsRejected) {
  EXPECT_TRUE(rejected({""}));
}

TEST(CommandLine, positionalArgumentIsRejected) {
  EXPECT_TRUE(rejected({"system_server"}));
}

TEST(CommandLine, optionWithMoreBehindItIsRejected) {
  EXPECT_TRUE(rejected({"--stdout=1"}));
}

TEST(CommandLine, beginningOfAnOptionIsRejected) {
  EXPECT_TRUE(rejected({"--std"}));
}

TEST(CommandLine, singleDashIsRejected) {
  EXPECT_TRUE(rejected({"-stdout"}));
}

TEST(CommandLine, otherCaseIsRejected) {
  EXPECT_TRUE(rejected({"--STDOUT"}));
}

TEST(CommandLine, valuedOptionNeedsToStartTheArgument) {
  EXPECT_TRUE(rejected({" --interval=5"}));
}

TEST(CommandLine, unknownArgumentIsRejectedAfterGoodOnes) {
  EXPECT_TRUE(rejected({"--stdout", "--iter=1", "--verbose"}));
}

TEST(CommandLine, unknownArgumentIsRejectedBeforeGoodOnes) {
  EXPECT_TRUE(rejected({"--verbose", "--stdout"}));
}

TEST(CommandLine, allOptionsMayStandTogether) {
  const Options all = options({"--interval=1", "--proc=init", "--iter=3", "--min-cpu=4", "--stdout",
                               "--systrace", "--no-proc-cpu", "--enter", "--freq", "--pmu"});
  EXPECT_TRUE(all.intervalSeconds == 1 && all.processName == "init" && all.iterations == 3 &&
              all.minCpuMs == 4 && all.useStdout && all.systrace && !all.blockDump &&
              !all.procCpu && all.runMode == RunMode::kEnter && all.freq && all.pmu);
}

// Tracing and the run modes.

TEST(CommandLine, systraceIsDroppedInAnEndlessLoop) {
  EXPECT_FALSE(options({"--systrace"}).systrace);
}

TEST(CommandLine, blockDumpIsDroppedInAnEndlessLoop) {
  EXPECT_FALSE(options({"--block-dump"}).blockDump);
}

TEST(CommandLine, systraceIsDroppedInALoopOfTwo) {
  EXPECT_FALSE(options({"--systrace", "--iter=2"}).systrace);
}

TEST(CommandLine, blockDumpIsDroppedInALoopOfTwo) {
  EXPECT_FALSE(options({"--block-dump", "--iter=2"}).blockDump);
}

TEST(CommandLine, systraceIsDroppedInALoopOfNone) {
  EXPECT_FALSE(options({"--systrace", "--iter=0"}).systrace);
}

TEST(CommandLine, systraceStaysWithOneIteration) {
  EXPECT_TRUE(options({"--systrace", "--iter=1"}).systrace);
}

TEST(CommandLine, blockDumpStaysWithOneIteration) {
  EXPECT_TRUE(options({"--block-dump", "--iter=1"}).blockDump);
}

TEST(CommandLine, systraceStaysInSignalMode) {
  EXPECT_TRUE(options({"--systrace", "--sig"}).systrace);
}

TEST(CommandLine, blockDumpStaysInEnterMode) {
  EXPECT_TRUE(options({"--block-dump", "--enter"}).blockDump);
}

TEST(CommandLine, systraceStaysInEnterModeWhateverTheIterations) {
  EXPECT_TRUE(options({"--systrace", "--enter", "--iter=2"}).systrace);
}

TEST(CommandLine, systraceAloneSwitchesOnNoBlockDump) {
  EXPECT_FALSE(options({"--systrace", "--sig"}).blockDump);
}

TEST(CommandLine, bothKindsOfTracingAreDroppedInALoop) {
  const Options both = options({"--systrace", "--block-dump"});
  EXPECT_FALSE(both.systrace || both.blockDump);
}

TEST(CommandLine, bothKindsOfTracingAreDroppedInALoopOfTwo) {
  const Options both = options({"--systrace", "--block-dump", "--iter=2"});
  EXPECT_FALSE(both.systrace || both.blockDump);
}

TEST(CommandLine, bothKindsOfTracingAreRejectedWithOneIteration) {
  EXPECT_TRUE(rejected({"--systrace", "--block-dump", "--iter=1"}));
}

TEST(CommandLine, bothKindsOfTracingAreRejectedInSignalMode) {
  EXPECT_TRUE(rejected({"--systrace", "--block-dump", "--sig"}));
}

TEST(CommandLine, bothKindsOfTracingAreRejectedInEnterMode) {
  EXPECT_TRUE(rejected({"--block-dump", "--systrace", "--enter"}));
}

TEST(CommandLine, loopRuleSeesTheLastIterations) {
  EXPECT_TRUE(options({"--iter=2", "--systrace", "--iter=1"}).systrace);
}

TEST(CommandLine, oneIterationAsLowHalfOfALargerNumberIsOne) {
  EXPECT_TRUE(options({"--systrace", "--iter=4294967297"}).systrace);
}

}  // namespace
}  // namespace tarnwick
