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
  static std::vector<Field> l2Rule(uint32_t actionCode, const Matches& labelEntry = {},
                                   uint32_t vlan = 0x2A7) {
    return rule(actionCode, 1, {2, 4}, labelEntry, {3, words({vlan}), words({0xFFFF})});
  }
  static std::vector<Field> mplsRule(uint32_t actionCode, const Matches& labelEntry = {}) {
    return rule(actionCode, 3, {8, 10}, labelEntry, {9, words({0x8100}), words({0xFFFF})});
  }
  static std::vector<Field> globalRule(uint32_t actionCode) {
    return trap({{2, hex("01154e000000"), hex("ffffffffff00")}, {4, hex("e388"), hex("ffff")}},
                {{"entryKind", 5},
                 {"encapType", 1},
                 {"ruleWord", 1},
                 {"fpId0", 71},
                 {"fpId1", 0xFFFFFFFE},
                 {"actionCode", actionCode}});
  }

 private:
  /// Of port 5.
  static std::vector<Field> rule(uint32_t actionCode, uint32_t encapsulation,
                                 std::pair<uint32_t, uint32_t> firstTypes, const Matches& labelEntry,
                                 const Match& last) {
    Matches entries{{firstTypes.first, hex("01154e000002"), hex("ffffffffffff")},
                    {firstTypes.second, hex("e388"), hex("ffff")},
                    {12, hex("03"), hex("ff")}};
    entries.insert(entries.end(), labelEntry.begin(), labelEntry.end());
    entries.push_back(last);
    return trap(entries, {{"portList", hex("08000000")},
                          {"entryKind", 5},
                          {"encapType", encapsulation},
                          {"ruleWord", 3},
                          {"fpId0", 71},
                          {"fpId1", 0xFFFFFFFE},
                          {"actionCode", actionCode}});
  }
};

TEST_F(MrpRules, OfL2EndWithTheVlan) {
  EXPECT_TRUE(makesExactly(onPort(5, creation, 1), l2Rule(1)));
  EXPECT_TRUE(makesExactly(onPort(5, deletion, 1), l2Rule(2)));
  EXPECT_TRUE(makesExactly(onPort(5, modification, 1), l2Rule(3)));
  EXPECT_TRUE(makesExactly(onPort(5, noAction, 1), l2Rule(0)));
}

TEST_F(MrpRules, OfMplsEndWithTheTag) {
  EXPECT_TRUE(makesExactly(onPort(5, creation, 2), mplsRule(1)));
  EXPECT_TRUE(makesExactly(onPort(5, deletion, 2), mplsRule(2)));
  EXPECT_TRUE(makesExactly(onPort(5, modification, 2), mplsRule(3)));
  EXPECT_TRUE(makesExactly(onPort(5, 0xFFFFFFFF, 2), mplsRule(0)));
}

TEST_F(MrpRules, PutTheLabelsBeforeTheLastEntry) {
  EXPECT_TRUE(makesExactly(onPort(5, creation, 1, 100, 200),
                           l2Rule(1, {labels(0x64000, 0xC8000, 0xF0FFFF, 0xF0FFFF)})));
  EXPECT_TRUE(makesExactly(onPort(5, deletion, 2, 100, 0), mplsRule(2, {labels(0x64000, 0, 0xF0FFFF, 0)})));
  EXPECT_TRUE(
      makesExactly(onPort(5, modification, 2, 0, 5000), mplsRule(3, {labels(0, 0x388000, 0, 0xF0FFFF)})));
}

TEST_F(MrpRules, KeepAVlanOfAnyWidth) {
  IssMgrArguments arguments = onPort(5, creation, 1);
  arguments.vlan = 0xFEDCBA98;
  EXPECT_TRUE(makesExactly(arguments, l2Rule(1, {}, 0xFEDCBA98)));
}

TEST_F(MrpRules, TakeThePortNumberFromTheLow16Bits) {
  const std::pair<uint32_t, const char*> cases[] = {{1, "80000000"},  {8, "01000000"},
                                                    {9, "00800000"},  {0x00070009, "00800000"},
                                                    {24, "00000100"}, {32, "00000001"}};
  for (const auto& [number, ports] : cases) {
    EXPECT_TRUE(makesExactly(onPort(number, creation, 1), joined({l2Rule(1), {{"portList", hex(ports)}}})))
        << number;
  }
}

TEST_F(MrpRules, OfANumberThatIsNoPortSetNoBit) {
  for (const uint32_t number : {0U, 33U, 0x7FFFU, 0x8001U, 0xFFFFU, 0x00050000U}) {
    EXPECT_TRUE(
        makesExactly(onPort(number, creation, 2), joined({mplsRule(1), {{"portList", hex("00000000")}}})))
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
