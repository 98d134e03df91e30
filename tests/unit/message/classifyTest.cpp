#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>

#include "message/MsgHandle.h"
#include "support/Record.h"
#include "support/RoomTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::set<uint32_t> typesFor(const std::function<bool(const OtnIpcMsg&)>& predicate) {
  std::set<uint32_t> types;
  for (uint32_t type = 0; type <= 26; ++type)
    if (predicate(recordOf({ofType(type)}))) types.insert(type);
  for (const uint32_t type : {255U, 256U, 0x80000000U, 0xFFFFFFFFU})
    if (predicate(recordOf({ofType(type)}))) types.insert(type);
  return types;
}

TEST(Classification, OfEachTypeByEachPredicate) {
  using Types = std::set<uint32_t>;
  EXPECT_EQ(typesFor(IsOpsReadyPacket), Types({2}));
  EXPECT_EQ(typesFor(IsMsrReloadStatusPacket), Types({1}));
  EXPECT_EQ(typesFor(IsAlivePacket), Types({12, 13}));
  EXPECT_EQ(typesFor(IsCpuThresholdPacket), Types({18}));
  EXPECT_EQ(typesFor(IsPortStatusChangePacket), Types({20}));
  EXPECT_EQ(typesFor(IsReplyPacket), Types({7, 8, 9, 10, 11, 14, 15, 16, 17, 19, 22, 23, 24, 25}));
}

TEST(Classification, NamesEveryType) {
  const char* const names[] = {"InvalidMsgType",
                               "MSR_RELOAD_STATUS",
                               "TASK_INIT_STATUS",
                               "RM_ACTIVE_STANDBY_READY_STATUS",
                               "RM_SYNC_UP_STATUS",
                               "RM_GO_ACTIVE_STANDBY_IND",
                               "CONFIG_STATUS",
                               "IFC_INSERT_DELETE_IND",
                               "RUN_DEFAULT_SCRIPT_COMMAND",
                               "MGMT_INTERFACE_MAPPING",
                               "INTERESTED_PACKET_IND",
                               "MGMT_INTERFACE_MAPPING_IND",
                               "WATCH_DOG_ISS_ACTIVE",
                               "WATCH_DOG_INTERVAL",
                               "SYNCE_CMD",
                               "SYNCE_PDU_CMD",
                               "FLUSH_CMD",
                               "GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS",
                               "CPU_THRESHOLD",
                               "SMARTSFP_PDU_CMD",
                               "PORT_STATUS_CHANGE_IND",
                               "GET_PORT_STATUS",
                               "REDUNDANCY_STATE",
                               "MRP_VLAN_MAPPING",
                               "ETS_VLAN_MAPPING",
                               "LLDP_TLV_INFO"};
  for (uint32_t type = 0; type < 26; ++type) EXPECT_STREQ(OtnIpcMsgTypeStrings[type], names[type]);
  EXPECT_STREQ(msgTypeName(25), "LLDP_TLV_INFO");
  EXPECT_STREQ(msgTypeName(26), "UnknownMsgType");
  EXPECT_STREQ(msgTypeName(0xFFFFFFFF), "UnknownMsgType");
}

TEST(CopyPacket, CopiesTheWholeRecord) {
  std::string bytes(6924, '\0');
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 31 + i / 256);
  OtnIpcMsg msg{};
  EXPECT_EQ(CopyPacket(msg, reinterpret_cast<const uint8_t*>(bytes.data())), 0);
  EXPECT_EQ(bytesOf(msg), bytes);
}

TEST(OpsError, IsEveryTextButTheOneForSuccess) {
  EXPECT_FALSE(IsOpsError(recordOf({{"errorString", "No Error\r\n"}})));
  EXPECT_FALSE(IsOpsError(recordOf({{"errorString", std::string("No Error\r\n\0rest", 15)}})));
  for (const char* text : {"", "No Error", "No Error\r", "No Error\n", "No Error\r\n ", " No Error\r\n",
                           "no error\r\n", "No Error\n\r", "Failed\r\n"}) {
    EXPECT_TRUE(IsOpsError(recordOf({{"errorString", text}}))) << text;
  }
}

TEST(OpsError, OfATextWithoutAnEndIsOne) {
  EXPECT_TRUE(
      IsOpsError(recordOf({{"errorString", std::string(500, 'E')}, {"errorValue", std::string(4, '\xFF')}})));
  EXPECT_TRUE(IsOpsError(recordOf({{"errorString", "No Error\r\n" + std::string(490, 'E')}})));
}

TEST(ThreadName, IsTheTextOfACpuThresholdMessageOnly) {
  EXPECT_EQ(GetThreadName(recordOf({ofType(CPU_THRESHOLD), {"threadName", "SpanTask"}})), "SpanTask");
  EXPECT_EQ(GetThreadName(recordOf({ofType(CPU_THRESHOLD)})), "");
  for (const uint32_t type : {0U, 17U, 19U, 26U})
    EXPECT_EQ(GetThreadName(recordOf({ofType(type), {"errorString", "SpanTask"}})), "unknown");
  EXPECT_EQ(GetThreadName(recordOf(
                {ofType(CPU_THRESHOLD), {"threadName", std::string(500, 'n')}, {"pid", 0x41414141}})),
            std::string(500, 'n'));
}

class AnswerKind : public RoomTest {};

TEST_F(AnswerKind, OfAReloadStatusIsItsFlag) {
  EXPECT_FALSE(MSRReloadFailed(recordOf({ofType(MSR_RELOAD_STATUS), octet(13, 9), octet(15, 9)})));
  EXPECT_TRUE(MSRReloadFailed(recordOf({ofType(MSR_RELOAD_STATUS), {"reloadStatus", 1}})));
  EXPECT_TRUE(MSRReloadFailed(recordOf({ofType(MSR_RELOAD_STATUS), {"reloadStatus", 200}})));
  EXPECT_THAT(
      lines(),
      ElementsAre(logged("DEBUG1", "MsgHandle", 210, "MSRReloadFailed", "MSR Reload status flag = 0"),
                  logged("DEBUG1", "MsgHandle", 210, "MSRReloadFailed", "MSR Reload status flag = 1"),
                  logged("DEBUG1", "MsgHandle", 210, "MSRReloadFailed", "MSR Reload status flag = 200")));
}

TEST_F(AnswerKind, IsATunnelsCreationOnlyWithTypeAndFlag) {
  EXPECT_FALSE(IsCreateMgmtTunnelPacket(recordOf({ofType(MGMT_INTERFACE_MAPPING_IND), {"mapFlag", 2}})));
  EXPECT_FALSE(IsCreateMgmtTunnelPacket(recordOf({ofType(MGMT_INTERFACE_MAPPING_IND)})));
  EXPECT_FALSE(IsCreateMgmtTunnelPacket(
      recordOf({ofType(MGMT_INTERFACE_MAPPING), fieldOf(MGMT_INTERFACE_MAPPING_IND, {"mapFlag", 1})})));
  EXPECT_THAT(lines(), IsEmpty());
  EXPECT_TRUE(IsCreateMgmtTunnelPacket(recordOf({ofType(MGMT_INTERFACE_MAPPING_IND), {"mapFlag", 1}})));
  EXPECT_THAT(lines(), ElementsAre(logged("DEBUG3", "MsgHandle", 242, "IsCreateMgmtTunnelPacket",
                                          "IsCreateMgmtTunnelPacket")));
}

TEST_F(AnswerKind, OfARuleIsItsEntryKind) {
  for (uint32_t kind = 0; kind <= 6; ++kind) {
    EXPECT_EQ(IsEtsFpIdPacket(recordOf({ofType(INTERESTED_PACKET_IND), {"entryKind", kind}})), kind == 3);
    EXPECT_EQ(IsMstFpIdPacket(recordOf({ofType(INTERESTED_PACKET_IND), {"entryKind", kind}})), kind == 2);
    EXPECT_FALSE(IsEtsFpIdPacket(
        recordOf({ofType(MGMT_INTERFACE_MAPPING_IND), fieldOf(INTERESTED_PACKET_IND, {"entryKind", kind})})));
    EXPECT_FALSE(
        IsMstFpIdPacket(recordOf({ofType(FLUSH_CMD), fieldOf(INTERESTED_PACKET_IND, {"entryKind", kind})})));
  }
  EXPECT_FALSE(IsEtsFpIdPacket(recordOf({ofType(INTERESTED_PACKET_IND), {"entryKind", 0x103}})));
}

TEST_F(AnswerKind, IsTheDefaultScriptsOnlyForItsExactPath) {
  EXPECT_TRUE(IsDefaultScriptPacket(
      recordOf({ofType(RUN_DEFAULT_SCRIPT_COMMAND), {"inputFile", "/etc/iss/bh_default.txt"}})));
  EXPECT_TRUE(IsDefaultScriptPacket(recordOf({ofType(RUN_DEFAULT_SCRIPT_COMMAND),
                                              {"inputFile", "/etc/iss/bh_default.txt"},
                                              {"outputFile", "another.sh"}})));
  EXPECT_FALSE(IsDefaultScriptPacket(
      recordOf({ofType(RUN_DEFAULT_SCRIPT_COMMAND), {"inputFile", "/tmp/SetVlanPort5_0"}})));
  EXPECT_FALSE(IsDefaultScriptPacket(recordOf({ofType(RUN_DEFAULT_SCRIPT_COMMAND)})));
  EXPECT_FALSE(IsDefaultScriptPacket(
      recordOf({ofType(RUN_DEFAULT_SCRIPT_COMMAND), {"inputFile", "/etc/iss/bh_default.tx"}})));
  EXPECT_FALSE(IsDefaultScriptPacket(
      recordOf({ofType(RUN_DEFAULT_SCRIPT_COMMAND), {"inputFile", "/etc/iss/bh_default.txtx"}})));
  EXPECT_FALSE(IsDefaultScriptPacket(
      recordOf({ofType(IFC_INSERT_DELETE_IND),
                fieldOf(RUN_DEFAULT_SCRIPT_COMMAND, {"inputFile", "/etc/iss/bh_default.txt"})})));
}

}  // namespace
