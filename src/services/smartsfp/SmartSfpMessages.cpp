#include "services/smartsfp/SmartSfpMessages.h"

#include <optional>
#include <string_view>

#include "PortBitmap.h"
#include "TraceObject.h"
#include "services/pattern/FilterRule.h"
#include "services/pattern/NumberText.h"

namespace {

uint8_t ruleActionOf(const SmartSfpArguments& arguments) {
  if (arguments.fpId == 0) return ops::actionCreate;
  return arguments.pbmp == 0 ? ops::actionDelete : ops::actionModify;
}

/// Numbers with any one character between them; the first thing that is no number ends them.
void copyPdu(std::string_view text, uint8_t (&pdu)[sizeof ops::SmartSfpPdu::pdu]) {
  for (uint8_t& byte : pdu) {
    const std::optional<int32_t> value = takeNumber(text);
    if (!value) return;
    byte = static_cast<uint8_t>(*value);
    if (!text.empty()) text.remove_prefix(1);
  }
}

}  // namespace

OtnIpcMsg smartSfpRule(const SmartSfpArguments& arguments) {
  OtnIpcMsg msg = emptyRule();
  ops::InterestedPacket& rule = msg.payload.rule;
  matchBytes(rule.entries[0], 1, {0x02, 0x7E, 0x51}, {0xFF, 0xFF, 0xFF});
  matchHalfWord(rule.entries[1], 4, 0x88B7);
  matchBytes(rule.entries[2], 11, {0x02, 0x7E, 0x51, 0xF1, 0xBC}, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
  bitmapToPortList(arguments.pbmp, rule.portList);
  LOG(DEBUG3, smartSfpWorker, HERE, "L2Pbmp=0x%x => portListL2= 0x%02x 0x%02x 0x%02x 0x%02x", arguments.pbmp,
      rule.portList[0], rule.portList[1], rule.portList[2], rule.portList[3]);
  rule.entryKind = ops::smartSfpRule;
  rule.encapType = ops::encapL2;
  rule.ruleWord = 2;
  rule.fpId0 = static_cast<uint32_t>(arguments.fpId);
  rule.entryCount = 4;  // the fourth entry stays zero
  rule.actionCode = ruleActionOf(arguments);
  LOG(INFO, smartSfpWorker, HERE, "FP %d action %d", arguments.fpId, rule.actionCode);
  return msg;
}

OtnIpcMsg smartSfpPdu(const SmartSfpArguments& arguments) {
  OtnIpcMsg msg{};
  msg.msgType = SMARTSFP_PDU_CMD;
  ops::SmartSfpPdu& payload = msg.payload.smartSfp;
  copyPdu(arguments.pdu, payload.pdu);
  payload.pbmp = arguments.pbmp;
  payload.size = arguments.size;
  constexpr int sizeOfStr = 4;
  LOG(DEBUG3, smartSfpWorker, HERE, "Size of str:%d m_size:%d pbmp:%d fpId=%d", sizeOfStr,
      static_cast<int>(arguments.size), static_cast<int>(arguments.pbmp), arguments.fpId);
  return msg;
}
