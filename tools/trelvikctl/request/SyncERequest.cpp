#include "request/SyncERequest.h"

namespace ctl {
namespace {

void addFilter(Plan& plan) {
  ops::InterestedPacket& rule = addMessage(plan, INTERESTED_PACKET_IND).record.payload.rule;
  rule.entries[0] = {2, {0x01, 0x80, 0xC2, 0x00, 0x00, 0x02}, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};
  rule.entries[1] = {4, {0x09, 0x88}, {0xFF, 0xFF}};
  rule.entries[2] = {11, {0x0A, 0x00, 0x19, 0xA7, 0x00, 0x01}, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};
  constexpr uint8_t allPorts[4] = {0xFF, 0xFF, 0xFF, 0xF0};
  memcpy(rule.portList, allPorts, sizeof allPorts);
  rule.entryKind = ops::synceRule;
  rule.encapType = ops::encapL2;
  rule.ruleWord = 2;
  rule.entryCount = 3;
  rule.actionCode = ops::actionCreate;
}

}  // namespace

Plan planOf(const SyncERequest& request) {
  const uint32_t filter = request.filter ? 2 : 0;
  const std::vector<uint32_t>& words = request.pduWords;
  Plan plan{.what = "SyncE request",
            .call = {.path = "/otn/Trelvik/IssSetSyncEAsync",
                     .interface = "otn.OBsetSyncEParams_1_0",
                     .method = "setSyncEParam",
                     .arguments = {{"enableFilter", filter},
                                   {"slot", request.slot},
                                   {"enableClk", request.enableClock},
                                   {"clksrc", request.clockSource},
                                   {"phymode", request.phyMode},
                                   {"sendPdu", uint32_t{request.sendPdu}},
                                   {"pduWord1", words[0]},
                                   {"pduWord2", words[1]},
                                   {"pduWord3", words[2]}}}};
  if (request.filter) addFilter(plan);
  if (request.enableClock != 0) {
    addMessage(plan, SYNCE_CMD).record.payload.synce = {request.enableClock, request.slot,
                                                        request.clockSource, request.phyMode};
  }
  if (request.sendPdu) {
    addMessage(plan, SYNCE_PDU_CMD).record.payload.syncePdu = {words[0], words[1], words[2]};
  }
  if (plan.messages.empty()) {
    plan.whyNoAnswer = "it asks for nothing, and the daemon answers no such request";
  }
  return plan;
}

}  // namespace ctl
