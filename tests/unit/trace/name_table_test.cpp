#include "trace/name_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarnwick {
namespace {

// Enough to make every container grow many times.
constexpr NameTable::Id kManyNames = 20000;

// Short names, which a string keeps in itself, and long ones, which it does not.
std::string nameNumber(NameTable::Id number) {
  return (number % 2 == 0 ? "n" : "a name of a length that no string keeps in itself ") +
         std::to_string(number);
}

TEST(NameTable, emptyNameIs0) {
  NameTable names;
  EXPECT_EQ(names.idOf(""), 0U);
}

TEST(NameTable, idZeroIsTheEmptyName) {
  EXPECT_EQ(NameTable().name(0), "");
}

TEST(NameTable, namesAreNumberedFromOne) {
  NameTable names;
  EXPECT_EQ(names.idOf("first"), 1U);
}

TEST(NameTable, newNameHasTheNextId) {
  NameTable names;
  names.idOf("first");
  EXPECT_EQ(names.idOf("second"), 2U);
}

TEST(NameTable, knownNameHasItsIdAgain) {
  NameTable names;
  const NameTable::Id first = names.idOf("first");
  names.idOf("second");
  EXPECT_EQ(names.idOf("first"), first);
}

TEST(NameTable, knownNameTakesNoId) {
  NameTable names;
  names.idOf("first");
  names.idOf("first");
  EXPECT_EQ(names.idOf("second"), 2U);
}

TEST(NameTable, namesThatStartAlikeDiffer) {
  NameTable names;
  EXPECT_NE(names.idOf("Binder:1"), names.idOf("Binder:12"));
}

TEST(NameTable, nameIsKeptWhenItsTextIsGone) {
  NameTable names;
  std::string text = "RenderThread";
  const NameTable::Id id = names.idOf(text);
  text.assign(text.size(), '#');
  EXPECT_EQ(names.name(id), "RenderThread");
}

TEST(NameTable, nameIsFoundWhenItsTextIsGone) {
  NameTable names;
  std::string text = "RenderThread";
  const NameTable::Id id = names.idOf(text);
  text.assign(text.size(), '#');
  EXPECT_EQ(names.idOf("RenderThread"), id);
}

TEST(NameTable, viewThatEndsBeforeItsTextIsItsOwnName) {
  NameTable names;
  EXPECT_EQ(names.name(names.idOf(std::string_view("cat pid=7").substr(0, 3))), "cat");
}

TEST(NameTable, namesStayWhileItGrows) {
  NameTable names;
  for (NameTable::Id i = 1; i <= kManyNames; ++i) {
    names.idOf(nameNumber(i));
  }
  for (NameTable::Id i = 1; i <= kManyNames; ++i) {
    ASSERT_EQ(names.name(i), nameNumber(i));
  }
}

TEST(NameTable, idsStayWhileItGrows) {
  NameTable names;
  for (NameTable::Id i = 1; i <= kManyNames; ++i) {
    names.idOf(nameNumber(i));
  }
  for (NameTable::Id i = 1; i <= kManyNames; ++i) {
    ASSERT_EQ(names.idOf(nameNumber(i)), i);
  }
}

TEST(NameTable, namesDoNotMoveWhileItGrows) {
  NameTable names;
  const std::string* const first = &names.name(names.idOf("first"));
  for (NameTable::Id i = 1; i <= kManyNames; ++i) {
    names.idOf(nameNumber(i));
  }
  EXPECT_EQ(&names.name(1), first);
}

TEST(NameTable, clearForgetsNames) {
  NameTable names;
  names.idOf("first");
  names.idOf("second");
  names.clear();
  EXPECT_EQ(names.idOf("second"), 1U);
}

TEST(NameTable, clearKeepsTheEmptyName) {
  NameTable names;
  names.idOf("first");
  names.clear();
  EXPECT_EQ(names.name(0), "");
}

TEST(NameTable, emptyNameIs0AfterClear) {
  NameTable names;
  names.idOf("first");
  names.clear();
  EXPECT_EQ(names.idOf(""), 0U);
}

}  // namespace
}  // namespace tarnwick
