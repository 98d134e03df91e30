#include "Guard.h"
#include "frame/answerIds.h"
#include "frame/mainLines.h"
#include "frame/routeAnswer.h"
#include "link/SrvDbg.h"
#include "message/MsgHandle.h"
#include "services/rules/SrvIssMgr.h"
#include "support/FakeBus.h"
#include "support/Record.h"
#include "support/RingTest.h"
#include "support/memory.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string source = mainLine("DEBUG3", 449, "MESSAGE SOURCE 4\n");
const std::string ruleToBus = mainLine("DEBUG3", 534, "Sending reply msg to OTNBus\n");
const std::string ruleOverBus = mainLine("DEBUG3", 541, "send reply over OTNbus\n");
std::string ids(const std::string& text) {
  return logged("DEBUG3", "MsgHandle", 362, "GetFpIds", "Returning FPIDs=" + text);
}

class RuleAnswers : public RingTest {
 protected:
  RuleAnswers() {
    FakeBus::clear();
    g_EtsFpId = {};
    SrvIssMgr::createInstance();
  }
  ~RuleAnswers() override { SrvIssMgr::destroyInstance(); }

  static SrvIssMgr& service() { return SrvIssMgr::getInstance(); }
  static void withStub() { service().register_interface(nullptr); }
  static MsgArrayEntry& queue(int msgNo, int msgCount, OBstubReply* reply) {
    MsgArrayEntry& slot = copyToSlot(recordOf({ofType(INTERESTED_PACKET_IND)}));
    slot.source = MsgSource::IssMgr;
    slot.issMgrService = &service();
    slot.msgNo = msgNo;
    slot.msgCount = msgCount;
    slot.reply = reply;
    SavedArguments& saved = slot.arguments;
    saved.ruleType = 101;
    saved.action = 102;
    saved.L2Pbmp = 103;
    saved.MplsPbmp = 104;
    saved.flushAct = -105;
    saved.vpn = 106;
    saved.vp = 107;
    saved.portNr = 108;
    saved.vlan = 109;
    saved.mplsLbl = 110;
    saved.pwLbl = 111;
    saved.dataVfis = "1,2";
    advanceWritePointer();
    return slot;
  }
  bool route(const std::vector<Field>& answer) {
    forget();
    const Guard guard(&mutex);
    return routeAnswer(recordOf(answer), m_debugSocket);
  }
  /// Of an MSTP rule the labels stand in the second entry.
  static std::vector<Field> rule(uint32_t kind, uint32_t encapsulation, uint32_t fpId0, uint32_t fpId1,
                                 uint32_t actionCode, const std::string& error = "No Error\r\n") {
    return {ofType(INTERESTED_PACKET_IND),
            {"entries", Matches{{}, {0, words({0x64000, 0xC8000})}}},
            {"portList", hex("10000000")},
            {"entryKind", kind},
            {"encapType", encapsulation},
            {"fpId0", fpId0},
            {"fpId1", fpId1},
            {"actionCode", actionCode},
            {"errorString", error}};
  }
  static std::vector<OBvalue> resultsWith(int32_t fpId0, int32_t fpId1) {
    return {101U, 102U, 103U, 104U,        -105,  106U, 107U, 108U, 109U, 110U, 111U, std::string("1,2"),
            0U,   0U,   0U,   uint16_t{0}, fpId0, fpId1};
  }
  static void expectOneReply(uint64_t call, int32_t fpId0, int32_t fpId1) {
    ASSERT_EQ(FakeBus::replies().size(), 1U);
    EXPECT_EQ(FakeBus::replies()[0].call, call);
    EXPECT_EQ(FakeBus::replies()[0].results, resultsWith(fpId0, fpId1));
    EXPECT_THAT(FakeBus::released(), IsEmpty());
  }
  static bool holdsWan(int32_t fpId0, int32_t fpId1) {
    int32_t id0 = -7;
    int32_t id1 = -7;
    return service().getAndDeleteMstpWanConfigFpIds(3, 100, 200, id0, id1) && id0 == fpId0 && id1 == fpId1;
  }

  SrvDbg m_debugSocket;
};

TEST_F(RuleAnswers, ReplyWithTheSavedArgumentsAndTheIds) {
  withStub();
  queue(1, 1, FakeBus::call(60));
  EXPECT_TRUE(route(rule(5, 1, 4711, 0xFFFFFFFF, 1)));
  EXPECT_THAT(lines(), ElementsAre(source, ruleToBus, ids("4711,-1"), ruleOverBus));
  expectOneReply(60, 4711, -1);
  EXPECT_EQ(readpointer, 1);
  EXPECT_EQ(MsgArray[0].source, MsgSource::None);
  EXPECT_EQ(MsgArray[0].reply, nullptr);
}

TEST_F(RuleAnswers, NeedNoMemoryForTheirReply) {
  withStub();
  const std::string vlans = "11,12,13,14,15,16,17,18,19,20";
  queue(1, 1, FakeBus::call(62)).arguments.dataVfis = vlans;
  const OtnIpcMsg answer = recordOf(rule(5, 1, 4711, 0xFFFFFFFF, 1));
  {
    const Guard guard(&mutex);
    const NoMemory lacking;
    EXPECT_TRUE(routeAnswer(answer, m_debugSocket));
  }
  ASSERT_EQ(FakeBus::replies().size(), 1U);
  EXPECT_EQ(FakeBus::replies()[0].results[11], OBvalue(vlans));
  EXPECT_EQ(readpointer, 1);
}

TEST_F(RuleAnswers, ReplyOnceWithTheIdsOfTheLastAnswer) {
  withStub();
  OBstubReply* const reply = FakeBus::call(61);
  queue(1, 2, reply);
  queue(2, 2, reply);
  EXPECT_TRUE(route(rule(2, 1, 4711, 4712, 1)));
  EXPECT_THAT(
      lines(),
      ElementsAre(source, logged("DEBUG3", "SrvIssMgr", 664, "setMstpLanFpId", "MSTP L2 FP ID = 4711"),
                  ruleToBus, ids("4711,4712")));
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_TRUE(route({ofType(FLUSH_CMD),
                     fieldOf(INTERESTED_PACKET_IND, {"fpId0", 5}),
                     fieldOf(INTERESTED_PACKET_IND, {"fpId1", 6}),
                     {"errorString", "No Error\r\n"}}));
  expectOneReply(61, 5, 6);
  EXPECT_EQ(service().mstpLanFpId(), 4711U);
}

TEST_F(RuleAnswers, KeepTheIdsOfEts) {
  withStub();
  for (int i = 0; i < 5; ++i) queue(1, 1, FakeBus::call(62));
  EXPECT_TRUE(route(rule(3, 1, 11, 12, 1)));
  EXPECT_EQ(g_EtsFpId.l2, 11U);
  EXPECT_EQ(g_EtsFpId.mpls0, 0U);
  EXPECT_TRUE(route(rule(3, 3, 21, 22, 1)));
  EXPECT_EQ(g_EtsFpId.l2, 11U);
  EXPECT_EQ(g_EtsFpId.mpls0, 21U);
  EXPECT_EQ(g_EtsFpId.mpls1, 22U);
  EXPECT_TRUE(route(rule(3, 3, 31, 32, 2)));
  EXPECT_EQ(g_EtsFpId.mpls0, 31U) << "a removal overwrites them, too";
  EXPECT_TRUE(route(rule(3, 2, 41, 42, 1)));
  std::vector<Field> other = rule(3, 1, 51, 52, 1);
  other.push_back(ofType(FLUSH_CMD));
  EXPECT_TRUE(route(other)) << "no rule's answer";
  EXPECT_EQ(g_EtsFpId.l2, 11U);
  EXPECT_EQ(g_EtsFpId.mpls0, 31U);
  EXPECT_EQ(g_EtsFpId.mpls1, 32U);
}

TEST_F(RuleAnswers, KeepTheIdsOfCreatedMstpRules) {
  withStub();
  for (int i = 0; i < 6; ++i) queue(1, 1, FakeBus::call(63));
  EXPECT_TRUE(route(rule(2, 1, 11, 12, 2)));
  EXPECT_TRUE(route(rule(2, 3, 21, 22, 0)));
  EXPECT_TRUE(route(rule(2, 2, 31, 32, 1)));
  EXPECT_EQ(service().mstpLanFpId(), 0U);
  EXPECT_FALSE(holdsWan(21, 22));
  EXPECT_TRUE(route(rule(2, 1, 41, 42, 1)));
  EXPECT_EQ(service().mstpLanFpId(), 41U);
  EXPECT_TRUE(route(rule(2, 3, 51, 52, 1)));
  EXPECT_TRUE(holdsWan(51, 52));
  std::vector<Field> other = rule(2, 1, 61, 62, 1);
  other.push_back(ofType(LLDP_TLV_INFO));
  EXPECT_TRUE(route(other)) << "no rule's answer";
  EXPECT_EQ(service().mstpLanFpId(), 41U);
}

TEST_F(RuleAnswers, OfMrpRulesKeepNoIds) {
  withStub();
  queue(1, 1, FakeBus::call(64));
  queue(1, 1, FakeBus::call(64));
  EXPECT_TRUE(route(rule(5, 1, 11, 12, 1)));
  EXPECT_TRUE(route(rule(5, 3, 21, 22, 1)));
  EXPECT_EQ(g_EtsFpId.l2, 0U);
  EXPECT_EQ(g_EtsFpId.mpls0, 0U);
  EXPECT_EQ(service().mstpLanFpId(), 0U);
  EXPECT_FALSE(holdsWan(21, 22));
}

TEST_F(RuleAnswers, WithAnErrorAreKeptAndRepliedAllTheSame) {
  withStub();
  queue(1, 1, FakeBus::call(65));
  EXPECT_TRUE(route(rule(2, 1, 71, 72, 1, "Failed\r\n")));
  expectOneReply(65, 71, 72);
  EXPECT_EQ(service().mstpLanFpId(), 71U);
  EXPECT_THAT(lines(), Contains(ruleOverBus));
  EXPECT_THAT(
      unnumbered(),
      Contains(loggedAnywhere("WARNING", "main", "main",
                              "ISS refused IssSetIssMgrAsync (source 4) message 1 of 1, "
                              "INTERESTED_PACKET_IND [10], UnknownRuleType [101], UnknownL2cpRuleAction "
                              "[102], vpn 106, vlan 109: \"Failed\"; its caller's reply does not show it")));
}

TEST_F(RuleAnswers, WithoutAStubAreConsumedAndTheCallReleased) {
  OBstubReply* const reply = FakeBus::call(66);
  queue(1, 2, reply);
  queue(2, 2, reply);
  EXPECT_TRUE(route(rule(2, 1, 81, 82, 1)));
  EXPECT_EQ(service().mstpLanFpId(), 81U);
  EXPECT_THAT(FakeBus::released(), IsEmpty());
  EXPECT_TRUE(route(rule(5, 1, 1, 2, 1)));
  EXPECT_THAT(lines().back(), ::testing::StartsWith("[ERROR] main:"));
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(66U));
  EXPECT_EQ(readpointer, 2);
}

}  // namespace
