#include "sysstat/kernel_text.h"

#include <gtest/gtest.h>

namespace tarnwick {
namespace {

TEST(KernelText, endsAtTheFirstNulByte) {
  EXPECT_EQ(kernelText("cpu\0 1 2", 8), "cpu");
}

TEST(KernelText, ofAFullBufferEndsWithTheBuffer) {
  const char text[] = {'1', '2', '3', '4', '5', '6'};
  EXPECT_EQ(kernelText(text, 4), "1234");
}

TEST(KernelText, ofAnEmptyBufferIsEmpty) {
  EXPECT_EQ(kernelText("123", 0), "");
}

}  // namespace
}  // namespace tarnwick
