#include "control/Show.h"

#include <gmock/gmock.h>

#include "control/ShowRequest.h"
#include "sim/support/Record.h"
#include "sim/support/TemporaryDirectory.h"

namespace {

using ::testing::HasSubstr;

class Show : public ::testing::Test {
 protected:
  void tell(const OtnIpcMsg& request) {
    std::string notes;
    EXPECT_EQ(fieldText(m_model.answer(request, notes).errorString), ops::noError);
  }
  void runScript(const std::string& text) {
    OtnIpcMsg request = record(RUN_DEFAULT_SCRIPT_COMMAND);
    setText(request.payload.script.inputFile, m_directory.write("in", text));
    tell(request);
  }
  std::string text(std::string_view subject) { return sim::toText(*sim::show(subject, m_model, m_counts)); }
  std::string json(std::string_view subject) { return sim::toJson(*sim::show(subject, m_model, m_counts)); }

  TemporaryDirectory m_directory;
  sim::IssModel m_model;
  std::map<uint32_t, sim::MessageCount> m_counts;
};

TEST_F(Show, KnowsItsSubjects) {
  EXPECT_FALSE(sim::show("", m_model, m_counts).has_value());
  EXPECT_FALSE(sim::show("nonsense", m_model, m_counts).has_value());
  for (const char* subject : {"vlans", "ports", "interfaces", "tunnels", "rules", "synce", "lldp", "smartsfp",
                              "redundancy", "counters", "messages"}) {
    const std::optional<sim::View> view = sim::show(subject, m_model, m_counts);
    ASSERT_TRUE(view.has_value()) << subject;
    EXPECT_THAT(sim::showSubjects, HasSubstr(subject));
    for (const sim::Table& table : *view) {
      EXPECT_FALSE(table.columns.empty()) << subject;
      for (const auto& row : table.rows) EXPECT_EQ(row.size(), table.columns.size()) << subject;
    }
  }
}

TEST_F(Show, Vlans) {
  runScript(
      "configure terminal\nvlan 7\nports gigabitethernet 0/5 untagged gigabitethernet 0/5\n"
      "ports extreme-ethernet 0/4\nend\n");
  OtnIpcMsg mapping = record(MRP_VLAN_MAPPING);
  mapping.payload.vlanMapping = {5, 6, 100};
  tell(mapping);
  const std::string shown = text("vlans");
  EXPECT_THAT(shown, HasSubstr("\n   7  5,28 "));
  EXPECT_THAT(shown, HasSubstr("\nmappings:\nkind  key  vpn  dataVlans\nMRP     5    6  100\n"));
  EXPECT_THAT(json("vlans"), HasSubstr(R"({"vlan": 7, "members": [5,28], "untagged": [5]})"));
}

TEST_F(Show, Ports) {
  runScript(
      "configure terminal\nvlan 7\nports extreme-ethernet 0/1\nend\nconfigure terminal\n"
      "interface extreme-ethernet 0/1\nshutdown\nmtu 9000\nswitchport pvid 7\nend\n");
  m_model.setPortOper(1, false);
  const std::string shown = json("ports");
  EXPECT_THAT(shown, HasSubstr(R"({"port": 1, "name": "gigabitethernet 0/1", "admin": "up", "oper": "down", )"
                               R"("mtu": 1500, "pvid": 1, "vlans": [1]})"));
  EXPECT_THAT(shown, HasSubstr(R"({"port": 25, "name": "extreme-ethernet 0/1", "admin": "down", )"
                               R"("oper": "down", "mtu": 9000, "pvid": 7, "vlans": [1,7]})"));
}

TEST_F(Show, Interfaces) {
  OtnIpcMsg request = record(IFC_INSERT_DELETE_IND);
  request.payload.ifc.entry = {3, 1000, 6};
  request.payload.ifc.statusFlag = ops::IfcInsertDelete::insert;
  tell(request);
  runScript(
      "configure terminal\ninterface vlan 7\nshutdown\nend\nconfigure terminal\n"
      "snmpset mib name ifMainRowStatus.42 value 5\nsnmpset mib name ifMainType.42 value 136\n"
      "snmpset mib name ifAlias.42 value 76:20:61\nsnmpset mib name ifMainRowStatus.42 value 1\n"
      "snmpset mib name ifStackStatus.42.42 value 5\nend\n");
  EXPECT_EQ(text("interfaces"),
            "interfaces:\n"
            "interfaceNum  interfaceSpeed  interfaceType\n"
            "           3            1000              6\n"
            "\n"
            "vlanInterfaces:\n"
            "vlan  admin\n"
            "   7  down\n"
            "\n"
            "rows:\n"
            "index  status  type  admin  alias  ipAddrAllocMethod  ipDestMacAddress\n"
            "   42  active   136  down   \"v_a\"                  0  -\n"
            "\n"
            "stack:\n"
            "higher  lower  status\n"
            "    42     42  notInService\n");
}

TEST_F(Show, Tunnels) {
  OtnIpcMsg request = record(MGMT_INTERFACE_MAPPING_IND);
  request.payload.mapping.entry.pwPort = 5;
  request.payload.mapping.entry.pwVlan = 4005;
  request.payload.mapping.entryCount = 1;
  request.payload.mapping.mapFlag = ops::MgmtInterfaceMapping::map;
  tell(request);
  EXPECT_THAT(json("tunnels"),
              HasSubstr(R"({"tunnels": [{"pwPort": 5, "tunnelId": 1005, "vpnId": 2005, "tunnelIndex": 3005, )"
                        R"("pwId": 4005, "acVlan": 0, "pwVlan": 4005, )"));
  EXPECT_THAT(json("tunnels"), HasSubstr(R"("destinationMac": "00:00:00:00:00:00")"));
}

TEST_F(Show, RulesByTheirKind) {
  OtnIpcMsg request = record(INTERESTED_PACKET_IND);
  request.payload.rule.actionCode = ops::actionCreate;
  request.payload.rule.entryKind = ops::synceRule;
  request.payload.rule.portList[0] = 0x80;
  tell(request);
  request.payload.rule.entryKind = ops::smartSfpRule;
  tell(request);
  OtnIpcMsg flush = record(FLUSH_CMD);
  flush.payload.flush = {7, 2};
  tell(flush);
  const char* header =
      "fpId0  fpId1  entryKind  encapType  ruleWord  entryCount  portList            entries\n";
  const std::string synce =
      "    1      0          1          0         0           0  80000000(pbmp=0x1)  []\n";
  const std::string smartSfp =
      "    2      0          4          0         0           0  80000000(pbmp=0x1)  []\n";
  EXPECT_EQ(text("rules"), std::string("rules:\n") + header + synce + smartSfp +
                               "\nflushes:\nvpn  vp  count\n  7   2      1\n");
  EXPECT_EQ(text("synce"), std::string("clock:\n(none)\n\npdu:\n(none)\n\nfilters:\n") + header + synce);
  EXPECT_EQ(text("smartsfp"), std::string("filters:\n") + header + smartSfp + "\npdu:\n(none)\n");
}

TEST_F(Show, WhatWasSetLast) {
  OtnIpcMsg request = record(SYNCE_CMD);
  request.payload.synce = {1, 2, 3, 4};
  tell(request);
  EXPECT_THAT(text("synce"),
              HasSubstr("clock:\nenableClk  slot  clksrc  phymode\n        1     2       3        4\n"));
  request = record(LLDP_TLV_INFO);
  request.payload.lldp.chassisId = 9;
  request.payload.lldp.mgmtIp = 0x0A000001;
  request.payload.lldp.actionCode = ops::actionCreate;
  tell(request);
  EXPECT_EQ(json("lldp"),
            "{\"lldp\": [{\"chassisId\": 9, \"mgmtIp\": \"10.0.0.1\", \"slotId\": 0, \"create\": 0}]}\n");
  request = record(SMARTSFP_PDU_CMD);
  request.payload.smartSfp.pdu[0] = 0xAB;
  request.payload.smartSfp.pbmp = 3;
  request.payload.smartSfp.size = 1;
  tell(request);
  EXPECT_THAT(text("smartsfp"), HasSubstr("pdu:\npbmp  size  pdu\n0x3      1  [ab]\n"));
  EXPECT_EQ(text("redundancy"), "(none)\n");
  request = record(REDUNDANCY_STATE);
  request.payload.redundancy.state = 2;
  tell(request);
  EXPECT_EQ(text("redundancy"), "state  name\n    2  ACT\n");
}

TEST_F(Show, Counters) {
  OtnIpcMsg request = record(GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS);
  request.payload.counters.interfaceNum = 4;
  tell(request);
  EXPECT_THAT(json("counters"), HasSubstr(R"({"counters": [{"interfaceNum": 4, "rxOctets": 53248, )"));
  EXPECT_EQ(json("counters"), json("counters"));
}

TEST_F(Show, Messages) {
  using std::chrono::microseconds;
  m_counts[TASK_INIT_STATUS].sent = 1;
  m_counts[FLUSH_CMD] = {3, 2, 1, 0, 4, 2, microseconds(500), microseconds(1500), microseconds(2000)};
  m_counts[77].received = 1;
  EXPECT_EQ(text("messages"),
            "type  name              received  answered  refused  sent  dropped  leastMs  meanMs  mostMs\n"
            "   2  TASK_INIT_STATUS         0         0        0     1        0        -       -       -\n"
            "  16  FLUSH_CMD                3         2        1     0        4    0.500   1.000   1.500\n"
            "  77  UnknownMsgType           1         0        0     0        0        -       -       -\n");
  EXPECT_THAT(json("messages"), HasSubstr(R"("leastMs": null)"));
}

}  // namespace
