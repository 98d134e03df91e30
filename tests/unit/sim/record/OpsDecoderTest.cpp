#include "record/OpsDecoder.h"

#include <gmock/gmock.h>

#include "sim/support/Record.h"

namespace {

using ::testing::HasSubstr;

TEST(OpsDecoder, NamesTypesWithoutPayload) {
  EXPECT_EQ(sim::decodeRecord(record(0)), "InvalidMsgType [0]");
  EXPECT_EQ(sim::decodeRecord(record(2)), "TASK_INIT_STATUS [2]");
  EXPECT_EQ(sim::decodeRecord(record(3)), "RM_ACTIVE_STANDBY_READY_STATUS [3]");
  EXPECT_EQ(sim::decodeRecord(record(4)), "RM_SYNC_UP_STATUS [4]");
  EXPECT_EQ(sim::decodeRecord(record(6)), "CONFIG_STATUS [6]");
  EXPECT_EQ(sim::decodeRecord(record(9)), "MGMT_INTERFACE_MAPPING [9]");
  EXPECT_EQ(sim::decodeRecord(record(12)), "WATCH_DOG_ISS_ACTIVE [12]");
  EXPECT_EQ(sim::decodeRecord(record(13)), "WATCH_DOG_INTERVAL [13]");
  EXPECT_EQ(sim::decodeRecord(record(21)), "GET_PORT_STATUS [21]");
}

TEST(OpsDecoder, ShowsUnknownTypesInHexWithTheirPlace) {
  OtnIpcMsg msg = record(4000000000);
  msg.payload.bytes[0] = 0xAB;
  msg.payload.bytes[2] = 0x01;
  msg.payload.bytes[6407] = 0xFF;
  EXPECT_EQ(sim::decodeRecord(msg),
            "UnknownMsgType [4000000000] @4=ab0001" + std::string(6404 * 2, '0') + "ff");
  msg.payload.bytes[6407] = 0;
  EXPECT_EQ(sim::decodeRecord(msg), "UnknownMsgType [4000000000] @4=ab0001");
}

TEST(OpsDecoder, ShowsBytesThatBelongToNoField) {
  OtnIpcMsg msg = record(FLUSH_CMD);
  msg.payload.flush = {7, 2};
  msg.payload.bytes[8] = 0x5A;
  msg.reserved2[2] = 9;
  msg.isResponse = 2;
  EXPECT_EQ(sim::decodeRecord(msg),
            "FLUSH_CMD [16] vpn=7 vp=2 @12=5a" + std::string((6920 - 13) * 2, '0') + "02000009");
}

TEST(OpsDecoder, ShowsTheTrailerOfAnAnswer) {
  OtnIpcMsg msg = record(FLUSH_CMD);
  setText(msg.errorString, "No Error\r\n");
  msg.errorValue[1] = 255;
  msg.isResponse = 1;
  EXPECT_EQ(
      sim::decodeRecord(msg),
      "FLUSH_CMD [16] vpn=0 vp=0 errorString=\"No Error\\r\\n\" errorValue=0,255,0,0 status=0 isResponse=1");
}

TEST(OpsDecoder, DecodesStatusMessages) {
  OtnIpcMsg msg = record(MSR_RELOAD_STATUS);
  msg.payload.msrReload.reloadStatus = 3;
  EXPECT_EQ(sim::decodeRecord(msg), "MSR_RELOAD_STATUS [1] reloadStatus=3");

  msg = record(RM_GO_ACTIVE_STANDBY_IND);
  msg.payload.goActiveStandby = {1, 200};
  EXPECT_EQ(sim::decodeRecord(msg), "RM_GO_ACTIVE_STANDBY_IND [5] nodeType=1 statusFlag=200");

  msg = record(CPU_THRESHOLD);
  setText(msg.errorString, "tmr tsk");
  msg.errorValue[2] = 0x04;
  msg.errorValue[3] = 0xD2;
  EXPECT_EQ(sim::decodeRecord(msg), "CPU_THRESHOLD [18] threadName=\"tmr tsk\" pid=1234");

  msg = record(PORT_STATUS_CHANGE_IND);
  msg.payload.portStatus = {5, 1, 0};
  EXPECT_EQ(sim::decodeRecord(msg),
            "PORT_STATUS_CHANGE_IND [20] interfaceNum=5 adminStatus=1 operationalStatus=0");

  msg = record(REDUNDANCY_STATE);
  msg.payload.redundancy.state = 3;
  EXPECT_EQ(sim::decodeRecord(msg), "REDUNDANCY_STATE [22] state=3(ACT0)");
  msg.payload.redundancy.state = -1;
  EXPECT_EQ(sim::decodeRecord(msg), "REDUNDANCY_STATE [22] state=-1(RED?)");
}

TEST(OpsDecoder, DecodesPortMessages) {
  OtnIpcMsg msg = record(IFC_INSERT_DELETE_IND);
  msg.payload.ifc.entry = {3, 1000, 6};
  msg.payload.ifc.interfaceCount = 1;
  msg.payload.ifc.statusFlag = 2;
  EXPECT_EQ(sim::decodeRecord(msg),
            "IFC_INSERT_DELETE_IND [7] interfaceNum=3 interfaceSpeed=1000 interfaceType=6 interfaceCount=1 "
            "statusFlag=2");

  msg = record(RUN_DEFAULT_SCRIPT_COMMAND);
  setText(msg.payload.script.inputFile, "/tmp/SetVlanPort5_0");
  setText(msg.payload.script.outputFile, "/tmp/outscr.sh");
  EXPECT_EQ(sim::decodeRecord(msg),
            "RUN_DEFAULT_SCRIPT_COMMAND [8] inputFile=/tmp/SetVlanPort5_0 outputFile=/tmp/outscr.sh");

  msg = record(MGMT_INTERFACE_MAPPING_IND);
  ops::TunnelEntry& entry = msg.payload.mapping.entry;
  entry = {{1, 0, 0x5e, 0x90, 0, 0},
           {2, 3, 4, 5, 6, 0xFF},
           100,
           4005,
           0xFFFFFFFF,
           5,
           1000,
           1001,
           1500,
           1501,
           1,
           0,
           2,
           3,
           4};
  msg.payload.mapping.entryCount = 1;
  msg.payload.mapping.mapFlag = 2;
  EXPECT_EQ(sim::decodeRecord(msg),
            "MGMT_INTERFACE_MAPPING_IND [11] destinationMac=01:00:5e:90:00:00 sourceMac=02:03:04:05:06:ff "
            "acVlan=100 pwVlan=4005 acPort=4294967295 pwPort=5 peakRate=1000 committedRate=1001 "
            "outTunnelLabel=1500 inTunnelLabel=1501 tunnelId=1 vpnId=2 tunnelIndex=3 pwId=4 entryCount=1 "
            "mapFlag=2");

  msg = record(GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS);
  msg.payload.counters = {1, 2, 3, 4, 5, 6, 7, 8, 9, 4294967295};
  EXPECT_EQ(
      sim::decodeRecord(msg),
      "GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS [17] interfaceNum=1 rxOctets=2 rxUnicastPackets=3 "
      "rxDiscarded=4 rxErrors=5 rxUnknownProtocol=6 txOctets=7 txUnicastPackets=8 txDiscarded=9 "
      "txErrors=4294967295");
}

TEST(OpsDecoder, DecodesRules) {
  OtnIpcMsg msg = record(INTERESTED_PACKET_IND);
  msg.payload.rule.entries[0] = {2, {1, 0x80, 0xC2, 0, 0, 2}, {255, 255, 255, 255, 255, 255}};
  msg.payload.rule.entries[1] = {4, {0x09, 0x88}, {255, 255}};
  msg.payload.rule.portList[0] = 0xC0;
  msg.payload.rule.portList[3] = 0x10;
  msg.payload.rule.entryKind = 1;
  msg.payload.rule.encapType = 3;
  msg.payload.rule.ruleWord = 2;
  msg.payload.rule.fpId0 = 17;
  msg.payload.rule.fpId1 = 18;
  msg.payload.rule.entryCount = 2;
  msg.payload.rule.actionCode = 1;
  EXPECT_EQ(sim::decodeRecord(msg),
            "INTERESTED_PACKET_IND [10] entries=[2:0180c20000020000/ffffffffffff0000(mac=01:80:c2:00:00:02),"
            "4:0988000000000000/ffff000000000000(etherType=0x8809)] portList=c0000010(pbmp=0x8000003) "
            "entryKind=1 encapType=3 "
            "ruleWord=2 fpId0=17 fpId1=18 entryCount=2 actionCode=1");
}

TEST(OpsDecoder, ShowsFilterEntriesThatAreCountedOrFilled) {
  OtnIpcMsg msg = record(INTERESTED_PACKET_IND);
  msg.payload.rule.entryCount = 1;
  EXPECT_THAT(sim::decodeRecord(msg), HasSubstr("entries=[0:0000000000000000/0000000000000000] "));
  msg.payload.rule.entryCount = 0;
  EXPECT_THAT(sim::decodeRecord(msg), HasSubstr("entries=[] "));
  msg.payload.rule.entries[1].type = 7;
  EXPECT_THAT(sim::decodeRecord(msg), HasSubstr(",7:0000000000000000/0000000000000000(vpn=0/0x0)] "));
  msg.payload.rule.entryCount = 255;
  EXPECT_THAT(sim::decodeRecord(msg), HasSubstr("/0000000000000000] portList=00000000(pbmp=0x0) "));
}

TEST(OpsDecoder, DecodesCommands) {
  OtnIpcMsg msg = record(SYNCE_CMD);
  msg.payload.synce = {1, 2, 3, 4};
  EXPECT_EQ(sim::decodeRecord(msg), "SYNCE_CMD [14] enableClk=1 slot=2 clksrc=3 phymode=4");

  msg = record(SYNCE_PDU_CMD);
  msg.payload.syncePdu = {0x11, 0x22, 0xFFFFFFFF};
  EXPECT_EQ(sim::decodeRecord(msg), "SYNCE_PDU_CMD [15] pduWord1=0x11 pduWord2=0x22 pduWord3=0xffffffff");

  msg = record(SMARTSFP_PDU_CMD);
  msg.payload.smartSfp.pdu[0] = 1;
  msg.payload.smartSfp.pdu[2] = 0x2C;
  msg.payload.smartSfp.pbmp = 3;
  msg.payload.smartSfp.size = 64;
  EXPECT_EQ(sim::decodeRecord(msg), "SMARTSFP_PDU_CMD [19] pdu=[01002c] pbmp=0x3 size=64");

  msg = record(LLDP_TLV_INFO);
  msg.payload.lldp.chassisId = 9;
  msg.payload.lldp.mgmtIp = 0x0A000102;
  msg.payload.lldp.slotId = 65535;
  msg.payload.lldp.create = 1;
  msg.payload.lldp.actionCode = 1;
  EXPECT_EQ(sim::decodeRecord(msg),
            "LLDP_TLV_INFO [25] chassisId=9 mgmtIp=10.0.1.2 slotId=65535 create=1 actionCode=1");
}

TEST(OpsDecoder, DecodesVlanMappingsToTheirLastVlan) {
  OtnIpcMsg msg = record(MRP_VLAN_MAPPING);
  msg.payload.vlanMapping = {5, 6, 0};
  setDataVlans(msg, {100, 0, -300});
  EXPECT_EQ(sim::decodeRecord(msg), "MRP_VLAN_MAPPING [23] key=5 vpn=6 dataVlans=[100,0,-300]");
  msg = record(ETS_VLAN_MAPPING);
  EXPECT_EQ(sim::decodeRecord(msg), "ETS_VLAN_MAPPING [24] key=0 vpn=0 dataVlans=[]");
}

TEST(OpsDecoder, EndsTheVlansOfAnAnswerAtItsTrailer) {
  const OtnIpcMsg msg = answerOf(ETS_VLAN_MAPPING);
  EXPECT_EQ(
      sim::decodeRecord(msg),
      "ETS_VLAN_MAPPING [24] key=0 vpn=0 dataVlans=[] errorString=\"No Error\\r\\n\" errorValue=0,0,0,0 "
      "status=0 isResponse=1");
}

TEST(OpsDecoder, BoundsTextsWithoutTheirNul) {
  OtnIpcMsg msg = record(RUN_DEFAULT_SCRIPT_COMMAND);
  memset(msg.payload.script.inputFile, 'x', sizeof msg.payload.script.inputFile);
  EXPECT_EQ(sim::decodeRecord(msg),
            "RUN_DEFAULT_SCRIPT_COMMAND [8] inputFile=" + std::string(24, 'x') + " outputFile=\"\"");
}

TEST(OpsDecoder, ShowsPartOfARecordInHex) {
  const std::byte bytes[] = {std::byte{8}, std::byte{0}, std::byte{0xFE}};
  EXPECT_EQ(sim::decodePartialRecord(bytes), "partial record, 3 of 6924 bytes: 0800fe");
}

}  // namespace
