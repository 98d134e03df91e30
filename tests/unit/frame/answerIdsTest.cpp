#include <utility>

#include "frame/answerIds.h"
#include "services/ports/DcnTunnel.h"
#include "services/rules/SrvIssMgr.h"
#include "services/smartsfp/SrvSmartSfp.h"
#include "support/Record.h"
#include "support/RoomTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string line(const std::string& level, int number, const std::string& function, const std::string& text) {
  return logged(level, "MsgHandle", number, function, text);
}

class AnswerIds : public RoomTest {
 protected:
  AnswerIds() { clear(); }
  ~AnswerIds() override {
    clear();
    SrvIssMgr::destroyInstance();
    SrvSmartSfp::destroyInstance();
  }

  static bool stored(const DcnTunnelEntry& entry, uint32_t tunnelId, uint32_t vpnId, uint32_t pwId,
                     uint32_t tunnelIndex) {
    const uint32_t expected[4] = {tunnelId, vpnId, pwId, tunnelIndex};
    return memcmp(&entry, expected, sizeof expected) == 0;
  }

 private:
  static void clear() {
    memset(dcnTunnel, 0, sizeof dcnTunnel);
    g_EtsFpId = {};
  }
};

std::vector<Field> tunnelAnswer(uint32_t port, uint32_t first) {
  return {ofType(MGMT_INTERFACE_MAPPING_IND), {"pwPort", port},    {"tunnelId", first}, {"vpnId", first + 1},
          {"tunnelIndex", first + 2},         {"pwId", first + 3}, {"mapFlag", 1}};
}

TEST_F(AnswerIds, OfATunnelGoToThePortsRecord) {
  EXPECT_TRUE(StoreDcnTunnelIds(recordOf(tunnelAnswer(5, 100))));
  EXPECT_THAT(lines(), ElementsAre(line("DEBUG3", 253, "StoreDcnTunnelIds", "store DCN tunnels port: 5")));
  EXPECT_TRUE(stored(dcnTunnel[4], 100, 101, 103, 102));
  for (size_t i = 0; i < 28; ++i) EXPECT_EQ(stored(dcnTunnel[i], 0, 0, 0, 0), i != 4) << i;
}

TEST_F(AnswerIds, OfATunnelReplaceWhatWasThere) {
  StoreDcnTunnelIds(recordOf(tunnelAnswer(1, 100)));
  StoreDcnTunnelIds(recordOf(tunnelAnswer(1, 200)));
  StoreDcnTunnelIds(recordOf(tunnelAnswer(28, 300)));
  EXPECT_TRUE(stored(dcnTunnel[0], 200, 201, 203, 202));
  EXPECT_TRUE(stored(dcnTunnel[27], 300, 301, 303, 302));
}

TEST_F(AnswerIds, OfAPortWithoutARecordAreDropped) {
  for (const uint32_t port : {0U, 29U, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_TRUE(StoreDcnTunnelIds(recordOf(tunnelAnswer(port, 100))));
    EXPECT_EQ(dcnTunnelOfPort(port), nullptr);
  }
  for (const DcnTunnelEntry& entry : dcnTunnel) EXPECT_TRUE(stored(entry, 0, 0, 0, 0));
  EXPECT_EQ(dcnTunnelOfPort(1), &dcnTunnel[0]);
  EXPECT_EQ(dcnTunnelOfPort(28), &dcnTunnel[27]);
}

OtnIpcMsg etsAnswer(uint32_t encapType, uint32_t id0, uint32_t id1, uint32_t addFlag) {
  return recordOf({ofType(INTERESTED_PACKET_IND),
                   {"entryKind", 3},
                   {"encapType", encapType},
                   {"fpId0", id0},
                   {"fpId1", id1},
                   {"actionCode", addFlag}});
}

TEST_F(AnswerIds, OfAnEtsRuleAreKeptByEncapsulation) {
  EXPECT_TRUE(StoreEtsFpIds(etsAnswer(1, 71, 72, 1)));
  EXPECT_EQ(g_EtsFpId.l2, 71U);
  EXPECT_EQ(g_EtsFpId.mpls0, 0U);
  EXPECT_TRUE(StoreEtsFpIds(etsAnswer(3, 81, 82, 1)));
  EXPECT_EQ(g_EtsFpId.l2, 71U);
  EXPECT_EQ(g_EtsFpId.mpls0, 81U);
  EXPECT_EQ(g_EtsFpId.mpls1, 82U);
  EXPECT_TRUE(StoreEtsFpIds(etsAnswer(2, 91, 92, 1)));
  EXPECT_TRUE(StoreEtsFpIds(etsAnswer(0, 91, 92, 1)));
  EXPECT_TRUE(StoreEtsFpIds(etsAnswer(4, 91, 92, 1)));
  EXPECT_EQ(g_EtsFpId.l2, 71U);
  EXPECT_EQ(g_EtsFpId.mpls0, 81U);
  EXPECT_EQ(g_EtsFpId.mpls1, 82U);
  const char* const function = "StoreEtsFpIds";
  EXPECT_THAT(lines(),
              ElementsAre(line("DEBUG3", 277, function, "ETS Fp ID: 71 for L2 EncapType"),
                          line("DEBUG3", 285, function, "ETS Fp ID0: 81 for MPLS EncapType"),
                          line("DEBUG3", 286, function, "ETS Fp ID1: 82 for MPLS EncapType"),
                          line("DEBUG3", 280, function, "No storage done for ETS Fp ID for L3 EncapType"),
                          line("DEBUG3", 289, function, "ETS Fp ID not set wrong EncapType "),
                          line("DEBUG3", 289, function, "ETS Fp ID not set wrong EncapType ")));
}

TEST_F(AnswerIds, OfAnEtsRulesRemovalOverwriteTheOldOnes) {
  StoreEtsFpIds(etsAnswer(3, 81, 82, 1));
  StoreEtsFpIds(etsAnswer(1, 71, 0, 1));
  StoreEtsFpIds(etsAnswer(3, 5, 6, 0));
  StoreEtsFpIds(etsAnswer(1, 0, 0, 2));
  EXPECT_EQ(g_EtsFpId.l2, 0U);
  EXPECT_EQ(g_EtsFpId.mpls0, 5U);
  EXPECT_EQ(g_EtsFpId.mpls1, 6U);
}

/// The labels stand in the second entry.
OtnIpcMsg mstpAnswer(uint32_t encapType, uint32_t addFlag, uint32_t mplsWord = 0x000640FF,
                     uint32_t pwWord = 0x000C8000) {
  return recordOf({ofType(INTERESTED_PACKET_IND),
                   {"entries", Matches{{}, {0, words({mplsWord, pwWord})}}},
                   {"portList", hex("10000000")},
                   {"entryKind", 2},
                   {"encapType", encapType},
                   {"fpId0", 41},
                   {"fpId1", 42},
                   {"actionCode", addFlag}});
}

TEST_F(AnswerIds, OfAnMstpWanRuleGoToTheStore) {
  SrvIssMgr::createInstance();
  EXPECT_TRUE(StoreMstFpIds(mstpAnswer(3, 1)));
  ASSERT_FALSE(lines().empty());
  EXPECT_EQ(lines()[0], line("DEBUG2", 343, "StoreMstFpIds",
                             "**** mpls=0x64, pw=0xc8, portList: 0x10 0x00 0x00 0x00 => pbmp=0x8 ****"));
  int32_t id0 = 0;
  int32_t id1 = 0;
  EXPECT_TRUE(SrvIssMgr::getInstance().getAndDeleteMstpWanConfigFpIds(3, 100, 200, id0, id1));
  EXPECT_EQ(id0, 41);
  EXPECT_EQ(id1, 42);
}

TEST_F(AnswerIds, OfAnMstpRuleTakeLabelWordsAsSigned) {
  SrvIssMgr::createInstance();
  EXPECT_TRUE(StoreMstFpIds(mstpAnswer(3, 1, 0xFFFFF000, 0x80000FFF)));
  int32_t id0 = 0;
  int32_t id1 = 0;
  EXPECT_TRUE(SrvIssMgr::getInstance().getAndDeleteMstpWanConfigFpIds(3, -1, -524288, id0, id1));
  EXPECT_EQ(lines()[0],
            line("DEBUG2", 343, "StoreMstFpIds",
                 "**** mpls=0xffffffff, pw=0xfff80000, portList: 0x10 0x00 0x00 0x00 => pbmp=0x8 ****"));
}

TEST_F(AnswerIds, OfAnMstpLanRuleAreItsOneId) {
  SrvIssMgr::createInstance();
  EXPECT_TRUE(StoreMstFpIds(mstpAnswer(1, 1)));
  EXPECT_EQ(SrvIssMgr::getInstance().mstpLanFpId(), 41U);
}

TEST_F(AnswerIds, OfAnMstpRuleThatWasNotCreatedChangeNothing) {
  SrvIssMgr::createInstance();
  for (const uint32_t addFlag : {0U, 2U, 3U, 255U}) {
    EXPECT_TRUE(StoreMstFpIds(mstpAnswer(1, addFlag)));
    EXPECT_TRUE(StoreMstFpIds(mstpAnswer(3, addFlag)));
  }
  EXPECT_THAT(lines(), IsEmpty());
  EXPECT_EQ(SrvIssMgr::getInstance().mstpLanFpId(), 0U);
  int32_t id0 = 0;
  int32_t id1 = 0;
  EXPECT_FALSE(SrvIssMgr::getInstance().getAndDeleteMstpWanConfigFpIds(3, 100, 200, id0, id1));
}

TEST_F(AnswerIds, OfAnMstpRuleOfAnotherEncapsulationAreNotKept) {
  EXPECT_TRUE(StoreMstFpIds(mstpAnswer(2, 1)));
  EXPECT_TRUE(StoreMstFpIds(mstpAnswer(0, 1)));
  EXPECT_TRUE(StoreMstFpIds(mstpAnswer(4, 0)));
  EXPECT_THAT(
      lines(),
      ElementsAre(line("DEBUG3", 321, "StoreMstFpIds", "No storage done for MST Fp ID for L3 EncapType"),
                  line("DEBUG3", 353, "StoreMstFpIds", "MST Fp ID not set wrong EncapType "),
                  line("DEBUG3", 353, "StoreMstFpIds", "MST Fp ID not set wrong EncapType ")));
}

TEST_F(AnswerIds, AreReadForAReply) {
  std::pair<int32_t, int32_t> ids{1, 1};
  GetFpIds(recordOf({ofType(INTERESTED_PACKET_IND), {"fpId0", 41}, {"fpId1", 0xFFFFFFFF}}), ids);
  EXPECT_EQ(ids, std::make_pair(41, -1));
  GetFpIds(recordOf({ofType(FLUSH_CMD)}), ids);
  EXPECT_EQ(ids, std::make_pair(0, 0));
  EXPECT_THAT(lines(), ElementsAre(line("DEBUG3", 362, "GetFpIds", "Returning FPIDs=41,-1"),
                                   line("DEBUG3", 362, "GetFpIds", "Returning FPIDs=0,0")));
}

TEST_F(AnswerIds, OfASmartSfpRuleAreKeptAndItsPortsReturned) {
  SrvSmartSfp::createInstance();
  EXPECT_EQ(ParseFpIdandPorts(recordOf({ofType(INTERESTED_PACKET_IND),
                                        {"portList", hex("c0000010")},
                                        {"fpId0", 77},
                                        fieldOf(SMARTSFP_PDU_CMD, {"pbmp", 0x1234})})),
            0x8000003U);
  EXPECT_EQ(SrvSmartSfp::getInstance().fpId(), 77);
  EXPECT_THAT(unnumbered(),
              ElementsAre(loggedAnywhere("INFO", "SrvSmartSfp", "setFpId", "smartSfp ID = 77"),
                          loggedAnywhere("DEBUG3", "MsgHandle", "ParseFpIdandPorts",
                                         "**** portList: 0xc0 0x00 0x00 0x10 => pbmp=0x8000003 ****")));
  EXPECT_THAT(lines()[1], ::testing::HasSubstr("MsgHandle:414 "));
}

TEST_F(AnswerIds, OfASmartSfpPduAreItsPortsAndTouchNoService) {
  EXPECT_EQ(
      ParseFpIdandPorts(recordOf(
          {ofType(SMARTSFP_PDU_CMD), fieldOf(INTERESTED_PACKET_IND, {"fpId0", 77}), {"pbmp", 0x87654321}})),
      0x87654321U);
  EXPECT_EQ(ParseFpIdandPorts(recordOf({ofType(InvalidMsgType), fieldOf(SMARTSFP_PDU_CMD, {"pbmp", 5})})),
            5U);
  EXPECT_THAT(lines(), IsEmpty()) << "a service that is missing would have been reported";
}

TEST_F(AnswerIds, NeedTheirServiceAndReportAMissingOne) {
  SrvIssMgr::getInstance();
  ASSERT_EQ(lines().size(), 1U);
  EXPECT_THAT(lines()[0], ::testing::StartsWith("[ERROR] "));
  EXPECT_THAT(lines()[0], ::testing::HasSubstr("m_pInstance"));
  EXPECT_THAT(lines()[0], ::testing::HasSubstr("static SrvIssMgr& SrvIssMgr::getInstance()"));
}

}  // namespace
