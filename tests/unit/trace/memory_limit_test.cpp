#include "trace/memory_limit.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/support/memory_limit_reading.h"
#include "tests/unit/support/odd_texts.h"

namespace tarnwick {
namespace {

using memory_limit_reading::sscanfMemAvailableOf;

constexpr const char* kMeminfo =
    "MemTotal:        8030156 kB\n"
    "MemFree:         4961284 kB\n"
    "MemAvailable:    7301532 kB\n"
    "Buffers:          131072 kB\n";

TEST(MemAvailable, IsTheNumberOfItsLine) {
  EXPECT_EQ(parseMemAvailable(kMeminfo), 7301532U);
}

TEST(MemAvailable, IsMissingWithoutItsLine) {
  for (const char* text : {"", "\n", "MemTotal: 8030156 kB\nMemFree: 4961284 kB\n",
                           "MemAvailable\n", "MemAvailable:\n", "MemAvailable: kB\n",
                           " MemAvailable: 7 kB\n", "xMemAvailable: 7 kB\n"}) {
    EXPECT_EQ(parseMemAvailable(text), std::nullopt) << text;
  }
}

TEST(MemAvailable, NumberIsInTheLineItself) {
  EXPECT_EQ(parseMemAvailable("MemAvailable:\n7 kB\n"), std::nullopt);
}

TEST(MemAvailable, LastLineMayLackItsNewline) {
  EXPECT_EQ(parseMemAvailable("MemFree: 1 kB\nMemAvailable: 7"), 7U);
}

TEST(MemAvailable, OddTextsReadAsSscanfReadsThem) {
  constexpr int kTexts = 200000;
  OddTexts texts({kMeminfo, "MemAvailable:    7301532 kB\n", "MemAvailable: 0 kB\n"},
                 "0123456789 +-:kB\t\n\v\f\rMemAvailable");
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = (i % 4 == 0 ? "MemAvailable:" : "") + texts.next();
    ASSERT_EQ(parseMemAvailable(text), sscanfMemAvailableOf(text)) << testing::PrintToString(text);
  }
}

TEST(MemoryLimit, IsAQuarterOfWhatIsAvailable) {
  EXPECT_EQ(memoryLimitOf(4096), (MemoryLimit{1 << 20, false}));
}

TEST(MemoryLimit, IsNothingWhereNothingIsAvailable) {
  EXPECT_EQ(memoryLimitOf(0), (MemoryLimit{0, false}));
}

TEST(MemoryLimit, DoesNotOverflow) {
  EXPECT_GE(memoryLimitOf(UINT64_MAX).bytes, uint64_t{1} << 63U);
}

TEST(MemoryLimit, HasADefault) {
  EXPECT_EQ(memoryLimitOf(std::nullopt), (MemoryLimit{kDefaultMemoryLimit, true}));
}

}  // namespace
}  // namespace tarnwick
