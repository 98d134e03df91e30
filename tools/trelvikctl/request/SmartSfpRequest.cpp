#include "request/SmartSfpRequest.h"

#include <cstdlib>

#include "PortBitmap.h"

namespace ctl {
namespace {

void addFilter(Plan& plan, uint32_t ports) {
  PlannedMessage& message = addMessage(plan, INTERESTED_PACKET_IND);
  ops::InterestedPacket& rule = message.record.payload.rule;
  rule.entries[0] = {1, {0x02, 0x7E, 0x51}, {0xFF, 0xFF, 0xFF}};
  rule.entries[1] = {4, {0xB7, 0x88}, {0xFF, 0xFF}};
  rule.entries[2] = {11, {0x02, 0x7E, 0x51, 0xF1, 0xBC}, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};
  bitmapToPortList(ports, rule.portList);
  rule.entryKind = ops::smartSfpRule;
  rule.encapType = ops::encapL2;
  rule.ruleWord = 2;
  rule.entryCount = 4;
  rule.actionCode = ops::actionCreate;
  message.filledIn = "when there is a filter: its fpId0, and actionCode ";
  message.filledIn += ports == 0 ? "2 (delete)" : "3 (modify)";
}

void addPdu(Plan& plan, const SmartSfpRequest& request) {
  ops::SmartSfpPdu& pdu = addMessage(plan, SMARTSFP_PDU_CMD).record.payload.smartSfp;
  size_t at = 0;
  for (const std::string& word : split(request.pdu, ':')) {
    if (at == sizeof pdu.pdu) break;
    pdu.pdu[at++] = static_cast<uint8_t>(strtol(word.c_str(), nullptr, 10));
  }
  pdu.pbmp = request.ports;
  pdu.size = request.size;
}

}  // namespace

Plan planOf(const SmartSfpRequest& request) {
  Plan plan{.what = request.send ? "Smart SFP PDU" : "Smart SFP filter",
            .call = {.path = "/otn/Trelvik/IssSetSmartSfpAsync",
                     .interface = "otn.OBsetSmartSfpParams_1_0",
                     .method = "setSmartSfpParams",
                     .arguments = {{"enableFilter", uint32_t{request.filter}},
                                   {"action", uint32_t{0}},
                                   {"sendOutPDU", uint32_t{request.send}},
                                   {"pbmp", request.ports},
                                   {"size", request.size},
                                   {"pdu", request.pdu}}}};
  if (request.filter) addFilter(plan, request.ports);
  if (request.send) addPdu(plan, request);
  if (plan.messages.empty()) {
    plan.whyNoAnswer = "it asks for nothing, and the daemon answers no such request";
  }
  return plan;
}

}  // namespace ctl
