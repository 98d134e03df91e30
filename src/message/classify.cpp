#include <cstring>

#include "TraceObject.h"
#include "message/MsgHandle.h"

namespace {

constexpr LogPlace atIsCreateMgmtTunnelPacket{"MsgHandle", "IsCreateMgmtTunnelPacket"};
constexpr LogPlace atMSRReloadFailed{"MsgHandle", "MSRReloadFailed"};

}  // namespace

int CopyPacket(OtnIpcMsg& destination, const uint8_t* source) {
  memcpy(&destination, source, sizeof destination);
  return 0;
}

bool IsOpsReadyPacket(const OtnIpcMsg& msg) {
  return msg.msgType == TASK_INIT_STATUS;
}

bool IsMsrReloadStatusPacket(const OtnIpcMsg& msg) {
  return msg.msgType == MSR_RELOAD_STATUS;
}

bool IsAlivePacket(const OtnIpcMsg& msg) {
  return msg.msgType == WATCH_DOG_ISS_ACTIVE || msg.msgType == WATCH_DOG_INTERVAL;
}

bool IsCpuThresholdPacket(const OtnIpcMsg& msg) {
  return msg.msgType == CPU_THRESHOLD;
}

bool IsPortStatusChangePacket(const OtnIpcMsg& msg) {
  return msg.msgType == PORT_STATUS_CHANGE_IND;
}

bool IsReplyPacket(const OtnIpcMsg& msg) {
  switch (msg.msgType) {
    case IFC_INSERT_DELETE_IND:
    case RUN_DEFAULT_SCRIPT_COMMAND:
    case MGMT_INTERFACE_MAPPING:
    case INTERESTED_PACKET_IND:
    case MGMT_INTERFACE_MAPPING_IND:
    case SYNCE_CMD:
    case SYNCE_PDU_CMD:
    case FLUSH_CMD:
    case GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS:
    case SMARTSFP_PDU_CMD:
    case REDUNDANCY_STATE:
    case MRP_VLAN_MAPPING:
    case ETS_VLAN_MAPPING:
    case LLDP_TLV_INFO:
      return true;
    default:
      return false;
  }
}

bool IsOpsError(const OtnIpcMsg& msg) {
  return fieldText(msg.errorString) != ops::noError;
}

bool IsDefaultScriptPacket(const OtnIpcMsg& msg) {
  return msg.msgType == RUN_DEFAULT_SCRIPT_COMMAND &&
         fieldText(msg.payload.script.inputFile) == defaultScript;
}

bool IsCreateMgmtTunnelPacket(const OtnIpcMsg& msg) {
  if (msg.msgType != MGMT_INTERFACE_MAPPING_IND ||
      msg.payload.mapping.mapFlag != ops::MgmtInterfaceMapping::map) {
    return false;
  }
  LOG(DEBUG3, atIsCreateMgmtTunnelPacket, 242, "IsCreateMgmtTunnelPacket");
  return true;
}

bool IsEtsFpIdPacket(const OtnIpcMsg& msg) {
  return msg.msgType == INTERESTED_PACKET_IND && msg.payload.rule.entryKind == ops::etsRule;
}

bool IsMstFpIdPacket(const OtnIpcMsg& msg) {
  return msg.msgType == INTERESTED_PACKET_IND && msg.payload.rule.entryKind == ops::mstpRule;
}

bool MSRReloadFailed(const OtnIpcMsg& msg) {
  const uint8_t flag = msg.payload.msrReload.reloadStatus;
  LOG(DEBUG1, atMSRReloadFailed, 210, "MSR Reload status flag = %d", flag);
  return flag != 0;
}

std::string_view GetThreadName(const OtnIpcMsg& msg) {
  return IsCpuThresholdPacket(msg) ? fieldText(msg.errorString) : std::string_view("unknown");
}
