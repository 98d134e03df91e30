#include "frame/slotText.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "RedundancyState.h"
#include "link/MsgArray.h"
#include "services/ports/SrvIss.h"
#include "services/rules/IssMgrRules.h"

namespace {

__attribute__((format(printf, 2, 3))) void append(SlotText& line, const char* format, ...) {
  const size_t used = strlen(line.text);
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(line.text + used, SlotText::size - used, format, arguments);
  va_end(arguments);
}

/// The name under which callers know where the request came in.
const char* originOf(const MsgArrayEntry& slot) {
  switch (slot.source) {
    case MsgSource::PortParams:
      return slot.countersService != nullptr ? "IssGetParams" : "IssSetLanWanAsync";
    case MsgSource::Debug:
      return "debug socket";
    case MsgSource::SyncE:
      return "IssSetSyncEAsync";
    case MsgSource::IssMgr:
      return "IssSetIssMgrAsync";
    case MsgSource::SmartSfp:
      return "IssSetSmartSfpAsync";
    case MsgSource::Redundancy:
      return "redundant_state_signal";
    case MsgSource::None:
      break;
  }
  return "unknown";
}

const char* portActionName(uint32_t action) {
  switch (static_cast<PortAction>(action)) {
    case PortAction::SetUp:
      return "set up";
    case PortAction::Release:
      return "release";
    case PortAction::Probe:
      return "probe";
    case PortAction::Detach:
      return "detach";
    case PortAction::Acknowledge:
      return "acknowledge";
  }
  return "unknown action";
}

void appendArguments(SlotText& line, const MsgArrayEntry& slot) {
  const SavedArguments& saved = slot.arguments;
  switch (slot.source) {
    case MsgSource::PortParams:
      if (slot.countersService != nullptr) {
        append(line, ", interface %u", slot.msg.payload.counters.interfaceNum);
      } else {
        append(line, ", port %u, %s [%u]", saved.portNr, portActionName(saved.action), saved.action);
      }
      break;
    case MsgSource::SyncE:
      append(line, ", enableFilter %u, slot %u, enableClk %u, sendPdu %u", saved.enableFilter, saved.slot,
             saved.enableClk, saved.sendPdu);
      break;
    case MsgSource::IssMgr:
      append(line, ", %s [%u], %s [%u], vpn %u, vlan %u", ruleTypeName(saved.ruleType), saved.ruleType,
             ruleActionName(saved.action), saved.action, saved.vpn, saved.vlan);
      break;
    case MsgSource::SmartSfp:
      append(line, ", enableFilter %u, action %u, sendOutPDU %u, pbmp 0x%x", saved.enableFilter, saved.action,
             saved.sendOutPDU, saved.pbmp);
      break;
    case MsgSource::Redundancy:
      append(line, ", state %s [%d]", redundancyStateName(slot.redundancyState), slot.redundancyState);
      break;
    case MsgSource::Debug:
    case MsgSource::None:
      break;
  }
}

}  // namespace

SlotText slotText(const MsgArrayEntry& slot) {
  SlotText line{};
  append(line, "%s (source %d) message %d of %d, %s [%u]", originOf(slot), static_cast<int>(slot.source),
         slot.msgNo, slot.msgCount, msgTypeName(slot.msg.msgType), slot.msg.msgType);
  appendArguments(line, slot);
  return line;
}
