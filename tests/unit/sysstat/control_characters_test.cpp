#include "sysstat/control_characters.h"

#include <gtest/gtest.h>

#include <string>

namespace tarnwick {
namespace {

std::string replaced(std::string text, std::string_view kept = {}) {
  replaceControlCharacters(text, kept);
  return text;
}

TEST(ControlCharacters, AreReplaced) {
  EXPECT_EQ(replaced("\x1b[31mred\x1b[0m\r\n\t\a"), "?[31mred?[0m????");
  EXPECT_EQ(replaced(std::string("a\0b", 3)), "a?b");
  EXPECT_EQ(replaced("\x01\x1f\x7f"), "???");
}

TEST(ControlCharacters, ThatAreKeptStay) {
  EXPECT_EQ(replaced("a\tb\nc\rd\x7f", "\n\t"), "a\tb\nc?d?");
}

TEST(ControlCharacters, OfUtf8AreReplacedByOneMark) {
  EXPECT_EQ(replaced("a\xc2\x80z\xc2\x9bz\xc2\x9f"), "a?z?z?");
}

TEST(ControlCharacters, AreNotPartsOfOtherCharacters) {
  // U+00A0, U+011B, U+201B, U+1F61B.
  for (const char* text : {"\xc2\xa0", "\xc4\x9b", "\xe2\x80\x9b", "\xf0\x9f\x98\x9b"}) {
    EXPECT_EQ(replaced(text), text);
  }
}

TEST(ControlCharacters, AreNotSingleBytes) {
  for (const char* text : {"\x80", "\x9b", "\xff", "\xc2", "a\xc2", "\xc2\x7e", ""}) {
    EXPECT_EQ(replaced(text), text);
  }
}

TEST(ControlCharacters, AreNotPrinted) {
  std::string all;
  for (int byte = ' '; byte < 0x7f; ++byte) {
    all.push_back(static_cast<char>(byte));
  }
  EXPECT_EQ(replaced(all), all);
}

TEST(ControlCharacters, BehindHalfACharacterAreReplaced) {
  EXPECT_EQ(replaced("\xc2\x1b\xc2\xc2\x9b"), "\xc2?\xc2?");
}

}  // namespace
}  // namespace tarnwick
