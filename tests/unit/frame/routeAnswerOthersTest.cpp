#include "frame/mainLines.h"
#include "frame/routeAnswer.h"
#include "link/SrvDbg.h"
#include "services/smartsfp/SrvSmartSfp.h"
#include "services/synce/SrvSyncE.h"
#include "support/FakeBus.h"
#include "support/Record.h"
#include "support/RingTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OtherAnswers : public RingTest {
 protected:
  OtherAnswers() {
    FakeBus::clear();
    SrvSmartSfp::createInstance();
  }
  ~OtherAnswers() override { SrvSmartSfp::destroyInstance(); }

  static SrvSmartSfp& smartSfp() { return SrvSmartSfp::getInstance(); }
  static MsgArrayEntry& queue(MsgSource source, int msgNo, int msgCount, OBstubReply* reply) {
    MsgArrayEntry& slot = copyToSlot(recordOf({ofType(INTERESTED_PACKET_IND)}));
    slot.source = source;
    slot.msgNo = msgNo;
    slot.msgCount = msgCount;
    slot.reply = reply;
    SavedArguments& saved = slot.arguments;
    saved.enableFilter = 101;
    saved.slot = 102;
    saved.enableClk = 103;
    saved.clksrc = 104;
    saved.phymode = 105;
    saved.sendPdu = 106;
    saved.pduWord1 = 107;
    saved.pduWord2 = 108;
    saved.pduWord3 = 109;
    saved.action = 110;
    saved.sendOutPDU = 111;
    saved.pbmp = 112;
    saved.size = 113;
    advanceWritePointer();
    return slot;
  }
  void queueSyncE(int msgNo, int msgCount, OBstubReply* reply) {
    queue(MsgSource::SyncE, msgNo, msgCount, reply).syncEService = &m_syncE;
  }
  static void queueSmartSfp(int msgNo, int msgCount, OBstubReply* reply) {
    queue(MsgSource::SmartSfp, msgNo, msgCount, reply).smartSfpService = &smartSfp();
  }
  bool route(const std::vector<Field>& answer) {
    forget();
    const Guard guard(&mutex);
    return routeAnswer(recordOf(answer), m_debugSocket);
  }
  static std::vector<Field> good(uint32_t type) { return {ofType(type), {"errorString", "No Error\r\n"}}; }
  /// Ports 3 and 28.
  static std::vector<Field> filter(uint32_t fpId, const std::string& error = "No Error\r\n") {
    return {ofType(INTERESTED_PACKET_IND),
            {"portList", hex("20000010")},
            {"entryKind", 4},
            {"fpId0", fpId},
            {"fpId1", 999},
            {"actionCode", 1},
            {"errorString", error},
            fieldOf(SMARTSFP_PDU_CMD, {"pbmp", 0x7777})};
  }
  static std::vector<Field> pdu(uint32_t ports) {
    return {ofType(SMARTSFP_PDU_CMD),
            fieldOf(INTERESTED_PACKET_IND, {"portList", hex("20000000")}),
            fieldOf(INTERESTED_PACKET_IND, {"fpId0", 888}),
            {"pbmp", ports},
            {"errorString", "No Error\r\n"}};
  }
  static void expectSyncEReply(uint64_t call) {
    ASSERT_EQ(FakeBus::replies().size(), 1U);
    EXPECT_EQ(FakeBus::replies()[0].call, call);
    EXPECT_EQ(FakeBus::replies()[0].results,
              (std::vector<OBvalue>{101U, 102U, 103U, 104U, 105U, 106U, 107U, 108U, 109U}));
    EXPECT_THAT(FakeBus::released(), IsEmpty());
  }
  static void expectSmartSfpReply(uint64_t call, uint32_t ports) {
    ASSERT_EQ(FakeBus::replies().size(), 1U);
    EXPECT_EQ(FakeBus::replies()[0].call, call);
    EXPECT_EQ(FakeBus::replies()[0].results,
              (std::vector<OBvalue>{101U, 110U, 111U, ports, 113U, std::string()}));
    EXPECT_THAT(FakeBus::released(), IsEmpty());
  }

  SrvSyncE m_syncE;
  SrvDbg m_debugSocket;
};

const std::string syncESource = mainLine("DEBUG3", 449, "MESSAGE SOURCE 3\n");
const std::string syncEToBus = mainLine("DEBUG3", 499, "Sending reply msg to OTNBus\n");
const std::string syncEOverBus = mainLine("DEBUG3", 503, "send reply over OTNbus\n");
const std::string smartSfpSource = mainLine("DEBUG3", 449, "MESSAGE SOURCE 5\n");
const std::string smartSfpToBus = mainLine("DEBUG3", 567, "Sending reply msg to OTNBus\n");
const std::string smartSfpOverBus = mainLine("DEBUG3", 572, "send reply over OTNbus\n");
const std::string smartSfpSent = mainLine("DEBUG3", 580, "sent reply over OTNbus\n");

TEST_F(OtherAnswers, OfSyncEGiveOneReplyAfterTheLastMessage) {
  m_syncE.register_interface(nullptr);
  OBstubReply* const reply = FakeBus::call(60);
  for (int msgNo = 1; msgNo <= 3; ++msgNo) queueSyncE(msgNo, 3, reply);
  EXPECT_TRUE(route(good(INTERESTED_PACKET_IND)));
  EXPECT_THAT(lines(), ElementsAre(syncESource, syncEToBus));
  EXPECT_TRUE(route(good(SYNCE_CMD)));
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_EQ(readpointer, 2);
  EXPECT_EQ(MsgArray[1].source, MsgSource::None);
  EXPECT_TRUE(route(good(SYNCE_PDU_CMD)));
  EXPECT_THAT(lines(), ElementsAre(syncESource, syncEToBus, syncEOverBus));
  expectSyncEReply(60);
  EXPECT_EQ(readpointer, 3);
  EXPECT_EQ(MsgArray[2].source, MsgSource::None);
  EXPECT_EQ(MsgArray[2].reply, nullptr) << "the handle is consumed";
}

TEST_F(OtherAnswers, OfSyncEKeepNoIds) {
  m_syncE.register_interface(nullptr);
  queueSyncE(1, 1, FakeBus::call(61));
  EXPECT_TRUE(route(filter(4711)));
  EXPECT_THAT(lines(), ElementsAre(syncESource, syncEToBus, syncEOverBus));
  EXPECT_EQ(smartSfp().fpId(), 0);
  expectSyncEReply(61);
}

TEST_F(OtherAnswers, OfSyncEWithAnErrorAreRepliedAllTheSame) {
  m_syncE.register_interface(nullptr);
  queueSyncE(1, 1, FakeBus::call(62));
  EXPECT_TRUE(route({ofType(SYNCE_CMD), {"errorString", "Failed\r\n"}}));
  expectSyncEReply(62);
  EXPECT_EQ(lines().size(), 4U);
  EXPECT_EQ(unnumbered()[1],
            loggedAnywhere("WARNING", "main", "main",
                           "ISS refused IssSetSyncEAsync (source 3) message 1 of 1, INTERESTED_PACKET_IND "
                           "[10], enableFilter 101, slot 102, enableClk 103, sendPdu 106: \"Failed\"; its "
                           "caller's reply does not show it"));
}

TEST_F(OtherAnswers, OfSyncEWithoutAServiceAreLoggedAndConsumed) {
  readpointer = 19;
  writepointer = 19;
  OBstubReply* const reply = FakeBus::call(63);
  queue(MsgSource::SyncE, 1, 2, reply);
  queue(MsgSource::SyncE, 2, 2, reply);
  EXPECT_TRUE(route(good(SYNCE_CMD)));
  EXPECT_THAT(lines().back(), ::testing::StartsWith("[ERROR] main:"));
  EXPECT_EQ(readpointer, 0);
  EXPECT_THAT(FakeBus::released(), IsEmpty());
  EXPECT_TRUE(route(good(SYNCE_PDU_CMD)));
  EXPECT_THAT(lines().back(), ::testing::StartsWith("[ERROR] main:"));
  EXPECT_EQ(readpointer, 1);
  EXPECT_EQ(MsgArray[0].source, MsgSource::None);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(63U));
}

TEST_F(OtherAnswers, OfSyncEWithoutAStubAreLoggedAndConsumed) {
  queueSyncE(1, 1, FakeBus::call(64));
  EXPECT_TRUE(route(good(SYNCE_PDU_CMD)));
  EXPECT_THAT(lines().back(), ::testing::StartsWith("[ERROR] main:"));
  EXPECT_EQ(readpointer, 1);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(64U));
}

TEST_F(OtherAnswers, OfAFilterGiveItsPortsAndKeepItsId) {
  smartSfp().register_interface(nullptr);
  queueSmartSfp(1, 1, FakeBus::call(65));
  EXPECT_TRUE(route(filter(17)));
  const std::vector<std::string> all = unnumbered();
  ASSERT_EQ(all.size(), 6U);
  EXPECT_EQ(lines()[0], smartSfpSource);
  EXPECT_EQ(lines()[1], smartSfpToBus);
  EXPECT_EQ(all[2], loggedAnywhere("INFO", "SrvSmartSfp", "setFpId", "smartSfp ID = 17"));
  EXPECT_EQ(lines()[3], logged("DEBUG3", "MsgHandle", 414, "ParseFpIdandPorts",
                               "**** portList: 0x20 0x00 0x00 0x10 => pbmp=0x8000004 ****"));
  EXPECT_EQ(lines()[4], smartSfpOverBus);
  EXPECT_EQ(lines()[5], smartSfpSent);
  EXPECT_EQ(smartSfp().fpId(), 17);
  expectSmartSfpReply(65, 0x8000004);
  EXPECT_EQ(readpointer, 1);
  EXPECT_EQ(MsgArray[0].source, MsgSource::None);
  EXPECT_EQ(MsgArray[0].reply, nullptr) << "the handle is consumed";
}

TEST_F(OtherAnswers, OfAPduGiveItsPortsAndKeepNoId) {
  smartSfp().register_interface(nullptr);
  smartSfp().setFpId(17);
  queueSmartSfp(1, 1, FakeBus::call(66));
  EXPECT_TRUE(route(pdu(0xFEDCBA98)));
  EXPECT_THAT(lines(), ElementsAre(smartSfpSource, smartSfpToBus, smartSfpOverBus, smartSfpSent));
  EXPECT_EQ(smartSfp().fpId(), 17);
  expectSmartSfpReply(66, 0xFEDCBA98);
}

TEST_F(OtherAnswers, OfSmartSfpGiveOneReplyWithThePortsOfTheLast) {
  smartSfp().register_interface(nullptr);
  OBstubReply* const reply = FakeBus::call(67);
  queueSmartSfp(1, 2, reply);
  queueSmartSfp(2, 2, reply);
  EXPECT_TRUE(route(filter(18)));
  EXPECT_EQ(smartSfp().fpId(), 18) << "also the first answer's id is kept";
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_EQ(readpointer, 1);
  EXPECT_TRUE(route(pdu(0x55)));
  expectSmartSfpReply(67, 0x55);
  EXPECT_EQ(smartSfp().fpId(), 18);
  EXPECT_EQ(readpointer, 2);
}

TEST_F(OtherAnswers, OfADeleteKeepWhateverIdTheyCarry) {
  smartSfp().register_interface(nullptr);
  smartSfp().setFpId(17);
  queueSmartSfp(1, 1, FakeBus::call(68));
  queueSmartSfp(1, 1, FakeBus::call(69));
  std::vector<Field> answer = filter(17);
  answer.push_back({"actionCode", 2});
  EXPECT_TRUE(route(answer));
  EXPECT_EQ(smartSfp().fpId(), 17);
  answer.push_back({"fpId0", 0});
  EXPECT_TRUE(route(answer));
  EXPECT_EQ(smartSfp().fpId(), 0);
}

TEST_F(OtherAnswers, OfSmartSfpWithAnErrorAreKeptAndRepliedAsEver) {
  smartSfp().register_interface(nullptr);
  queueSmartSfp(1, 1, FakeBus::call(70));
  EXPECT_TRUE(route(filter(0xFFFFFFFF, "Failed\r\n")));
  EXPECT_EQ(smartSfp().fpId(), -1);
  expectSmartSfpReply(70, 0x8000004);
  EXPECT_THAT(unnumbered(), ::testing::Contains(loggedAnywhere(
                                "WARNING", "main", "main",
                                "ISS refused IssSetSmartSfpAsync (source 5) message 1 of 1, "
                                "INTERESTED_PACKET_IND [10], enableFilter 101, action 110, sendOutPDU 111, "
                                "pbmp 0x70: \"Failed\"; its caller's reply does not show it")));
  EXPECT_EQ(lines().back(), smartSfpSent);
}

TEST_F(OtherAnswers, OfSmartSfpWithoutAServiceAreLoggedAndConsumed) {
  OBstubReply* const reply = FakeBus::call(71);
  queue(MsgSource::SmartSfp, 1, 2, reply);
  queue(MsgSource::SmartSfp, 2, 2, reply);
  EXPECT_TRUE(route(filter(19)));
  EXPECT_THAT(lines().back(), ::testing::StartsWith("[ERROR] main:"));
  EXPECT_THAT(FakeBus::released(), IsEmpty());
  EXPECT_TRUE(route(pdu(1)));
  EXPECT_THAT(lines().back(), ::testing::StartsWith("[ERROR] main:"));
  EXPECT_EQ(readpointer, 2);
  EXPECT_EQ(MsgArray[1].source, MsgSource::None);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(71U));
}

TEST_F(OtherAnswers, OfSmartSfpWithoutAStubAreLoggedAndConsumed) {
  queueSmartSfp(1, 1, FakeBus::call(72));
  EXPECT_TRUE(route(filter(20)));
  EXPECT_EQ(smartSfp().fpId(), 20);
  EXPECT_THAT(lines().back(), ::testing::StartsWith("[ERROR] main:"));
  EXPECT_EQ(readpointer, 1);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(72U));
}

}  // namespace
