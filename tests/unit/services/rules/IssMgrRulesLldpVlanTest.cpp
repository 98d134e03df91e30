#include <new>
#include <numeric>

#include "services/rules/IssMgrTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class IssMgrCommands : public IssMgrTest {
 protected:
  static std::vector<Field> lldpInfo(uint32_t created, uint32_t actionCode) {
    return {ofType(LLDP_TLV_INFO), {"chassisId", 0xC0FFEE01}, {"mgmtIp", 0xC0A80164},
            {"slotId", 0x1F2E},    {"create", created},       {"actionCode", actionCode}};
  }
  static std::vector<Field> flush() { return {ofType(FLUSH_CMD), {"vpn", 0x1234}, {"vp", 1}}; }
  static std::vector<Field> mapping(uint32_t type, uint32_t key, const std::vector<uint32_t>& vlans) {
    return {ofType(type), {"key", key}, {"vpn", 0x1234}, {"dataVlans", words(vlans)}};
  }
  static IssMgrArguments second(uint32_t ruleType, uint32_t action, int32_t flushAct,
                                const std::string& vlans = "") {
    IssMgrArguments arguments = request(ruleType, action);
    arguments.flushAct = flushAct;
    arguments.dataVfis = vlans;
    return arguments;
  }
};

TEST_F(IssMgrCommands, LldpTellsCreation) {
  EXPECT_TRUE(makesExactly(request(lldp, creation), lldpInfo(1, 1)));
  EXPECT_TRUE(makesExactly(request(lldp, deletion), lldpInfo(0, 2)));
  EXPECT_TRUE(makesExactly(request(lldp, modification), lldpInfo(0, 3)));
  EXPECT_TRUE(makesExactly(request(lldp, notApplicable), lldpInfo(0, 0)));
  forget();
  EXPECT_TRUE(makesExactly(request(lldp, noAction), lldpInfo(0, 0)));
  EXPECT_THAT(lines(), ElementsAre(workerLine("DEBUG1", 411,
                                              "Pass LLDP chassisId=-1056969215 MgmtIp=0xc0a80164 slotId=7982 "
                                              "action=4")));
}

TEST_F(IssMgrCommands, FlushIsTheSecondMessageOfARule) {
  for (const uint32_t ruleType : {ets, mstpLan, mstpWan, mrp, mrpGlobal, lldp}) {
    const IssMgrBatch batch = built(second(ruleType, creation, 1));
    ASSERT_EQ(batch.count, 2) << ruleType;
    EXPECT_EQ(batch.messages[0].msgType, ruleType == lldp ? LLDP_TLV_INFO : INTERESTED_PACKET_IND);
    EXPECT_TRUE(hasExactly(batch.messages[1], flush())) << ruleType;
    EXPECT_EQ(lines().back(), workerLine("DEBUG1", 431, "Sending flush cmd"));
  }
}

TEST_F(IssMgrCommands, FlushIsTheOnlyMessageWithoutARule) {
  for (const uint32_t action : {creation, deletion, modification, notApplicable, noAction})
    EXPECT_TRUE(makesExactly(second(flushOnly, action, 1), flush())) << action;
  EXPECT_TRUE(makesExactly(second(ets, notApplicable, 1), flush()));
  EXPECT_TRUE(makesExactly(second(mrp, notApplicable, 1), flush()));
  EXPECT_TRUE(makesExactly(second(9, creation, 1), flush()));
}

TEST_F(IssMgrCommands, MappingOfEtsIsKeyedByTheVlan) {
  EXPECT_TRUE(makesExactly(second(ets, notApplicable, 2, "100,200, 300"),
                           mapping(ETS_VLAN_MAPPING, 0x2A7, {100, 200, 300})));
  EXPECT_THAT(lines(),
              ElementsAre(workerLine("DEBUG2", 451, "Flush Key1=679 VLAN=4660 and data vlans=100,200, 300")));
  const IssMgrBatch batch = built(second(ets, creation, 2, "7"));
  ASSERT_EQ(batch.count, 2);
  EXPECT_TRUE(hasExactly(batch.messages[1], mapping(ETS_VLAN_MAPPING, 0x2A7, {7})));
}

TEST_F(IssMgrCommands, MappingOfAnyOtherRuleIsKeyedByTheL2Ports) {
  EXPECT_TRUE(makesExactly(second(mrp, notApplicable, 2, "5"), mapping(MRP_VLAN_MAPPING, 0x5, {5})));
  EXPECT_TRUE(makesExactly(second(flushOnly, creation, 2, "5"), mapping(MRP_VLAN_MAPPING, 0x5, {5})));
  EXPECT_TRUE(makesExactly(second(9, creation, 2, "5"), mapping(MRP_VLAN_MAPPING, 0x5, {5})));
  for (const uint32_t ruleType : {mstpLan, mstpWan, mrp, mrpGlobal, lldp}) {
    const IssMgrBatch batch = built(second(ruleType, creation, 2, "5"));
    ASSERT_EQ(batch.count, 2) << ruleType;
    EXPECT_TRUE(hasExactly(batch.messages[1], mapping(MRP_VLAN_MAPPING, 0x5, {5}))) << ruleType;
  }
}

TEST_F(IssMgrCommands, MappingReadsItsVlansAsAStreamDoes) {
  const auto reads = [](const std::string& text, const std::vector<uint32_t>& vlans) {
    return makesExactly(second(mrp, notApplicable, 2, text), mapping(MRP_VLAN_MAPPING, 0x5, vlans));
  };
  EXPECT_TRUE(reads("", {}));
  EXPECT_TRUE(reads("100;200", {100}));
  EXPECT_TRUE(reads("100;200,300", {100, 300})) << "skips to the comma";
  EXPECT_TRUE(reads(" 1 ,\t2,\n3", {1, 2, 3}));
  EXPECT_TRUE(reads("-1,+2,0010", {0xFFFFFFFF, 2, 10}));
  EXPECT_TRUE(reads("1,,3", {1})) << "stops at what is no number";
  EXPECT_TRUE(reads("1,x,3", {1}));
  EXPECT_TRUE(reads(",1", {}));
  EXPECT_TRUE(reads("1,", {1}));
  EXPECT_TRUE(reads("2147483647,2147483648,3", {0x7FFFFFFF})) << "stops at a number too large";
}

TEST_F(IssMgrCommands, MappingEndsWithTheRecord) {
  std::string text;
  for (int vlan = 1; vlan <= 2000; ++vlan) text += std::to_string(vlan) + ",";
  const IssMgrBatch batch = built(second(mrp, notApplicable, 2, text));
  ASSERT_EQ(batch.count, 1);
  std::vector<uint32_t> vlans(1728);
  std::iota(vlans.begin(), vlans.end(), 1U);
  EXPECT_TRUE(hasExactly(batch.messages[0], mapping(MRP_VLAN_MAPPING, 0x5, vlans)));

  const IssMgrArguments arguments = second(mrp, notApplicable, 2, text);
  alignas(OtnIpcMsg) unsigned char place[sizeof(OtnIpcMsg) + 4];
  memset(place, 0xA5, sizeof place);
  new (place) OtnIpcMsg(vlanMapping(arguments));
  for (size_t i = sizeof(OtnIpcMsg); i < sizeof place; ++i) EXPECT_EQ(place[i], 0xA5) << "behind the record";
}

TEST_F(IssMgrCommands, OfAnotherFlushActAreNone) {
  for (const int32_t flushAct : {0, 3, -1}) {
    expectNothing(second(flushOnly, creation, flushAct, "5"));
    EXPECT_EQ(built(second(mstpLan, creation, flushAct, "5")).count, 1);
  }
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(IssMgrCommands, OfAnUnknownRuleTypeAreNone) {
  expectNothing(request(7, creation));
  expectNothing(request(0xFFFFFFFF, creation));
  EXPECT_THAT(
      lines(),
      ElementsAre(workerLine("ERROR", 425, "Processing SetIssMgrParam received an unknown ruleType [7]"),
                  workerLine("ERROR", 425, "Processing SetIssMgrParam received an unknown ruleType [-1]")));
}

TEST(IssMgrNames, OfRuleTypes) {
  const char* const names[] = {"ETS", "MST_TOPO_LAN", "MST_TOPO_WAN", "FLUSH", "MRP", "MRP_GLOB", "LLDP"};
  for (uint32_t ruleType = 0; ruleType < 7; ++ruleType) EXPECT_STREQ(ruleTypeName(ruleType), names[ruleType]);
  EXPECT_STREQ(ruleTypeName(7), "UnknownRuleType");
  EXPECT_STREQ(ruleTypeName(0xFFFFFFFF), "UnknownRuleType");
}

TEST(IssMgrNames, OfActions) {
  const char* const names[] = {"CREATE", "DELETE", "MODIFY", "NOT_APPLICABLE"};
  for (uint32_t action = 0; action < 4; ++action) EXPECT_STREQ(ruleActionName(action), names[action]);
  EXPECT_STREQ(ruleActionName(4), "UnknownL2cpRuleAction");
  EXPECT_STREQ(ruleActionName(0xFFFFFFFF), "UnknownL2cpRuleAction");
}

}  // namespace
