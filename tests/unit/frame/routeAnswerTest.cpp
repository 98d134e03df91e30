#include "frame/routeAnswer.h"

#include "frame/mainLines.h"
#include "link/SrvDbg.h"
#include "services/ports/DcnTunnel.h"
#include "services/ports/SrvIss.h"
#include "support/DebugTool.h"
#include "support/FakeBus.h"
#include "support/Record.h"
#include "support/RingTest.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string toBus = mainLine("DEBUG3", 473, "Sending reply msg to OTNBus\n");
const std::string overBus = mainLine("DEBUG3", 477, "send reply over OTNbus\n");

class Answers : public RingTest {
 protected:
  Answers() {
    FakeBus::clear();
    memset(dcnTunnel, 0, sizeof dcnTunnel);
    SrvIss::createInstance(false);
  }
  ~Answers() override { SrvIss::destroyInstance(); }

  static MsgArrayEntry& queue(MsgSource source, int msgNo, int msgCount, OBstubReply* reply = nullptr) {
    MsgArrayEntry& slot = copyToSlot(recordOf({ofType(IFC_INSERT_DELETE_IND)}));
    slot.source = source;
    slot.msgNo = msgNo;
    slot.msgCount = msgCount;
    slot.reply = reply;
    slot.arguments.action = 1;
    slot.arguments.ifType = 6;
    slot.arguments.portNr = 5;
    slot.arguments.ifSpeed = 1000;
    slot.arguments.bConfigure = 1;
    slot.arguments.acVlan = 77;
    slot.arguments.extra1 = 0xE1;
    slot.arguments.extra2 = 0xE2;
    advanceWritePointer();
    return slot;
  }
  static void queuePortParams(int msgNo, int msgCount, OBstubReply* reply) {
    queue(MsgSource::PortParams, msgNo, msgCount, reply).portParamsService = &SrvIss::getInstance();
  }
  bool route(const std::vector<Field>& answer) {
    forget();
    const Guard guard(&mutex);
    return routeAnswer(recordOf(answer), m_debugSocket);
  }
  static std::vector<Field> good(uint32_t type) { return {ofType(type), {"errorString", "No Error\r\n"}}; }

  SrvDbg m_debugSocket;
};

TEST_F(Answers, OfASlotWithoutASourceAreNotRouted) {
  queue(MsgSource::None, 1, 1);
  EXPECT_FALSE(route(good(IFC_INSERT_DELETE_IND)));
  EXPECT_EQ(readpointer, 0);
  EXPECT_THAT(lines(), ElementsAre(mainLine("DEBUG3", 449, "MESSAGE SOURCE 0\n")));
  EXPECT_FALSE(route(good(IFC_INSERT_DELETE_IND))) << "the next answer meets the same slot";
  EXPECT_EQ(readpointer, 0);
}

TEST_F(Answers, OfAnUnknownSourceAreNotRouted) {
  queue(static_cast<MsgSource>(7), 1, 1);
  EXPECT_FALSE(route(good(IFC_INSERT_DELETE_IND)));
  EXPECT_EQ(readpointer, 0);
  EXPECT_EQ(static_cast<int>(MsgArray[0].source), 7);
}

TEST_F(Answers, ToAnEmptyRingAreNotRouted) {
  EXPECT_FALSE(route(good(INTERESTED_PACKET_IND)));
  EXPECT_EQ(readpointer, 0);
}

TEST_F(Answers, GiveOneReplyAfterTheLastMessage) {
  SrvIss::getInstance().register_interface(nullptr);
  OBstubReply* const reply = FakeBus::call(60);
  for (int msgNo = 1; msgNo <= 3; ++msgNo) queuePortParams(msgNo, 3, reply);
  EXPECT_TRUE(route(good(RUN_DEFAULT_SCRIPT_COMMAND)));
  EXPECT_THAT(lines(), ElementsAre(mainLine("DEBUG3", 449, "MESSAGE SOURCE 1\n"), toBus));
  EXPECT_TRUE(route(good(IFC_INSERT_DELETE_IND)));
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_EQ(readpointer, 2);
  EXPECT_TRUE(route(good(IFC_INSERT_DELETE_IND)));
  EXPECT_THAT(lines(), ElementsAre(mainLine("DEBUG3", 449, "MESSAGE SOURCE 1\n"), toBus, overBus));
  EXPECT_EQ(readpointer, 3);
  ASSERT_EQ(FakeBus::replies().size(), 1U);
  EXPECT_EQ(FakeBus::replies()[0].call, 60U);
  EXPECT_THAT(FakeBus::replies()[0].results,
              ElementsAre(OBvalue(1U), OBvalue(6U), OBvalue(5U), OBvalue(1000U), OBvalue(true), OBvalue(77U),
                          OBvalue(0xE1U), OBvalue(0xE2U)));
  EXPECT_EQ(MsgArray[2].source, MsgSource::None);
  EXPECT_EQ(MsgArray[2].reply, nullptr) << "the handle is consumed";
}

TEST_F(Answers, ThatCreateATunnelKeepItsIds) {
  queuePortParams(1, 1, nullptr);
  queuePortParams(1, 1, nullptr);
  queuePortParams(1, 1, nullptr);
  std::vector<Field> answer = good(MGMT_INTERFACE_MAPPING_IND);
  answer.insert(answer.end(),
                {{"pwPort", 5}, {"tunnelId", 100}, {"vpnId", 101}, {"tunnelIndex", 102}, {"pwId", 103}});
  EXPECT_TRUE(route(answer));
  EXPECT_EQ(dcnTunnel[4].tunnelId, 0U) << "no creation";
  answer.push_back({"mapFlag", 1});
  std::vector<Field> failed = answer;
  failed.push_back({"errorString", "Error"});
  EXPECT_TRUE(route(failed));
  EXPECT_EQ(dcnTunnel[4].tunnelId, 0U) << "an error stores nothing";
  EXPECT_TRUE(route(answer));
  EXPECT_EQ(dcnTunnel[4].tunnelId, 100U);
  EXPECT_EQ(dcnTunnel[4].vpnId, 101U);
  EXPECT_EQ(dcnTunnel[4].tunnelIndex, 102U);
  EXPECT_EQ(dcnTunnel[4].pwId, 103U);
}

TEST_F(Answers, WithAnErrorAreAnsweredAllTheSame) {
  SrvIss::getInstance().register_interface(nullptr);
  queuePortParams(1, 1, FakeBus::call(61));
  EXPECT_TRUE(route({ofType(IFC_INSERT_DELETE_IND), {"errorString", "Failed\r\n"}}));
  EXPECT_EQ(FakeBus::replies().size(), 1U);
  EXPECT_THAT(unnumbered(),
              ElementsAre(mainLine("DEBUG3", "MESSAGE SOURCE 1\n"),
                          mainLine("WARNING",
                                   "ISS refused IssSetLanWanAsync (source 1) message 1 of 1, "
                                   "IFC_INSERT_DELETE_IND [7], port 5, set up [1]: \"Failed\"; its caller's "
                                   "reply does not show it"),
                          mainLine("DEBUG3", "Sending reply msg to OTNBus\n"),
                          mainLine("DEBUG3", "send reply over OTNbus\n")));
}

TEST_F(Answers, WithoutAStubAreLoggedAndConsumed) {
  OBstubReply* const reply = FakeBus::call(62);
  queuePortParams(1, 2, reply);
  queuePortParams(2, 2, reply);
  EXPECT_TRUE(route(good(RUN_DEFAULT_SCRIPT_COMMAND)));
  EXPECT_THAT(FakeBus::released(), IsEmpty());
  EXPECT_TRUE(route(good(MGMT_INTERFACE_MAPPING_IND)));
  EXPECT_THAT(lines().back(), ::testing::StartsWith("[ERROR] main:"));
  EXPECT_EQ(readpointer, 2);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(62U));
}

TEST_F(Answers, WithoutAServiceAreLoggedAndConsumed) {
  queue(MsgSource::PortParams, 1, 1, FakeBus::call(63));
  EXPECT_TRUE(route(good(FLUSH_CMD)));
  EXPECT_EQ(readpointer, 1);
  EXPECT_EQ(MsgArray[0].source, MsgSource::None);
  EXPECT_THAT(lines(), Contains(::testing::StartsWith("[ERROR] main:")));
  EXPECT_THAT(FakeBus::released(), ElementsAre(63U));
}

TEST_F(Answers, ToTheDebugClientAreItsBytes) {
  DebugTool tool;
  ASSERT_EQ(m_debugSocket.StartUdpServer(), 0);
  queue(MsgSource::Debug, 1, 1);
  std::vector<Field> answer = good(RM_ACTIVE_STANDBY_READY_STATUS);
  answer.push_back(octet(lastByte, 0x77));
  EXPECT_TRUE(route(answer));
  EXPECT_EQ(tool.receive(), recordBytes(answer));
  EXPECT_EQ(readpointer, 1);
  EXPECT_THAT(lines(), ElementsAre(mainLine("DEBUG3", 449, "MESSAGE SOURCE 2\n"),
                                   mainLine("DEBUG3", 452, "Sending reply msg to debug socket\n")));
}

TEST_F(Answers, ToADebugClientThatHasGoneAreConsumed) {
  queue(MsgSource::Debug, 1, 1);
  EXPECT_TRUE(route(good(IFC_INSERT_DELETE_IND)));
  EXPECT_EQ(readpointer, 1);
}

TEST_F(Answers, ToARedundancyStateAreOnlyExamined) {
  const std::string received = mainLine("DEBUG3", 589, "Redundancystate reply msg received from OPS\n");
  readpointer = 19;
  writepointer = 19;
  queue(MsgSource::Redundancy, 9, 1);
  MsgArray[0].redundancyState = 2;
  queue(MsgSource::Redundancy, 1, 1);
  EXPECT_TRUE(route(good(REDUNDANCY_STATE)));
  EXPECT_EQ(readpointer, 0) << "whatever its message number";
  EXPECT_THAT(lines(), ElementsAre(mainLine("DEBUG3", 449, "MESSAGE SOURCE 6\n"), received));
  EXPECT_TRUE(route({ofType(REDUNDANCY_STATE), {"errorString", "No Error"}}));
  EXPECT_EQ(readpointer, 1);
  EXPECT_THAT(unnumbered(),
              ElementsAre(mainLine("DEBUG3", "MESSAGE SOURCE 6\n"),
                          mainLine("DEBUG3", "Redundancystate reply msg received from OPS\n"),
                          mainLine("ERROR", "OPS REPORTED ERROR IN REDUNDANCY REPLY MESSAGE!\n"),
                          mainLine("WARNING",
                                   "ISS refused redundant_state_signal (source 6) message 1 of 1, "
                                   "IFC_INSERT_DELETE_IND [7], state ACT [2]: \"No Error\"")));
  EXPECT_EQ(count(mainLine("ERROR", 593, "OPS REPORTED ERROR IN REDUNDANCY REPLY MESSAGE!\n")), 1U);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
}

}  // namespace
