#include "base/Words.h"

#include <gmock/gmock.h>

namespace {

using namespace std::chrono_literals;
using sim::quoted;
using ::testing::ElementsAre;

std::vector<std::string> words(std::string_view line) {
  sim::Words result;
  EXPECT_EQ(sim::splitWords(line, result), std::nullopt) << line;
  return result.words;
}

TEST(Words, AreSplitAtBlanksUpToAComment) {
  EXPECT_THAT(words("  a\tb#c  d # rest \" of it"), ElementsAre("a", "b#c", "d"));
  EXPECT_THAT(words("# all of it"), ElementsAre());
}

TEST(Words, MayHoldQuotedText) {
  EXPECT_THAT(words(R"(e="a b\r\n\t\\\"\x41\x00" "" x)"),
              ElementsAre(std::string("e=a b\r\n\t\\\"A\0", 12), "", "x"));
}

TEST(Words, TellWhereTheyStand) {
  sim::Words split;
  EXPECT_EQ(sim::splitWords(" a  \"b c\" d # rest", split), std::nullopt);
  EXPECT_THAT(split.columns, ElementsAre(2, 5, 11));
  EXPECT_EQ(split.end, 12U);
  EXPECT_EQ(split.from(1), "\"b c\" d");
  EXPECT_NE(sim::splitWords("a b\"c\\q\"", split), std::nullopt);
  EXPECT_EQ(split.end, 6U);
}

TEST(Words, OfPortsAreNumbersAndRanges) {
  uint32_t ports = 0;
  EXPECT_TRUE(sim::parsePorts("5", 28, ports) && ports == 0x10);
  EXPECT_TRUE(sim::parsePorts("1-4,7,28", 28, ports) && ports == 0x800004F);
  EXPECT_TRUE(sim::parsePorts("1-32", 32, ports) && ports == UINT32_MAX);
  for (const char* wrong : {"", "0", "29", "1-", "-3", "4-2", "1,,2", "1,", "1-29", "1-2-3", "a", "0-3"}) {
    EXPECT_FALSE(sim::parsePorts(wrong, 28, ports)) << wrong;
  }
}

TEST(Words, OfTimesHaveAUnit) {
  std::chrono::milliseconds time{};
  EXPECT_TRUE(sim::parseTime("250ms", time) && time == 250ms);
  EXPECT_TRUE(sim::parseTime("2s", time) && time == 2s);
  EXPECT_TRUE(sim::parseTime("1440m", time) && time == 24h);
  for (const char* wrong : {"", "5", "ms", "1.5s", "-1s", "1441m", "5h"}) {
    EXPECT_FALSE(sim::parseTime(wrong, time)) << wrong;
  }
}

TEST(Words, OfChancesAreMillionths) {
  uint32_t chance = 0;
  EXPECT_TRUE(sim::parseChance("100%", chance) && chance == 1'000'000);
  EXPECT_TRUE(sim::parseChance("0.5%", chance) && chance == 5'000);
  EXPECT_TRUE(sim::parseChance("0.0001%", chance) && chance == 1);
  for (const char* wrong : {"", "5", "%", "101%", "100.1%", "1.%", "1.00001%"}) {
    EXPECT_FALSE(sim::parseChance(wrong, chance)) << wrong;
  }
}

TEST(Words, AreQuotedWhereTheyWouldBreakALine) {
  EXPECT_EQ(quoted("/tmp/x"), "/tmp/x");
  EXPECT_EQ(quoted(""), "\"\"");
  EXPECT_EQ(quoted("a b"), "\"a b\"");
  EXPECT_EQ(quoted("\n\r\t\"\\\x01\xFF"), "\"\\n\\r\\t\\\"\\\\\\x01\\xff\"");
}

}  // namespace
