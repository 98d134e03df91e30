#include "base/Values.h"

#include <gmock/gmock.h>

namespace {

using namespace ctl;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr Name encapsulations[] = {{"l2", 1}, {"mpls", 2}};

bool forcible(const Checked& fault) {
  return fault && fault->forcible;
}
bool hopeless(const Checked& fault) {
  return fault && !fault->forcible;
}

TEST(Values, NumberSaysWhatIsAllowed) {
  uint32_t value = 0;
  EXPECT_FALSE(parseNumber("4094", vlanRange, value));
  EXPECT_EQ(value, 4094U);
  EXPECT_FALSE(parseNumber("0x10", vlanRange, value));
  EXPECT_EQ(value, 16U);
  const Checked fault = parseNumber("4095", vlanRange, value);
  ASSERT_TRUE(forcible(fault));
  EXPECT_EQ(fault->text, "needs a number from 1 to 4094, not 4095");
  EXPECT_EQ(value, 4095U) << "what --force sends";
  EXPECT_TRUE(forcible(parseNumber("0", vlanRange, value)));
}

TEST(Values, NumberThatIsNoneCannotBeForced) {
  uint32_t value = 0;
  for (const char* word : {"", "x", "1x", "-1", "4294967296", "0x", " 1"}) {
    EXPECT_TRUE(hopeless(parseNumber(word, anyNumber, value))) << word;
  }
  EXPECT_FALSE(parseNumber("4294967295", anyNumber, value));
}

TEST(Values, NameIsOneOfTheList) {
  uint32_t value = 0;
  EXPECT_FALSE(parseName("mpls", encapsulations, value));
  EXPECT_EQ(value, 2U);
  EXPECT_THAT(parseName("l3", encapsulations, value)->text, "needs one of l2, mpls, not l3");
  EXPECT_TRUE(hopeless(parseName("l3", encapsulations, value)));
  EXPECT_TRUE(forcible(parseName("3", encapsulations, value)));
  EXPECT_EQ(value, 3U);
  EXPECT_EQ(nameOf(2, encapsulations), "mpls");
  EXPECT_EQ(nameOf(9, encapsulations), "9");
}

TEST(Values, PortListIsABitmap) {
  uint32_t bitmap = 1;
  EXPECT_FALSE(parsePortList("none", bitmap));
  EXPECT_EQ(bitmap, 0U);
  EXPECT_FALSE(parsePortList("1,2,5-8", bitmap));
  EXPECT_EQ(bitmap, 0xF3U);
  EXPECT_FALSE(parsePortList("28", bitmap));
  EXPECT_EQ(bitmap, 1U << 27);
  EXPECT_TRUE(forcible(parsePortList("29-32", bitmap)));
  EXPECT_EQ(bitmap, 0xF0000000U);
  for (const char* word : {"", "0", "33", "5-3", "1,", "1,,2", "a", "1-2-3"}) {
    EXPECT_TRUE(hopeless(parsePortList(word, bitmap))) << word;
  }
}

TEST(Values, VlanListKeepsToTheMessage) {
  std::string list;
  EXPECT_FALSE(parseVlanList("100,200", list));
  EXPECT_EQ(list, "100,200");
  EXPECT_TRUE(forcible(parseVlanList("0,4095", list)));
  EXPECT_TRUE(hopeless(parseVlanList("100;200", list)));
  EXPECT_TRUE(hopeless(parseVlanList("", list)));
  std::string most = "1";
  for (int i = 1; i < 1728; ++i) most += ",1";
  EXPECT_FALSE(parseVlanList(most, list));
  EXPECT_TRUE(forcible(parseVlanList(most + ",1", list)));
}

TEST(Values, IpAddressHasItsFirstNumberOnTop) {
  uint32_t address = 0;
  EXPECT_FALSE(parseIpAddress("10.0.0.255", address));
  EXPECT_EQ(address, 0x0A0000FFU);
  for (const char* word : {"", "10.0.0", "10.0.0.256", "10.0.0.1.2", "a.b.c.d", "10.0.0."}) {
    EXPECT_TRUE(hopeless(parseIpAddress(word, address))) << word;
  }
}

TEST(Values, PduIsBytes) {
  std::string pdu;
  uint32_t size = 0;
  EXPECT_FALSE(parsePdu("1:128:255", pdu, size));
  EXPECT_EQ(pdu, "1:128:255");
  EXPECT_EQ(size, 3U);
  EXPECT_TRUE(forcible(parsePdu("1:256", pdu, size)));
  for (const char* word : {"", "1:", "0x1:2", "1,2"})
    EXPECT_TRUE(hopeless(parsePdu(word, pdu, size))) << word;
  std::string most = "1";
  for (int i = 1; i < 516; ++i) most += ":1";
  EXPECT_FALSE(parsePdu(most, pdu, size));
  EXPECT_TRUE(forcible(parsePdu(most + ":1", pdu, size)));
}

TEST(Values, WordsAreThree) {
  std::vector<uint32_t> words;
  EXPECT_FALSE(parseWords("0x1,2,4294967295", words));
  EXPECT_THAT(words, ElementsAre(1, 2, 4294967295U));
  EXPECT_TRUE(hopeless(parseWords("1,2", words)));
  EXPECT_TRUE(hopeless(parseWords("1,2,3,4", words)));
}

TEST(Values, TimeoutHasAUnitOrIsInSeconds) {
  std::chrono::milliseconds time{};
  EXPECT_FALSE(parseTimeout("250ms", time));
  EXPECT_EQ(time.count(), 250);
  EXPECT_FALSE(parseTimeout("3", time));
  EXPECT_EQ(time.count(), 3000);
  EXPECT_FALSE(parseTimeout("2m", time));
  EXPECT_EQ(time.count(), 120'000);
  for (const char* word : {"0", "0ms", "", "x", "-1", "2d"})
    EXPECT_TRUE(hopeless(parseTimeout(word, time))) << word;
  EXPECT_THAT(parseTimeout("x", time)->text, HasSubstr("500ms, 30s, 5m"));
}

}  // namespace
