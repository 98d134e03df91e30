#include "services/pattern/NumberText.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

TEST(TakeNumber, LeavesWhatFollowsTheDigits) {
  std::string_view text = " \t\n\v\f\r42x7";
  EXPECT_EQ(takeNumber(text), 42);
  EXPECT_EQ(text, "x7");
  EXPECT_EQ(takeNumber(text), std::nullopt);
}

TEST(TakeNumber, ReadsEveryTextAsAStreamDoes) {
  for (const char* const text : {"",
                                 " ",
                                 "0",
                                 "7",
                                 "-7",
                                 "+7",
                                 "+-7",
                                 "-+7",
                                 "- 7",
                                 "+",
                                 "-",
                                 "++7",
                                 "007",
                                 "0x10",
                                 "12,13",
                                 ",12",
                                 "2147483647",
                                 "2147483648",
                                 "-2147483648",
                                 "-2147483649",
                                 "99999999999999999999",
                                 "1e3",
                                 "1.5",
                                 "   -0",
                                 "x",
                                 "\xA0"
                                 "7"}) {
    std::istringstream stream(text);
    int32_t expected = 0;
    const bool there = static_cast<bool>(stream >> expected);
    std::string_view rest = text;
    const std::optional<int32_t> number = takeNumber(rest);
    EXPECT_EQ(number.has_value(), there) << text;
    if (!there) continue;
    EXPECT_EQ(number, expected) << text;
    std::string left;
    std::getline(stream, left, '\0');
    EXPECT_EQ(rest, left) << text;
  }
}

}  // namespace
