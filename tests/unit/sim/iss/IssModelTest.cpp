#include "iss/IssModel.h"

#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sim/support/Record.h"
#include "sim/support/TemporaryDirectory.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::SizeIs;

OtnIpcMsg rule(ops::ActionCode action, uint32_t kind, uint32_t encap, uint32_t fpId0 = 0,
               uint32_t fpId1 = 0) {
  OtnIpcMsg msg = record(INTERESTED_PACKET_IND);
  msg.payload.rule.actionCode = action;
  msg.payload.rule.entryKind = kind;
  msg.payload.rule.encapType = encap;
  msg.payload.rule.fpId0 = fpId0;
  msg.payload.rule.fpId1 = fpId1;
  msg.payload.rule.entryCount = 3;
  return msg;
}

OtnIpcMsg mapping(uint8_t flag, uint32_t port) {
  OtnIpcMsg msg = record(MGMT_INTERFACE_MAPPING_IND);
  msg.payload.mapping.entry.pwPort = port;
  msg.payload.mapping.entryCount = 1;
  msg.payload.mapping.mapFlag = flag;
  return msg;
}

class IssModel : public ::testing::Test {
 protected:
  /// The answer; its trailer is checked against the error text ("No Error\r\n" for success) and the error
  /// values.
  OtnIpcMsg answer(const OtnIpcMsg& request, std::string_view error = ops::noError,
                   const std::array<uint8_t, 4>& values = {}) {
    const OtnIpcMsg msg = m_model.answer(request, m_notes);
    EXPECT_EQ(fieldText(msg.errorString), error);
    EXPECT_THAT(msg.errorValue, ElementsAreArray(values));
    EXPECT_EQ(msg.status, error == ops::noError ? 0 : 1);
    EXPECT_EQ(msg.isResponse, 1);
    return msg;
  }

  sim::IssModel m_model;
  std::string m_notes;
};

TEST_F(IssModel, GivesACreatedEntryItsIds) {
  OtnIpcMsg request = rule(ops::actionCreate, ops::mstpRule, ops::encapL2);
  request.payload.rule.portList[0] = 0x80;
  OtnIpcMsg msg = answer(request);
  EXPECT_EQ(msg.msgType, INTERESTED_PACKET_IND);
  EXPECT_EQ(msg.payload.rule.fpId0, 1U);
  EXPECT_EQ(msg.payload.rule.fpId1, 0U);
  EXPECT_EQ(msg.payload.rule.actionCode, 1);
  EXPECT_EQ(msg.payload.rule.portList[0], 0x80);
  EXPECT_EQ(m_model.forwardingEntries().at(1).portList[0], 0x80);

  msg = answer(rule(ops::actionCreate, ops::etsRule, ops::encapMpls));
  EXPECT_EQ(msg.payload.rule.fpId0, 2U);
  EXPECT_EQ(msg.payload.rule.fpId1, 3U);
}

TEST_F(IssModel, ModifiesAndDeletesAnEntryItKnows) {
  answer(rule(ops::actionCreate, ops::smartSfpRule, ops::encapL2));
  OtnIpcMsg request = rule(ops::actionModify, ops::smartSfpRule, ops::encapL2, 1);
  request.payload.rule.portList[0] = 0xC0;
  EXPECT_EQ(answer(request).payload.rule.fpId0, 1U);
  EXPECT_EQ(m_model.forwardingEntries().at(1).portList[0], 0xC0);

  const OtnIpcMsg msg = answer(rule(ops::actionDelete, ops::smartSfpRule, ops::encapL2, 1));
  EXPECT_EQ(msg.payload.rule.fpId0, 0U);
  EXPECT_EQ(msg.payload.rule.actionCode, ops::actionDelete);
  EXPECT_THAT(m_model.forwardingEntries(), IsEmpty());
  answer(rule(ops::actionDelete, ops::smartSfpRule, ops::encapL2, 1), "Unknown forwarding entry\r\n",
         {3, 4, 0, 0});
}

TEST_F(IssModel, RefusesEntriesItDoesNotKnow) {
  answer(rule(ops::actionCreate, ops::etsRule, ops::encapMpls));
  const char* unknown = "Unknown forwarding entry\r\n";
  answer(rule(ops::actionModify, ops::etsRule, ops::encapMpls, 9), unknown, {3, 4, 0, 0});
  answer(rule(ops::actionDelete, ops::etsRule, ops::encapMpls, 0), unknown, {3, 4, 0, 0});
  answer(rule(ops::actionDelete, ops::mstpRule, ops::encapMpls, 1), unknown, {3, 4, 0, 0});
  answer(rule(ops::actionDelete, ops::etsRule, ops::encapMpls, 1, 9), unknown, {3, 4, 0, 0});
  EXPECT_THAT(m_model.forwardingEntries(), SizeIs(1));
  answer(rule(ops::actionDelete, ops::etsRule, ops::encapMpls, 1, 2));
}

TEST_F(IssModel, RefusesRulesOutOfRange) {
  OtnIpcMsg request = rule(ops::actionCreate, ops::mrpRule, ops::encapL2);
  request.payload.rule.entryCount = 11;
  answer(request, "Too many filter entries\r\n", {3, 3, 0, 0});
  request.payload.rule.entryCount = 10;
  request.payload.rule.actionCode = 4;
  answer(request, "Unknown action code\r\n", {3, 3, 0, 0});
  EXPECT_THAT(m_model.forwardingEntries(), IsEmpty());
  answer(rule(ops::actionNone, ops::mrpRule, ops::encapL2));
  EXPECT_THAT(m_model.forwardingEntries(), IsEmpty());
}

TEST_F(IssModel, ForgetsTheOldestEntryWhenFull) {
  const OtnIpcMsg request = rule(ops::actionCreate, ops::etsRule, ops::encapL2);
  for (size_t i = 0; i <= sim::IssModel::maxForwardingEntries; ++i) m_model.answer(request, m_notes);
  EXPECT_THAT(m_model.forwardingEntries(), SizeIs(sim::IssModel::maxForwardingEntries));
  answer(rule(ops::actionDelete, ops::etsRule, ops::encapL2, 1), "Unknown forwarding entry\r\n",
         {3, 4, 0, 0});
  answer(rule(ops::actionDelete, ops::etsRule, ops::encapL2, 2));
}

TEST_F(IssModel, GivesATunnelItsIdsAndTakesThemBack) {
  const OtnIpcMsg mapped = answer(mapping(ops::MgmtInterfaceMapping::map, 5));
  EXPECT_EQ(mapped.payload.mapping.entry.tunnelId, 1005U);
  EXPECT_EQ(mapped.payload.mapping.entry.vpnId, 2005U);
  EXPECT_EQ(mapped.payload.mapping.entry.tunnelIndex, 3005U);
  EXPECT_EQ(mapped.payload.mapping.entry.pwId, 4005U);
  EXPECT_THAT(m_model.tunnels(), SizeIs(1));

  OtnIpcMsg unmap = mapped;
  unmap.payload.mapping.mapFlag = ops::MgmtInterfaceMapping::unmap;
  unmap.payload.mapping.entry.pwId = 1;
  answer(unmap, "Unknown tunnel ids\r\n", {4, 4, 0, 0});
  unmap.payload.mapping.entry.pwId = 4005;
  answer(unmap);
  EXPECT_THAT(m_model.tunnels(), IsEmpty());
  answer(unmap, "Port is not mapped\r\n", {4, 4, 0, 0});
}

TEST_F(IssModel, RefusesTunnelsOfNoPort) {
  answer(mapping(ops::MgmtInterfaceMapping::unmap, 5), "Port is not mapped\r\n", {4, 4, 0, 0});
  answer(mapping(ops::MgmtInterfaceMapping::map, 0), "Unknown port\r\n", {4, 3, 0, 0});
  answer(mapping(ops::MgmtInterfaceMapping::map, 29), "Unknown port\r\n", {4, 3, 0, 0});
  OtnIpcMsg empty = mapping(ops::MgmtInterfaceMapping::map, 5);
  empty.payload.mapping.entryCount = 0;
  answer(empty, "No tunnel entry\r\n", {4, 3, 0, 0});
  answer(mapping(ops::MgmtInterfaceMapping::map, 28));
}

TEST_F(IssModel, KeepsInterfaces) {
  OtnIpcMsg request = record(IFC_INSERT_DELETE_IND);
  request.payload.ifc.entry = {3, 1000, 6};
  request.payload.ifc.interfaceCount = 1;
  request.payload.ifc.statusFlag = ops::IfcInsertDelete::insert;
  answer(request);
  EXPECT_EQ(m_model.interfaces().at(3).interfaceSpeed, 1000U);
  request.payload.ifc.statusFlag = ops::IfcInsertDelete::remove;
  answer(request);
  EXPECT_THAT(m_model.interfaces(), IsEmpty());
}

TEST_F(IssModel, BoundsItsTables) {
  OtnIpcMsg ifc = record(IFC_INSERT_DELETE_IND);
  ifc.payload.ifc.statusFlag = ops::IfcInsertDelete::insert;
  OtnIpcMsg vlans = record(ETS_VLAN_MAPPING);
  for (uint32_t key = 0; key < sim::IssModel::maxKeys; ++key) {
    ifc.payload.ifc.entry.interfaceNum = key;
    vlans.payload.vlanMapping.key = key;
    m_model.answer(ifc, m_notes);
    m_model.answer(vlans, m_notes);
  }
  answer(ifc);
  answer(vlans);
  ifc.payload.ifc.entry.interfaceNum = sim::IssModel::maxKeys;
  vlans.payload.vlanMapping.key = sim::IssModel::maxKeys;
  answer(ifc, "Interface table is full\r\n", {5, 6, 0, 0});
  answer(vlans, "VLAN mapping table is full\r\n", {6, 6, 0, 0});
}

TEST_F(IssModel, KeepsVlanMappingsByKind) {
  OtnIpcMsg request = record(ETS_VLAN_MAPPING);
  request.payload.vlanMapping = {5, 6, 0};
  setDataVlans(request, {100, 200});
  answer(request);
  EXPECT_THAT(m_model.etsVlans().at(5).dataVlans, ElementsAre(100, 200));
  EXPECT_EQ(m_model.etsVlans().at(5).vpn, 6U);
  request.msgType = MRP_VLAN_MAPPING;
  request.payload.vlanMapping.key = 9;
  answer(request);
  EXPECT_THAT(m_model.mrpVlans().at(9).dataVlans, ElementsAre(100, 200));
  EXPECT_THAT(m_model.etsVlans(), SizeIs(1));
}

TEST_F(IssModel, TakesAFullVlanMapping) {
  OtnIpcMsg request = record(MRP_VLAN_MAPPING);
  memset(&request.payload.vlanMapping.firstDataVlan, 0x01, sizeof request - 12);
  answer(request);
  EXPECT_THAT(m_model.mrpVlans().at(0).dataVlans, SizeIs(ops::VlanMapping::maxDataVlans));
}

TEST_F(IssModel, KeepsWhatIsSet) {
  OtnIpcMsg request = record(SYNCE_CMD);
  request.payload.synce = {1, 2, 3, 4};
  EXPECT_EQ(answer(request).payload.synce.phymode, 4U);
  EXPECT_EQ(m_model.synce()->clksrc, 3U);

  request = record(SYNCE_PDU_CMD);
  request.payload.syncePdu = {5, 6, 7};
  EXPECT_EQ(answer(request).payload.syncePdu.pduWord3, 7U);
  EXPECT_EQ(m_model.syncePdu()->pduWord1, 5U);

  answer(record(FLUSH_CMD));
  EXPECT_EQ(m_model.flushes().at({0, 0}), 1U);

  request = record(SMARTSFP_PDU_CMD);
  request.payload.smartSfp.pdu[1] = 0x2C;
  request.payload.smartSfp.pbmp = 3;
  EXPECT_EQ(answer(request).payload.smartSfp.pbmp, 3U);
  EXPECT_EQ(m_model.smartSfpPdu()->pdu[1], 0x2C);

  request = record(REDUNDANCY_STATE);
  request.payload.redundancy.state = -1;
  EXPECT_EQ(answer(request).payload.redundancy.state, -1);
  EXPECT_EQ(m_model.redundancyState(), -1);

  request = record(LLDP_TLV_INFO);
  request.payload.lldp.chassisId = 9;
  request.payload.lldp.actionCode = ops::actionCreate;
  answer(request);
  EXPECT_EQ(m_model.lldp()->chassisId, 9U);
  request.payload.lldp.actionCode = ops::actionDelete;
  answer(request);
  EXPECT_FALSE(m_model.lldp().has_value());
}

TEST_F(IssModel, CountsOn) {
  OtnIpcMsg request = record(GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS);
  request.payload.counters.interfaceNum = 4;
  const ops::Counters first = answer(request).payload.counters;
  const ops::Counters second = answer(request).payload.counters;
  EXPECT_EQ(second.interfaceNum, 4U);
  EXPECT_GT(first.rxOctets, 0U);
  EXPECT_GT(second.rxOctets, first.rxOctets);
  EXPECT_GT(second.txUnicastPackets, first.txUnicastPackets);
  EXPECT_EQ(m_model.counters().at(4).rxOctets, second.rxOctets);
  m_model.setPortOper(4, false);
  EXPECT_EQ(answer(request).payload.counters.rxOctets, second.rxOctets);
  request.payload.counters.interfaceNum = 100;
  EXPECT_GT(answer(request).payload.counters.rxOctets, 0U);
}

TEST_F(IssModel, CountsFlushesByTheirPlace) {
  OtnIpcMsg request = record(FLUSH_CMD);
  request.payload.flush = {7, 2};
  answer(request);
  answer(request);
  answer(record(FLUSH_CMD));
  EXPECT_EQ(m_model.flushes().at({7, 2}), 2U);
  EXPECT_EQ(m_model.flushes().at({0, 0}), 1U);
}

OtnIpcMsg script(const std::string& input, const std::string& output) {
  OtnIpcMsg msg = record(RUN_DEFAULT_SCRIPT_COMMAND);
  setText(msg.payload.script.inputFile, input);
  setText(msg.payload.script.outputFile, output);
  return msg;
}

TEST_F(IssModel, RunsAScriptAndWritesItsOutput) {
  const TemporaryDirectory directory;
  const OtnIpcMsg msg =
      answer(script(directory.write("in", "configure terminal\nend\n"), directory.path("out")));
  EXPECT_EQ(fieldText(msg.payload.script.inputFile), directory.path("in"));
  EXPECT_EQ(directory.read("out"), "iss# configure terminal\niss(config)# end\n");
  EXPECT_EQ(m_notes, "");
  EXPECT_THAT(m_model.takeReports(), IsEmpty());
}

TEST_F(IssModel, TellsWhereAScriptIsRefusedInItsOutputAndItsAnswer) {
  const TemporaryDirectory directory;
  std::string text;
  for (int i = 0; i < 299; ++i) text += "!\n";
  answer(script(directory.write("in", text + "vlan 7\n"), directory.path("out")),
         "Script line 300: \"vlan 7\": not a command of exec mode\r\n", {2, 2, 1, 44});
  EXPECT_THAT(directory.read("out"),
              EndsWith("iss# vlan 7\n% line 300: \"vlan 7\": not a command of exec mode\n"));
}

TEST_F(IssModel, ReportsThePortsThatAScriptTakesDownAndUp) {
  const TemporaryDirectory directory;
  const std::string path = directory.write(
      "in", "configure terminal\ninterface extreme-ethernet 0/1\nshutdown\nshutdown\nno shutdown\nend\n");
  answer(script(path, ""));
  const std::vector<OtnIpcMsg> reports = m_model.takeReports();
  ASSERT_THAT(reports, SizeIs(2));
  EXPECT_EQ(reports[0].msgType, PORT_STATUS_CHANGE_IND);
  EXPECT_EQ(reports[0].payload.portStatus.interfaceNum, 25U);
  EXPECT_EQ(reports[0].payload.portStatus.adminStatus, 0);
  EXPECT_EQ(reports[0].payload.portStatus.operationalStatus, 0);
  EXPECT_EQ(reports[1].payload.portStatus.adminStatus, 1);
  EXPECT_EQ(reports[1].payload.portStatus.operationalStatus, 1);
  EXPECT_EQ(reports[1].isResponse, 0);
  EXPECT_THAT(m_model.takeReports(), IsEmpty());
}

TEST_F(IssModel, KnowsWhetherALinkChangesAPort) {
  EXPECT_TRUE(m_model.setPortOper(5, false));
  EXPECT_FALSE(m_model.setPortOper(5, false));
  const OtnIpcMsg report = m_model.portReport(5);
  EXPECT_EQ(report.payload.portStatus.interfaceNum, 5U);
  EXPECT_EQ(report.payload.portStatus.adminStatus, 1);
  EXPECT_EQ(report.payload.portStatus.operationalStatus, 0);
  EXPECT_TRUE(m_model.setPortOper(5, true));
  EXPECT_EQ(m_model.portReport(5).payload.portStatus.operationalStatus, 1);
  EXPECT_FALSE(m_model.setPortOper(0, false));
  EXPECT_FALSE(m_model.setPortOper(29, false));
  EXPECT_EQ(m_model.portReport(29).payload.portStatus.interfaceNum, 29U);
}

TEST_F(IssModel, CannotBringUpAPortThatIsShutDown) {
  const TemporaryDirectory directory;
  answer(script(directory.write("in", "configure terminal\ninterface gigabitethernet 0/5\nshutdown\nend\n"),
                ""));
  EXPECT_FALSE(m_model.setPortOper(5, false));
  EXPECT_FALSE(m_model.setPortOper(5, true));
}

TEST_F(IssModel, RefusesABadScript) {
  const TemporaryDirectory directory;
  answer(script(directory.write("in", "configure terminal\nfoo\n"), directory.path("out")),
         "Script line 2: foo: unknown command\r\n", {2, 1, 0, 2});
  answer(script(directory.path("missing"), directory.path("out")), "Unable to open script file\r\n",
         {2, 4, 0, 0});
}

TEST_F(IssModel, ReportsAnOutputThatCannotBeWritten) {
  const TemporaryDirectory directory;
  answer(script(directory.write("in", "configure terminal\nend\n"), directory.path("no/out")));
  EXPECT_EQ(m_notes, "cannot write " + directory.path("no/out") + ": No such file or directory");
}

/// For a process of its own: hides the machine's /etc. The number of the step that failed, 0 for none.
int runDefaultScript() {
  if (unshare((geteuid() == 0 ? 0 : CLONE_NEWUSER) | CLONE_NEWNS) != 0 ||
      mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", "/etc", "tmpfs", 0, nullptr) != 0 || mkdir("/etc/iss", 0755) != 0) {
    return 1;
  }
  sim::IssModel model;
  std::string notes;
  const OtnIpcMsg request = script("/etc/iss/bh_default.txt", "outscr.sh");
  if (fieldText(model.answer(request, notes).errorString) != "Unable to open script file\r\n") return 2;
  std::ofstream("/etc/iss/bh_default.txt") << "anything at all";
  if (fieldText(model.answer(request, notes).errorString) != ops::noError) return 3;
  return 0;
}

TEST_F(IssModel, RunsItsDefaultScriptWhateverItHolds) {
  const pid_t child = fork();
  if (child == 0) _exit(runDefaultScript());
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << "step " << WEXITSTATUS(status);
}

TEST_F(IssModel, AnswersAZeroedRecordAsAScriptThatFailed) {
  const OtnIpcMsg msg = answer(OtnIpcMsg{}, "Unable to open script file\r\n", {2, 4, 0, 0});
  EXPECT_EQ(msg.msgType, RUN_DEFAULT_SCRIPT_COMMAND);
}

TEST_F(IssModel, AnswersWhatItDoesNotKnowWithAnError) {
  for (const uint32_t type : {1U, 2U, 3U, 4U, 5U, 6U, 9U, 12U, 13U, 18U, 20U, 21U, 26U, 0xFFFFFFFFU}) {
    EXPECT_EQ(answer(record(type), "Unsupported request\r\n", {1, 1, 0, 0}).msgType, type);
  }
}

TEST_F(IssModel, ClearsTheTrailerOfARequest) {
  OtnIpcMsg request = record(FLUSH_CMD);
  memset(request.errorString, 'x', sizeof request - offsetof(OtnIpcMsg, errorString));
  const OtnIpcMsg msg = answer(request);
  EXPECT_THAT(msg.reserved1, ElementsAre(0, 0, 0));
  EXPECT_THAT(msg.reserved2, ElementsAre(0, 0, 0));
}

}  // namespace
