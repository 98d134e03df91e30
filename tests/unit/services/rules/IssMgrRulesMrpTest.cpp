#include "services/rules/IssMgrTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MrpRules : public IssMgrTest {
 protected:
  static IssMgrArguments onPort(uint32_t number, uint32_t action, uint32_t vp, uint32_t mplsLbl = 0,
                                uint32_t pwLbl = 0) {
    IssMgrArguments arguments = with(request(mrp, action), vp, mplsLbl, pwLbl);
    arguments.L2Pbmp = number;
    return arguments;
  }
  static std::vector<Field> firstEntries(uint32_t macType, uint32_t etherTypeType) {
    return {word(4, macType),
            bytesAt(8, {0x01, 0x15, 0x4E, 0x00, 0x00, 0x02}),
            bytesAt(16, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
            word(24, etherTypeType),
            bytesAt(28, {0xE3, 0x88}),
            bytesAt(36, {0xFF, 0xFF}),
            word(44, 12),
            octet(48, 0x03),
            octet(56, 0xFF)};
  }
  /// Port 5; `last` is the offset of the entry behind the label entry.
  static std::vector<Field> l2Rule(size_t last, uint32_t count, uint32_t actionCode) {
    return joined({firstEntries(2, 4),
                   {word(last, 3), word(last + 4, 0x2A7), word(last + 12, 0xFFFF), octet(204, 0x08)},
                   ruleTail(5, 1, 3, 71, 0xFFFFFFFE, count, actionCode)});
  }
  static std::vector<Field> mplsRule(size_t last, uint32_t count, uint32_t actionCode) {
    return joined({firstEntries(8, 10),
                   {word(last, 9), word(last + 4, 0x8100), word(last + 12, 0xFFFF), octet(204, 0x08)},
                   ruleTail(5, 3, 3, 71, 0xFFFFFFFE, count, actionCode)});
  }
  static std::vector<Field> labels(uint32_t mpls, uint32_t pw, uint32_t mplsMask, uint32_t pwMask) {
    return {word(64, 11), word(68, mpls), word(72, pw), word(76, mplsMask), word(80, pwMask)};
  }
  static std::vector<Field> globalRule(uint32_t actionCode) {
    return joined(
        {{word(4, 2), bytesAt(8, {0x01, 0x15, 0x4E}), bytesAt(16, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00}),
          word(24, 4), bytesAt(28, {0xE3, 0x88}), bytesAt(36, {0xFF, 0xFF})},
         ruleTail(5, 1, 1, 71, 0xFFFFFFFE, 2, actionCode)});
  }
};

TEST_F(MrpRules, OfL2EndWithTheVlan) {
  EXPECT_TRUE(makesExactly(onPort(5, creation, 1), l2Rule(64, 4, 1)));
  EXPECT_TRUE(makesExactly(onPort(5, deletion, 1), l2Rule(64, 4, 2)));
  EXPECT_TRUE(makesExactly(onPort(5, modification, 1), l2Rule(64, 4, 3)));
  EXPECT_TRUE(makesExactly(onPort(5, noAction, 1), l2Rule(64, 4, 0)));
}

TEST_F(MrpRules, OfMplsEndWithTheTag) {
  EXPECT_TRUE(makesExactly(onPort(5, creation, 2), mplsRule(64, 4, 1)));
  EXPECT_TRUE(makesExactly(onPort(5, deletion, 2), mplsRule(64, 4, 2)));
  EXPECT_TRUE(makesExactly(onPort(5, modification, 2), mplsRule(64, 4, 3)));
  EXPECT_TRUE(makesExactly(onPort(5, 0xFFFFFFFF, 2), mplsRule(64, 4, 0)));
}

TEST_F(MrpRules, PutTheLabelsBeforeTheLastEntry) {
  EXPECT_TRUE(makesExactly(onPort(5, creation, 1, 100, 200),
                           joined({l2Rule(84, 5, 1), labels(0x64000, 0xC8000, 0xF0FFFF, 0xF0FFFF)})));
  EXPECT_TRUE(makesExactly(onPort(5, deletion, 2, 100, 0),
                           joined({mplsRule(84, 5, 2), labels(0x64000, 0, 0xF0FFFF, 0)})));
  EXPECT_TRUE(makesExactly(onPort(5, modification, 2, 0, 5000),
                           joined({mplsRule(84, 5, 3), labels(0, 0x388000, 0, 0xF0FFFF)})));
}

TEST_F(MrpRules, KeepAVlanOfAnyWidth) {
  IssMgrArguments arguments = onPort(5, creation, 1);
  arguments.vlan = 0xFEDCBA98;
  EXPECT_TRUE(makesExactly(arguments, joined({l2Rule(64, 4, 1), {word(68, 0xFEDCBA98)}})));
}

TEST_F(MrpRules, TakeThePortNumberFromTheLow16Bits) {
  const struct {
    uint32_t number;
    size_t offset;
    uint8_t bit;
  } cases[] = {{1, 204, 0x80},          {8, 204, 0x01},  {9, 205, 0x80},
               {0x00070009, 205, 0x80}, {24, 206, 0x01}, {32, 207, 0x01}};
  for (const auto& [number, offset, bit] : cases) {
    EXPECT_TRUE(makesExactly(onPort(number, creation, 1),
                             joined({l2Rule(64, 4, 1), {octet(204, 0), octet(offset, bit)}})))
        << number;
  }
}

TEST_F(MrpRules, OfANumberThatIsNoPortSetNoBit) {
  for (const uint32_t number : {0U, 33U, 0x7FFFU, 0x8001U, 0xFFFFU, 0x00050000U}) {
    EXPECT_TRUE(makesExactly(onPort(number, creation, 2), joined({mplsRule(64, 4, 1), {octet(204, 0)}})))
        << number;
  }
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(MrpRules, NotApplicableMakeNoMessageWhateverTheVp) {
  for (const uint32_t vp : {0U, 1U, 2U, 3U}) expectNothing(with(request(mrp, notApplicable), vp));
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(MrpRules, OfAnotherVpAreRefusedInOneLine) {
  for (const uint32_t vp : {0U, 3U, 0xFFFFFFFFU}) {
    forget();
    EXPECT_TRUE(built(with(request(mrp, deletion), vp)).refused);
    EXPECT_THAT(unnumbered(), ElementsAre(loggedAnywhere("ERROR", "SrvIssMgr", "run_iss_IssMgr_thread",
                                                         "ruleType = MRP, action = DELETE: vp = " +
                                                             std::to_string(vp) + " is not supported")));
  }
}

TEST_F(MrpRules, GlobalAreSentForEveryActionAndVp) {
  EXPECT_TRUE(makesExactly(request(mrpGlobal, creation), globalRule(1)));
  EXPECT_TRUE(makesExactly(request(mrpGlobal, deletion), globalRule(2)));
  EXPECT_TRUE(makesExactly(request(mrpGlobal, modification), globalRule(3)));
  EXPECT_TRUE(makesExactly(request(mrpGlobal, notApplicable), globalRule(0)));
  EXPECT_TRUE(makesExactly(request(mrpGlobal, noAction), globalRule(0)));
  EXPECT_TRUE(makesExactly(with(request(mrpGlobal, creation), 9, 100, 200), globalRule(1)));
  EXPECT_THAT(lines(), IsEmpty());
}

}  // namespace
