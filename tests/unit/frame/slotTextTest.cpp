#include "frame/slotText.h"

#include <gtest/gtest.h>

#include <string>

#include "link/MsgArray.h"

namespace {

std::string text(const MsgArrayEntry& slot) {
  return slotText(slot).text;
}

MsgArrayEntry slotOf(MsgSource source, uint32_t type, int msgNo = 1, int msgCount = 1) {
  MsgArrayEntry slot{};
  slot.source = source;
  slot.msg.msgType = type;
  slot.msgNo = msgNo;
  slot.msgCount = msgCount;
  return slot;
}

TEST(SlotText, NamesPortAndAction) {
  MsgArrayEntry slot = slotOf(MsgSource::PortParams, 8, 1, 2);
  slot.arguments.portNr = 5;
  slot.arguments.action = 1;
  EXPECT_EQ(
      text(slot),
      "IssSetLanWanAsync (source 1) message 1 of 2, RUN_DEFAULT_SCRIPT_COMMAND [8], port 5, set up [1]");
  const char* const names[] = {"unknown action", "set up",      "release",       "probe",
                               "detach",         "acknowledge", "unknown action"};
  for (uint32_t action = 0; action <= 6; ++action) {
    slot.arguments.action = action;
    EXPECT_TRUE(text(slot).ends_with(", " + std::string(names[action]) + " [" + std::to_string(action) + "]"))
        << text(slot);
  }
}

TEST(SlotText, TellsTheCountersFromThePortsThoughTheyShareASource) {
  int service = 0;
  MsgArrayEntry slot = slotOf(MsgSource::PortParams, 17);
  slot.countersService = reinterpret_cast<SrvGetIssParams*>(&service);
  slot.msg.payload.counters.interfaceNum = 7;
  EXPECT_EQ(text(slot),
            "IssGetParams (source 1) message 1 of 1, GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS [17], "
            "interface 7");
}

TEST(SlotText, NamesTheMainArgumentsOfEachService) {
  MsgArrayEntry slot = slotOf(MsgSource::SyncE, 15, 3, 3);
  slot.arguments.enableFilter = 2;
  slot.arguments.slot = 4;
  slot.arguments.enableClk = 1;
  slot.arguments.sendPdu = 6;
  EXPECT_EQ(
      text(slot),
      "IssSetSyncEAsync (source 3) message 3 of 3, SYNCE_PDU_CMD [15], enableFilter 2, slot 4, enableClk "
      "1, sendPdu 6");

  slot = slotOf(MsgSource::IssMgr, 10, 1, 2);
  slot.arguments.ruleType = 1;
  slot.arguments.action = 0;
  slot.arguments.vpn = 12;
  slot.arguments.vlan = 34;
  EXPECT_EQ(
      text(slot),
      "IssSetIssMgrAsync (source 4) message 1 of 2, INTERESTED_PACKET_IND [10], MST_TOPO_LAN [1], CREATE "
      "[0], vpn 12, vlan 34");

  slot = slotOf(MsgSource::SmartSfp, 19, 2, 2);
  slot.arguments.enableFilter = 1;
  slot.arguments.action = 3;
  slot.arguments.sendOutPDU = 1;
  slot.arguments.pbmp = 0x8000004;
  EXPECT_EQ(text(slot),
            "IssSetSmartSfpAsync (source 5) message 2 of 2, SMARTSFP_PDU_CMD [19], enableFilter 1, action 3, "
            "sendOutPDU 1, pbmp 0x8000004");

  slot = slotOf(MsgSource::Redundancy, 22);
  slot.redundancyState = 2;
  EXPECT_EQ(text(slot),
            "redundant_state_signal (source 6) message 1 of 1, REDUNDANCY_STATE [22], state ACT [2]");
}

TEST(SlotText, NamesADebugMessageByItsTypeOnly) {
  EXPECT_EQ(text(slotOf(MsgSource::Debug, 99)),
            "debug socket (source 2) message 1 of 1, UnknownMsgType [99]");
}

TEST(SlotText, NamesNoOriginOfASlotThatIsFree) {
  EXPECT_EQ(text(slotOf(MsgSource::None, 99)), "unknown (source 0) message 1 of 1, UnknownMsgType [99]");
  EXPECT_TRUE(text(slotOf(static_cast<MsgSource>(77), 99)).starts_with("unknown (source 77) "));
}

TEST(SlotText, HasRoomForTheLongestNames) {
  MsgArrayEntry slot = slotOf(MsgSource::IssMgr, 17, -2147483647, -2147483647);
  slot.arguments.ruleType = 0xFFFFFFFF;
  slot.arguments.action = 0xFFFFFFFF;
  slot.arguments.vpn = 0xFFFFFFFF;
  slot.arguments.vlan = 0xFFFFFFFF;
  EXPECT_LT(text(slot).size(), SlotText::size - 1) << "nothing was cut";
  EXPECT_TRUE(text(slot).ends_with(", vlan 4294967295"));
}

}  // namespace
