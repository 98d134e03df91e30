#include "printable.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string shown(std::string_view text) {
  return Printable(text).c_str();
}

TEST(Printable, LeavesAPlainTextAsItIs) {
  EXPECT_EQ(shown(""), "");
  EXPECT_EQ(shown("Script line 2: \"vlan 5000\" ~"), "Script line 2: \"vlan 5000\" ~");
}

TEST(Printable, CutsLineEndsAndBlanksAtTheEndOnly) {
  EXPECT_EQ(shown("Error\r\n"), "Error");
  EXPECT_EQ(shown(" Error \t\v\f\r\n\n"), " Error");
  EXPECT_EQ(shown("\r\n"), "");
}

TEST(Printable, ReplacesWhatWouldBreakTheLine) {
  EXPECT_EQ(shown("a\nb\r\nc\td\x1b[31m"), "a?b??c?d?[31m");
  EXPECT_EQ(shown(std::string_view("a\0b\x7f\x80\xff z", 8)), "a?b??? z");
}

TEST(Printable, EndsALongerTextAt120Characters) {
  const std::string longest(120, 'x');
  EXPECT_EQ(shown(longest), longest);
  EXPECT_EQ(shown(longest + "\r\n"), longest);
  EXPECT_EQ(shown(longest + "y"), longest + "...");
  EXPECT_EQ(shown(std::string(1 << 20, 'x')), longest + "...");
}

}  // namespace
