#include "services/rules/IssMgrTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class EtsRules : public IssMgrTest {
 protected:
  static Matches entries(uint32_t firstType, uint32_t secondType, const std::string& vlanByte, uint32_t vpn) {
    return {{firstType, hex("025ac3001eff"), hex("ffffffffffff")},
            {secondType, hex("000000000001"), hex("000000000003")},
            {12, hex("6e78" + vlanByte), hex("ffffff")},
            {7, words({vpn}), words({0xFFFF})}};
  }
  static std::vector<Field> l2Rule(uint32_t actionCode) {
    return trap(entries(1, 2, "a7", 0x1234), {{"portList", hex("a0000000")},
                                              {"entryKind", 3},
                                              {"encapType", 1},
                                              {"ruleWord", 3},
                                              {"fpId0", 71},
                                              {"fpId1", 0xFFFFFFFE},
                                              {"actionCode", actionCode}});
  }
  static std::vector<Field> mplsRule(uint32_t actionCode) {
    return trap(entries(15, 8, "a7", 0x1234), {{"portList", hex("c0000010")},
                                               {"entryKind", 3},
                                               {"encapType", 3},
                                               {"ruleWord", 3},
                                               {"fpId0", 71},
                                               {"fpId1", 0xFFFFFFFE},
                                               {"actionCode", actionCode}});
  }
};

TEST_F(EtsRules, OfL2TakeTheL2Ports) {
  EXPECT_TRUE(makesExactly(request(ets, creation), l2Rule(1)));
  EXPECT_TRUE(makesExactly(request(ets, deletion), l2Rule(2)));
  EXPECT_TRUE(makesExactly(request(ets, modification), l2Rule(3)));
}

TEST_F(EtsRules, OfMplsTakeTheMplsPortsAndTypes15And8) {
  EXPECT_TRUE(makesExactly(with(request(ets, creation), 2), mplsRule(1)));
  EXPECT_TRUE(makesExactly(with(request(ets, deletion), 2), mplsRule(2)));
  EXPECT_TRUE(makesExactly(with(request(ets, modification), 2), mplsRule(3)));
}

TEST_F(EtsRules, OfAnUnknownActionAreSentWithoutActionCode) {
  EXPECT_TRUE(makesExactly(request(ets, noAction), l2Rule(0)));
  EXPECT_TRUE(makesExactly(with(request(ets, 0xFFFFFFFF), 2), mplsRule(0)));
}

TEST_F(EtsRules, HaveNoLabels) {
  EXPECT_TRUE(makesExactly(with(request(ets, creation), 1, 100, 200), l2Rule(1)));
  EXPECT_TRUE(makesExactly(with(request(ets, creation), 2, 100, 200), mplsRule(1)));
}

TEST_F(EtsRules, CutTheVlanToAByteAndKeepTheVpn) {
  IssMgrArguments arguments = request(ets, creation);
  arguments.vlan = 0xFFFFFF00;
  arguments.vpn = 0xFEDCBA98;
  arguments.L2Pbmp = 0x80000000;
  arguments.fpId0 = 0;
  arguments.fpId1 = 0;
  EXPECT_TRUE(makesExactly(arguments, joined({l2Rule(1),
                                              {{"entries", entries(1, 2, "00", 0xFEDCBA98)},
                                               {"portList", hex("00000001")},
                                               {"fpId0", 0},
                                               {"fpId1", 0}}})));
}

TEST_F(EtsRules, NotApplicableMakeNoMessageWhateverTheVp) {
  for (const uint32_t vp : {0U, 1U, 2U, 3U}) expectNothing(with(request(ets, notApplicable), vp));
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(EtsRules, OfAnotherVpAreRefusedInOneLine) {
  for (const uint32_t vp : {0U, 3U, 0xFFFFFFFFU}) {
    forget();
    EXPECT_TRUE(built(with(request(ets, modification), vp)).refused);
    EXPECT_THAT(unnumbered(), ElementsAre(loggedAnywhere("ERROR", "SrvIssMgr", "run_iss_IssMgr_thread",
                                                         "ruleType = ETS, action = MODIFY: vp = " +
                                                             std::to_string(vp) + " is not supported")));
  }
}

}  // namespace
