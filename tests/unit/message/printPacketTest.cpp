#include <string>
#include <utility>
#include <vector>

#include "message/MsgHandle.h"
#include "support/Record.h"
#include "support/RoomTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

std::string d1(int line, const std::string& text) {
  return logged("DEBUG1", "MsgHandle", line, "printPacket", text);
}
std::string d2(int line, const std::string& text) {
  return logged("DEBUG2", "MsgHandle", line, "printPacket", text);
}

class Dump : public RoomTest {
 protected:
  std::vector<std::string> dump(const std::vector<Field>& fields) {
    forget();
    EXPECT_EQ(printPacket(recordOf(fields)), 0);
    return lines();
  }

  /// The dump at each level is the full dump without the lines that the level does not admit.
  void expectAtEachLevel(const std::vector<Field>& fields, const std::vector<std::string>& all) {
    for (const int at : {9, 8, 7, 6, 0}) {
      setLevel(at);
      std::vector<std::string> expected;
      for (const std::string& line : all)
        if (at >= (line.starts_with("[DEBUG1]") ? 7 : 8)) expected.push_back(line);
      EXPECT_THAT(dump(fields), ElementsAreArray(expected)) << "level " << at;
    }
    setLevel(9);
  }
};

const char* const noInformation = "No information about this message to print\n";

TEST_F(Dump, OfAZeroRecordShowsItsFirstHundredBytes) {
  std::vector<std::string> expected{d1(44, "Msg Type = InvalidMsgType [0]")};
  expected.insert(expected.end(), 100, d1(50, "0"));
  expected.push_back(d1(52, "\n"));
  expected.push_back(d2(130, noInformation));
  expectAtEachLevel({}, expected);
}

TEST_F(Dump, OfAZeroTypeShowsBytesInPlainHexadecimal) {
  const std::vector<std::string> shown =
      dump({octet(4, 0x0A), octet(5, 0xFF), octet(99, 0x80), octet(100, 1)});
  ASSERT_EQ(shown.size(), 103U);
  EXPECT_EQ(shown[1 + 4], d1(50, "a"));
  EXPECT_EQ(shown[1 + 5], d1(50, "ff"));
  EXPECT_EQ(shown[1 + 99], d1(50, "80"));
}

TEST_F(Dump, OfAReloadStatusIsItsTypeOnly) {
  expectAtEachLevel({ofType(MSR_RELOAD_STATUS), {"reloadStatus", 1}},
                    {d1(44, "Msg Type = MSR_RELOAD_STATUS [1]")});
}

TEST_F(Dump, OfAGoActiveStandby) {
  expectAtEachLevel({ofType(RM_GO_ACTIVE_STANDBY_IND), {"nodeType", 1}, {"statusFlag", 0}},
                    {d1(44, "Msg Type = RM_GO_ACTIVE_STANDBY_IND [5]"),
                     d2(60, "Node Type = ISS_OTN_IPC_ACTIVE\n"), d2(61, "Status Flag = OSIX_SUCCESS\n")});
  expectAtEachLevel({ofType(RM_GO_ACTIVE_STANDBY_IND), {"nodeType", 2}, {"statusFlag", 7}},
                    {d1(44, "Msg Type = RM_GO_ACTIVE_STANDBY_IND [5]"),
                     d2(60, "Node Type = ISS_OTN_IPC_STANDBY\n"), d2(61, "Status Flag = OSIX_FAILURE\n")});
}

TEST_F(Dump, OfAnInterfaceInsertion) {
  expectAtEachLevel(
      {ofType(IFC_INSERT_DELETE_IND),
       {"interfaceNum", 3},
       {"interfaceSpeed", 1000},
       {"interfaceType", 6},
       {"interfaceCount", 1},
       {"statusFlag", 1}},
      {d1(44, "Msg Type = IFC_INSERT_DELETE_IND [7]"), d2(65, "Status Flag = ISS_OTN_IFC_INSERT\n"),
       d2(68, "Interface Type = 6\n"), d2(69, "Interface Num = 3\n"), d2(70, "Interface speed = 1000\n")});
}

TEST_F(Dump, OfAnInterfaceRemovalWithoutEntriesIsItsFlag) {
  EXPECT_THAT(dump({ofType(IFC_INSERT_DELETE_IND), {"interfaceNum", 3}, {"statusFlag", 2}}),
              ElementsAre(d1(44, "Msg Type = IFC_INSERT_DELETE_IND [7]"),
                          d2(65, "Status Flag = ISS_OTN_IFC_DELETE\n")));
  EXPECT_THAT(dump({ofType(IFC_INSERT_DELETE_IND)}),
              ElementsAre(d1(44, "Msg Type = IFC_INSERT_DELETE_IND [7]"),
                          d2(65, "Status Flag = ISS_OTN_IFC_DELETE\n")));
}

TEST_F(Dump, RepeatsTheFirstInterfaceAsOftenAsCountedWithinTheList) {
  const auto shownFor = [this](uint32_t entries) {
    return (dump({ofType(IFC_INSERT_DELETE_IND), {"interfaceNum", 9}, {"interfaceCount", entries}}).size() -
            2) /
           3;
  };
  EXPECT_EQ(shownFor(2), 2U);
  EXPECT_EQ(shownFor(42), 42U);
  EXPECT_EQ(shownFor(43), 42U);
  EXPECT_EQ(shownFor(0xFFFFFFFF), 42U);
  EXPECT_EQ(lines()[2 + 3 * 41 + 1], d2(69, "Interface Num = 9\n"));
}

TEST_F(Dump, OfAScriptCommand) {
  expectAtEachLevel(
      {ofType(RUN_DEFAULT_SCRIPT_COMMAND),
       {"inputFile", "/tmp/SetVlanPort5_3"},
       {"outputFile", "/tmp/outscr.sh"}},
      {d1(44, "Msg Type = RUN_DEFAULT_SCRIPT_COMMAND [8]"),
       d2(85, "Script input file: /tmp/SetVlanPort5_3 \n"), d2(86, "Script output file: /tmp/outscr.sh \n")});
}

TEST_F(Dump, BoundsFileNamesWithoutAnEnd) {
  EXPECT_THAT(dump({ofType(RUN_DEFAULT_SCRIPT_COMMAND),
                    {"inputFile", std::string(24, 'i')},
                    {"outputFile", std::string(24, 'o')},
                    {52, "beyond"}}),
              ElementsAre(d1(44, "Msg Type = RUN_DEFAULT_SCRIPT_COMMAND [8]"),
                          d2(85, "Script input file: " + std::string(24, 'i') + " \n"),
                          d2(86, "Script output file: " + std::string(24, 'o') + " \n")));
}

TEST_F(Dump, OfARule) {
  expectAtEachLevel({ofType(INTERESTED_PACKET_IND), {"entryKind", 3}},
                    {d1(44, "Msg Type = INTERESTED_PACKET_IND [10]"),
                     d2(90, "No special treatment for ISS_OTN_IPC_INTERESTED_PACKET_IND\n")});
}

const std::vector<Field> tunnel{ofType(MGMT_INTERFACE_MAPPING_IND),
                                {"acVlan", 100},
                                {"pwVlan", 4005},
                                {"pwPort", 5},
                                {"outTunnelLabel", 1500},
                                {"inTunnelLabel", 1501},
                                {"tunnelId", 7},
                                {"vpnId", 8},
                                {"pwId", 9}};

TEST_F(Dump, RepeatsTheFirstTunnelAsOftenAsCounted) {
  std::vector<Field> fields = tunnel;
  fields.push_back({"entryCount", 3});
  fields.push_back({"mapFlag", 1});
  std::vector<std::string> expected{d1(44, "Msg Type = MGMT_INTERFACE_MAPPING_IND [11]"),
                                    d2(75, "Status Flag = ISS_OTN_MAP_MGMT_INTERFACE\n")};
  for (int i = 0; i < 3; ++i) {
    expected.push_back(d2(78, "PwVlan = 4005\nPwPort = 5\nAcVlan = 100\nAcPort = 24\n"));
    expected.push_back(d2(79, "InTunnelLabel = 1501\nOutTunnelLabel = 1500\n "));
    expected.push_back(d2(80, "TunnelId = 7\nVpnId = 8\nPwId = 9\n "));
  }
  expectAtEachLevel(fields, expected);
}

TEST_F(Dump, OfAnUnmapping) {
  EXPECT_THAT(dump({ofType(MGMT_INTERFACE_MAPPING_IND), {"mapFlag", 2}}),
              ElementsAre(d1(44, "Msg Type = MGMT_INTERFACE_MAPPING_IND [11]"),
                          d2(75, "Status Flag = ISS_OTN_UNMAP_MGMT_INTERFACE\n")));
}

TEST_F(Dump, ShowsNoMoreTunnelsThanTheTableHolds) {
  const auto shownFor = [this](uint32_t entries) {
    return (dump({ofType(MGMT_INTERFACE_MAPPING_IND), {"entryCount", entries}}).size() - 2) / 3;
  };
  EXPECT_EQ(shownFor(100), 100U);
  EXPECT_EQ(shownFor(101), 100U);
  EXPECT_EQ(shownFor(0xFFFFFFFF), 100U);
}

TEST_F(Dump, LosesNoTimeOnACountWhoseLinesAreNotWritten) {
  setLevel(7);
  // Were it to loop, these would take far longer than any limit of a test.
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(dump({ofType(IFC_INSERT_DELETE_IND), {"interfaceCount", 0xFFFFFFFF}}).size(), 1U);
    EXPECT_EQ(dump({ofType(MGMT_INTERFACE_MAPPING_IND), {"entryCount", 0xFFFFFFFF}}).size(), 1U);
  }
}

TEST_F(Dump, OfCounters) {
  expectAtEachLevel(
      {ofType(GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS),
       {"interfaceNum", 3},
       {"rxOctets", 11},
       {"rxUnicastPackets", 12},
       {"rxDiscarded", 13},
       {"rxErrors", 14},
       {"rxUnknownProtocol", 15},
       {"txOctets", 16},
       {"txUnicastPackets", 17},
       {"txDiscarded", 18},
       {"txErrors", 0xFFFFFFFF}},
      {d1(44, "Msg Type = GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS [17]"),
       d2(94, "interface number: 3\n"), d2(95, "\r\nReception Counters\r\n"),
       d2(96, "   Octets                    : 11\r\n"), d2(97, "   Unicast Packets           : 12\r\n"),
       d2(98, "   Discarded Packets         : 13\r\n"), d2(99, "   Error Packets             : 14\r\n"),
       d2(100, "   Unknown Protocol          : 15\r\n"), d2(101, "\r\nTransmission Counters\r\n"),
       d2(102, "   Octets                    : 16\r\n"), d2(103, "   Unicast Packets           : 17\r\n"),
       d2(104, "   Discarded Packets         : 18\r\n"),
       d2(105, "   Error Packets             : 4294967295")});
}

TEST_F(Dump, OfACpuThreshold) {
  expectAtEachLevel(
      {ofType(CPU_THRESHOLD), {"threadName", "SpanTask"}, {"pid", std::string("\x00\x00\x04\xD2", 4)}},
      {d1(44, "Msg Type = CPU_THRESHOLD [18]"), d2(114, "Thread name : SpanTask\n"),
       d2(115, "Thread pid  : 1234\n")});
  EXPECT_EQ(dump({ofType(CPU_THRESHOLD), {"pid", "\xFF\x01\x02\x03"}}).back(),
            d2(115, "Thread pid  : 4278256131\n"));
}

TEST_F(Dump, BoundsAThreadNameWithoutAnEnd) {
  EXPECT_EQ(dump({ofType(CPU_THRESHOLD), {"threadName", std::string(500, 'n')}, {"pid", "AAAA"}})[1],
            d2(114, "Thread name : " + std::string(500, 'n') + "\n"));
}

TEST_F(Dump, OfAPortStatusChange) {
  expectAtEachLevel(
      {ofType(PORT_STATUS_CHANGE_IND), {"interfaceNum", 26}, {"adminStatus", 1}, {"operationalStatus", 200}},
      {d1(44, "Msg Type = PORT_STATUS_CHANGE_IND [20]"), d2(120, "Interface number: 26\n"),
       d2(121, "Port administrative status: 1\n"), d2(122, "Port operational status   : 200\n")});
}

TEST_F(Dump, OfARedundancyState) {
  const auto named = [this](uint32_t state) {
    return dump({ofType(REDUNDANCY_STATE), {"state", state}}).back();
  };
  EXPECT_EQ(dump({ofType(REDUNDANCY_STATE), {"state", 3}})[0], d1(44, "Msg Type = REDUNDANCY_STATE [22]"));
  const char* const names[] = {"INV",  "BTG",  "ACT",  "ACT0", "ACT1", "ACT2", "ACT3", "PAS0",
                               "PAS1", "PAS2", "STB3", "FAIL", "NIS",  "DEF",  "SWO"};
  for (uint32_t state = 0; state < 15; ++state) {
    EXPECT_EQ(named(state),
              d2(126, std::string("Redundancy State received from OPS: ") + names[state] + "\n"));
  }
  for (const uint32_t state : {15U, 0x80000000U, 0xFFFFFFFFU})
    EXPECT_EQ(named(state), d2(126, "Redundancy State received from OPS: RED?\n"));
}

TEST_F(Dump, OfEveryOtherTypeSaysThatThereIsNoInformation) {
  for (const uint32_t type : {2U, 3U, 4U, 6U, 9U, 12U, 13U, 14U, 15U, 16U, 19U, 21U, 23U, 24U, 25U}) {
    EXPECT_THAT(dump({ofType(type)}),
                ElementsAre(d1(44, std::string("Msg Type = ") + OtnIpcMsgTypeStrings[type] + " [" +
                                       std::to_string(type) + "]"),
                            d2(130, noInformation)));
  }
}

TEST_F(Dump, ShowsTheNumberOfAnUnknownType) {
  for (const uint32_t type : {26U, 1000U}) {
    const std::vector<std::string> shown = dump({ofType(type)});
    ASSERT_EQ(shown.size(), 2U);
    EXPECT_THAT(shown[0], ::testing::EndsWith(" [" + std::to_string(type) + "]"));
    EXPECT_EQ(shown[1], d2(130, noInformation));
  }
  EXPECT_EQ(dump({ofType(0xFFFFFFFF)}).size(), 2U);
}

TEST_F(Dump, EndsWithTheTrailerOfAnAnswer) {
  expectAtEachLevel(
      {ofType(FLUSH_CMD),
       {"errorString", "No Error\r\n"},
       {"errorValue", "\x01\xFF\x03\x04"},
       {"isResponse", 1}},
      {d1(44, "Msg Type = FLUSH_CMD [16]"), d2(130, noInformation),
       d1(135, "Response error string = No Error\r\n"), d1(139, "Response error value = 1 255 3 4\n"),
       d1(140, "Response status = OSIX_SUCCESS\n")});
  EXPECT_EQ(dump({ofType(FLUSH_CMD), {"status", 9}, {"isResponse", 1}}).back(),
            d1(140, "Response status = OSIX_FAILURE\n"));
}

TEST_F(Dump, ShowsATrailerForTheResponseByteOneOnly) {
  for (const uint32_t response : {0U, 2U, 0x81U, 255U})
    EXPECT_EQ(dump({ofType(FLUSH_CMD), {"errorString", "text"}, {"isResponse", response}}).size(), 2U);
}

TEST_F(Dump, BoundsAnErrorTextWithoutAnEnd) {
  EXPECT_EQ(dump({ofType(FLUSH_CMD),
                  {"errorString", std::string(500, 'E')},
                  {"errorValue", "AAAA"},
                  {"isResponse", 1}})[2],
            d1(135, "Response error string = " + std::string(500, 'E')));
}

TEST_F(Dump, NeedsATraceObject) {
  TraceObject* const before = std::exchange(g_traceObject, nullptr);
  EXPECT_EQ(printPacket(recordOf({ofType(MGMT_INTERFACE_MAPPING_IND), {"entryCount", 3}})), 0);
  g_traceObject = before;
  EXPECT_THAT(lines(), IsEmpty());
}

}  // namespace
