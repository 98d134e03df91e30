#include "services/synce/SyncEMessages.h"

#include "PortBitmap.h"
#include "services/pattern/FilterRule.h"

OtnIpcMsg esmcTrapRule() {
  constexpr uint32_t allPorts = 0xFFFFFFF0;  // port word of front ports 1..28
  constexpr uint16_t slowProtocols = 0x8809;
  OtnIpcMsg msg = emptyRule();
  ops::InterestedPacket& rule = msg.payload.rule;
  matchMac(rule.entries[0], 2, {0x01, 0x80, 0xC2, 0x00, 0x00, 0x02});
  matchHalfWord(rule.entries[1], 4, slowProtocols);
  matchMac(rule.entries[2], 11, {0x0A, 0x00, 0x19, 0xA7, 0x00, 0x01});
  storePortWord(allPorts, rule.portList);
  rule.entryKind = ops::synceRule;
  rule.encapType = ops::encapL2;
  rule.ruleWord = 2;
  rule.entryCount = 3;
  rule.actionCode = ops::actionCreate;
  return msg;
}

OtnIpcMsg syncECommand(const SyncEArguments& arguments) {
  OtnIpcMsg msg{};
  msg.msgType = SYNCE_CMD;
  msg.payload.synce = {arguments.enableClk, arguments.slot, arguments.clksrc, arguments.phymode};
  return msg;
}

OtnIpcMsg syncEPdu(const SyncEArguments& arguments) {
  OtnIpcMsg msg{};
  msg.msgType = SYNCE_PDU_CMD;
  msg.payload.syncePdu = {arguments.pduWord1, arguments.pduWord2, arguments.pduWord3};
  return msg;
}
