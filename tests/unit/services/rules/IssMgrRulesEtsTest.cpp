#include "services/rules/IssMgrTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class EtsRules : public IssMgrTest {
 protected:
  static std::vector<Field> l2Entries(uint32_t vlanByte, uint32_t vpn) {
    return {word(4, 1),
            bytesAt(8, {0x02, 0x5A, 0xC3, 0x00, 0x1E, 0xFF}),
            bytesAt(16, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
            word(24, 2),
            octet(33, 0x01),
            octet(41, 0x03),
            word(44, 12),
            bytesAt(48, {0x6E, 0x78}),
            octet(50, vlanByte),
            bytesAt(56, {0xFF, 0xFF, 0xFF}),
            word(64, 7),
            word(68, vpn),
            word(76, 0xFFFF)};
  }
  static std::vector<Field> l2Rule(uint32_t actionCode) {
    return joined(
        {l2Entries(0xA7, 0x1234), {octet(204, 0xA0)}, ruleTail(3, 1, 3, 71, 0xFFFFFFFE, 4, actionCode)});
  }
  static std::vector<Field> mplsRule(uint32_t actionCode) {
    return joined({l2Entries(0xA7, 0x1234),
                   {word(4, 15), word(24, 8), bytesAt(204, {0xC0, 0x00, 0x00, 0x10})},
                   ruleTail(3, 3, 3, 71, 0xFFFFFFFE, 4, actionCode)});
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
  EXPECT_TRUE(makesExactly(
      arguments, joined({l2Entries(0x00, 0xFEDCBA98), {octet(207, 0x01)}, ruleTail(3, 1, 3, 0, 0, 4, 1)})));
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
