#include "frame/answerIds.h"
#include "services/rules/IssMgrTest.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MstpRequests : public IssMgrTest {
 protected:
  static std::vector<Field> lanRule(uint32_t fpId0, uint32_t actionCode) {
    return trap({{2, hex("0180c2000000"), hex("ffffffffffff")}, {12, hex("00000003"), hex("00ffffff")}},
                {{"portList", hex("a0000000")},
                 {"entryKind", 2},
                 {"encapType", 1},
                 {"ruleWord", 3},
                 {"fpId0", fpId0},
                 {"actionCode", actionCode}});
  }
  static std::vector<Field> wanRule(uint32_t fpId0, uint32_t fpId1, uint32_t actionCode,
                                    const Match& labelEntry = {}, const char* ports = "10000000") {
    return trap(
        {{8, hex("0180c2000000"), hex("ffffffffffff")}, labelEntry, {12, hex("00000003"), hex("00ffffff")}},
        {{"portList", hex(ports)},
         {"entryKind", 2},
         {"encapType", 3},
         {"ruleWord", 3},
         {"fpId0", fpId0},
         {"fpId1", fpId1},
         {"actionCode", actionCode}});
  }
  static IssMgrArguments wan(uint32_t action, uint32_t mplsLbl, uint32_t pwLbl, uint32_t port = 3) {
    IssMgrArguments arguments = with(request(mstpWan, action), 1, mplsLbl, pwLbl);
    arguments.port = port;
    return arguments;
  }
  /// ISS creates the rule: its answer is the request with ids.
  static void answerCreate(const IssMgrArguments& arguments, uint32_t fpId0, uint32_t fpId1) {
    OtnIpcMsg answer = built(arguments).messages[0];
    answer.payload.rule.fpId0 = fpId0;
    answer.payload.rule.fpId1 = fpId1;
    StoreMstFpIds(answer);
  }
};

TEST_F(MstpRequests, LanCreateHasNoIds) {
  EXPECT_TRUE(makesExactly(request(mstpLan, creation), lanRule(0, 1)));
  EXPECT_TRUE(makesExactly(with(request(mstpLan, creation), 7, 100, 200), lanRule(0, 1)))
      << "no encapsulation, no labels";
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(MstpRequests, LanDeleteTakesTheKeptIdOnce) {
  answerCreate(request(mstpLan, creation), 4711, 99);
  EXPECT_EQ(service().mstpLanFpId(), 4711U);
  forget();
  EXPECT_TRUE(makesExactly(request(mstpLan, deletion), lanRule(4711, 2)));
  EXPECT_EQ(service().mstpLanFpId(), 0U) << "reset before OPS has answered";
  EXPECT_THAT(lines(),
              ElementsAre(logged("DEBUG3", "SrvIssMgr", 667, "setMstpLanFpId", "Reset MSTP L2 FP ID to 0"),
                          workerLine("DEBUG3", 185, "Delete MST_TOP_LAN: FP_ID=4711")));
  EXPECT_TRUE(built(request(mstpLan, deletion)).refused);
}

TEST_F(MstpRequests, LanDeleteWithoutAnIdIsRefused) {
  EXPECT_TRUE(built(request(mstpLan, deletion)).refused);
  EXPECT_THAT(lines(), ElementsAre(workerLine("ERROR", 176,
                                              "ruleType=MST_TOPO_LAN, action=DELETE, L2Pbmp=0x5=5: unable to "
                                              "delete: FP ID is 0")));
}

TEST_F(MstpRequests, LanDeleteAnswerKeepsNoId) {
  OtnIpcMsg answer = recordOf(lanRule(4711, 2));
  StoreMstFpIds(answer);
  EXPECT_EQ(service().mstpLanFpId(), 0U);
}

TEST_F(MstpRequests, OfAnotherActionAreRefused) {
  EXPECT_TRUE(built(request(mstpLan, modification)).refused);
  EXPECT_TRUE(built(request(mstpLan, notApplicable)).refused);
  EXPECT_TRUE(built(request(mstpLan, 0xFFFFFFFF)).refused);
  EXPECT_THAT(
      lines(),
      ElementsAre(
          workerLine("ERROR", 191, "ruleType = MST_TOPO_LAN does not support action = MODIFY [2]"),
          workerLine("ERROR", 191, "ruleType = MST_TOPO_LAN does not support action = NOT_APPLICABLE [3]"),
          workerLine("ERROR", 191,
                     "ruleType = MST_TOPO_LAN does not support action = UnknownL2cpRuleAction [-1]")));
  forget();
  EXPECT_TRUE(built(wan(modification, 0, 0)).refused);
  EXPECT_TRUE(built(wan(notApplicable, 0, 0)).refused);
  EXPECT_TRUE(built(wan(noAction, 0, 0)).refused);
  const std::string ports = workerLine("DEBUG3", 207, "port=3 => portListMpls=0x10000000");
  EXPECT_THAT(
      lines(),
      ElementsAre(
          ports, workerLine("ERROR", 273, "ruleType = MST_TOPO_WAN does not support action = MODIFY [2]"),
          ports,
          workerLine("ERROR", 273, "ruleType = MST_TOPO_WAN does not support action = NOT_APPLICABLE [3]"),
          ports,
          workerLine("ERROR", 273,
                     "ruleType = MST_TOPO_WAN does not support action = UnknownL2cpRuleAction [4]")));
}

TEST_F(MstpRequests, WanCreateCountsTheEmptyLabelEntry) {
  EXPECT_TRUE(makesExactly(wan(creation, 0, 0), wanRule(0, 0, 1)));
  EXPECT_THAT(lines(), ElementsAre(workerLine("DEBUG3", 207, "port=3 => portListMpls=0x10000000")));
}

TEST_F(MstpRequests, WanLabelsAreMatchedWhereTheyAreGiven) {
  EXPECT_TRUE(
      makesExactly(wan(creation, 100, 200), wanRule(0, 0, 1, labels(0x64000, 0xC8000, 0xF0FFFF, 0xF0FFFF))));
  EXPECT_TRUE(makesExactly(wan(creation, 100, 0), wanRule(0, 0, 1, labels(0x64000, 0, 0xF0FFFF, 0))));
  EXPECT_TRUE(makesExactly(wan(creation, 0, 200), wanRule(0, 0, 1, labels(0, 0xC8000, 0, 0xF0FFFF))));
}

TEST_F(MstpRequests, WanLabelsAreCutTo24Bits) {
  EXPECT_TRUE(
      makesExactly(wan(creation, 5000, 4096), wanRule(0, 0, 1, labels(0x388000, 0, 0xF0FFFF, 0xF0FFFF))));
  EXPECT_TRUE(makesExactly(wan(creation, 4095, 0xFFFFFFFF),
                           wanRule(0, 0, 1, labels(0xFFF000, 0xFFF000, 0xF0FFFF, 0xF0FFFF))));
}

TEST_F(MstpRequests, WanPortIsOneBitOfTheWord) {
  EXPECT_TRUE(makesExactly(wan(creation, 0, 0, 0), wanRule(0, 0, 1, {}, "80000000")));
  for (const auto& [port, ports] :
       {std::pair(8U, "00800000"), std::pair(27U, "00000010"), std::pair(31U, "00000001")})
    EXPECT_TRUE(makesExactly(wan(creation, 0, 0, port), wanRule(0, 0, 1, {}, ports))) << port;
}

TEST_F(MstpRequests, WanPortOutsideTheWordSetsNoBit) {
  for (const uint32_t port : {32U, 40U, 0x80000000U, 0xFFFFFFFFU})
    EXPECT_TRUE(makesExactly(wan(creation, 0, 0, port), wanRule(0, 0, 1, {}, "00000000"))) << port;
  EXPECT_THAT(lines(), Contains(workerLine("DEBUG3", 207, "port=40 => portListMpls=0x0")));
}

TEST_F(MstpRequests, WanDeleteTakesTheKeptIdsOnce) {
  answerCreate(wan(creation, 100, 200), 4711, 0xFFFFFFFF);
  answerCreate(wan(creation, 100, 201), 4713, 4714);
  forget();
  EXPECT_TRUE(makesExactly(wan(deletion, 100, 200),
                           wanRule(4711, 0xFFFFFFFF, 2, labels(0x64000, 0xC8000, 0xF0FFFF, 0xF0FFFF))));
  EXPECT_THAT(lines(),
              ElementsAre(workerLine("DEBUG3", 207, "port=3 => portListMpls=0x10000000"),
                          logged("DEBUG3", "SrvIssMgr", 707, "getAndDeleteMstpWanConfigFpIds",
                                 "MstpWanConfigFpIds: new list size = 1"),
                          workerLine("DEBUG3", 267, "Delete MST_TOP_WAN: FP_ID_0=4711, FP_ID_1=-1")));
  forget();
  EXPECT_TRUE(built(wan(deletion, 100, 200)).refused);
  EXPECT_EQ(lines().back(),
            logged("ERROR", "SrvIssMgr", 712, "getAndDeleteMstpWanConfigFpIds",
                   "port=3, mplsLabel=100, pwLabel=200: no FP IDs exist for this combination"));
}

TEST_F(MstpRequests, WanRuleWithoutLabelsIsDeletedByItsPort) {
  answerCreate(wan(creation, 0, 0), 81, 82);
  EXPECT_TRUE(built(wan(deletion, 0, 0, 4)).refused);
  EXPECT_TRUE(makesExactly(wan(deletion, 0, 0), wanRule(81, 82, 2)));
}

TEST_F(MstpRequests, WanLabelFrom4096OnIsKeptReducedAndNotFound) {
  answerCreate(wan(creation, 4095, 5000), 91, 92);
  EXPECT_TRUE(built(wan(deletion, 4095, 5000)).refused);
  EXPECT_TRUE(makesExactly(wan(deletion, 4095, 904),
                           wanRule(91, 92, 2, labels(0xFFF000, 0x388000, 0xF0FFFF, 0xF0FFFF))));
}

TEST_F(MstpRequests, WanLabel4096IsKeptAsNone) {
  answerCreate(wan(creation, 4096, 7), 93, 94);
  EXPECT_TRUE(built(wan(deletion, 4096, 7)).refused);
  EXPECT_TRUE(makesExactly(wan(deletion, 0, 7), wanRule(93, 94, 2, labels(0, 0x7000, 0, 0xF0FFFF))));
}

TEST_F(MstpRequests, WanRuleOfAnInvalidPortIsNotKept) {
  answerCreate(wan(creation, 100, 200, 28), 91, 92);
  EXPECT_EQ(lines().back(), logged("ERROR", "SrvIssMgr", 681, "storeMstpWanConfigFpIds",
                                   "Invalid port [28] [pbmp=0x10000000]"));
  EXPECT_TRUE(built(wan(deletion, 100, 200, 28)).refused);
}

}  // namespace
