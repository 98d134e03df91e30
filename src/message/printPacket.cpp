#include <algorithm>

#include "RedundancyState.h"
#include "TraceObject.h"
#include "message/MsgHandle.h"

namespace {

constexpr LogPlace atPrintPacket{"MsgHandle", "printPacket"};

constexpr size_t zeroRecordDump = 100;  ///< bytes shown of a record of type 0

const char* osix(uint8_t status) {
  return status == 0 ? "OSIX_SUCCESS" : "OSIX_FAILURE";
}

/// A field's text for "%.*s": the field may lack its NUL.
template <size_t N>
int textLength(const char (&field)[N]) {
  return static_cast<int>(fieldText(field).size());
}

/// How many entries a counted table shows: a count that no table can hold must not keep the main thread busy,
/// nor any count when its lines are not written.
uint32_t shownEntries(uint32_t count, uint32_t capacity) {
  return trace::admits(g_traceObject, trace::DEBUG2) ? std::min(count, capacity) : 0;
}

void printFirstBytes(const OtnIpcMsg& msg) {
  if (!trace::admits(g_traceObject, trace::DEBUG1)) return;
  const auto* bytes = reinterpret_cast<const uint8_t*>(&msg);
  for (size_t i = 0; i < zeroRecordDump; ++i) LOG(DEBUG1, atPrintPacket, 50, "%x", bytes[i]);
  LOG(DEBUG1, atPrintPacket, 52, "\n");
}

// OPS counts entries, but only the first is known to this program: it is shown once per counted entry.
void printInterfaces(const ops::IfcInsertDelete& ifc) {
  LOG(DEBUG2, atPrintPacket, 65, "Status Flag = %s\n",
      ifc.statusFlag == ops::IfcInsertDelete::insert ? "ISS_OTN_IFC_INSERT" : "ISS_OTN_IFC_DELETE");
  const uint32_t shown = shownEntries(ifc.interfaceCount, ops::IfcInsertDelete::maxEntries);
  for (uint32_t i = 0; i < shown; ++i) {
    LOG(DEBUG2, atPrintPacket, 68, "Interface Type = %d\n", static_cast<int>(ifc.entry.interfaceType));
    LOG(DEBUG2, atPrintPacket, 69, "Interface Num = %d\n", static_cast<int>(ifc.entry.interfaceNum));
    LOG(DEBUG2, atPrintPacket, 70, "Interface speed = %d\n", static_cast<int>(ifc.entry.interfaceSpeed));
  }
}

void printTunnels(const ops::MgmtInterfaceMapping& mapping) {
  LOG(DEBUG2, atPrintPacket, 75, "Status Flag = %s\n",
      mapping.mapFlag == ops::MgmtInterfaceMapping::map ? "ISS_OTN_MAP_MGMT_INTERFACE"
                                                        : "ISS_OTN_UNMAP_MGMT_INTERFACE");
  const ops::TunnelEntry& entry = mapping.entry;
  const uint32_t shown = shownEntries(mapping.entryCount, ops::MgmtInterfaceMapping::maxEntries);
  for (uint32_t i = 0; i < shown; ++i) {
    LOG(DEBUG2, atPrintPacket, 78, "PwVlan = %d\nPwPort = %d\nAcVlan = %d\nAcPort = 24\n",
        static_cast<int>(entry.pwVlan), static_cast<int>(entry.pwPort), static_cast<int>(entry.acVlan));
    LOG(DEBUG2, atPrintPacket, 79, "InTunnelLabel = %d\nOutTunnelLabel = %d\n ",
        static_cast<int>(entry.inTunnelLabel), static_cast<int>(entry.outTunnelLabel));
    LOG(DEBUG2, atPrintPacket, 80, "TunnelId = %d\nVpnId = %d\nPwId = %d\n ",
        static_cast<int>(entry.tunnelId), static_cast<int>(entry.vpnId), static_cast<int>(entry.pwId));
  }
}

void printCounters(const ops::Counters& counters) {
  LOG(DEBUG2, atPrintPacket, 94, "interface number: %d\n", static_cast<int>(counters.interfaceNum));
  LOG(DEBUG2, atPrintPacket, 95, "\r\nReception Counters\r\n");
  LOG(DEBUG2, atPrintPacket, 96, "   Octets                    : %u\r\n", counters.rxOctets);
  LOG(DEBUG2, atPrintPacket, 97, "   Unicast Packets           : %u\r\n", counters.rxUnicastPackets);
  LOG(DEBUG2, atPrintPacket, 98, "   Discarded Packets         : %u\r\n", counters.rxDiscarded);
  LOG(DEBUG2, atPrintPacket, 99, "   Error Packets             : %u\r\n", counters.rxErrors);
  LOG(DEBUG2, atPrintPacket, 100, "   Unknown Protocol          : %u\r\n", counters.rxUnknownProtocol);
  LOG(DEBUG2, atPrintPacket, 101, "\r\nTransmission Counters\r\n");
  LOG(DEBUG2, atPrintPacket, 102, "   Octets                    : %u\r\n", counters.txOctets);
  LOG(DEBUG2, atPrintPacket, 103, "   Unicast Packets           : %u\r\n", counters.txUnicastPackets);
  LOG(DEBUG2, atPrintPacket, 104, "   Discarded Packets         : %u\r\n", counters.txDiscarded);
  LOG(DEBUG2, atPrintPacket, 105, "   Error Packets             : %u", counters.txErrors);
}

void printCpuThreshold(const OtnIpcMsg& msg) {
  const uint8_t(&pid)[4] = msg.errorValue;
  LOG(DEBUG2, atPrintPacket, 114, "Thread name : %.*s\n", textLength(msg.errorString), msg.errorString);
  LOG(DEBUG2, atPrintPacket, 115, "Thread pid  : %u\n",
      (uint32_t{pid[0]} << 24) | (uint32_t{pid[1]} << 16) | (uint32_t{pid[2]} << 8) | uint32_t{pid[3]});
}

void printPayload(const OtnIpcMsg& msg) {
  const ops::Payload& payload = msg.payload;
  switch (msg.msgType) {
    case MSR_RELOAD_STATUS:  // its flag is logged where it is tested
      break;
    case RM_GO_ACTIVE_STANDBY_IND:
      LOG(DEBUG2, atPrintPacket, 60, "Node Type = %s\n",
          payload.goActiveStandby.nodeType == 1 ? "ISS_OTN_IPC_ACTIVE" : "ISS_OTN_IPC_STANDBY");
      LOG(DEBUG2, atPrintPacket, 61, "Status Flag = %s\n", osix(payload.goActiveStandby.statusFlag));
      break;
    case IFC_INSERT_DELETE_IND:
      printInterfaces(payload.ifc);
      break;
    case RUN_DEFAULT_SCRIPT_COMMAND:
      LOG(DEBUG2, atPrintPacket, 85, "Script input file: %.*s \n", textLength(payload.script.inputFile),
          payload.script.inputFile);
      LOG(DEBUG2, atPrintPacket, 86, "Script output file: %.*s \n", textLength(payload.script.outputFile),
          payload.script.outputFile);
      break;
    case INTERESTED_PACKET_IND:
      LOG(DEBUG2, atPrintPacket, 90, "No special treatment for ISS_OTN_IPC_INTERESTED_PACKET_IND\n");
      break;
    case MGMT_INTERFACE_MAPPING_IND:
      printTunnels(payload.mapping);
      break;
    case GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS:
      printCounters(payload.counters);
      break;
    case CPU_THRESHOLD:
      printCpuThreshold(msg);
      break;
    case PORT_STATUS_CHANGE_IND:
      LOG(DEBUG2, atPrintPacket, 120, "Interface number: %d\n",
          static_cast<int>(payload.portStatus.interfaceNum));
      LOG(DEBUG2, atPrintPacket, 121, "Port administrative status: %d\n", payload.portStatus.adminStatus);
      LOG(DEBUG2, atPrintPacket, 122, "Port operational status   : %d\n",
          payload.portStatus.operationalStatus);
      break;
    case REDUNDANCY_STATE:
      LOG(DEBUG2, atPrintPacket, 126, "Redundancy State received from OPS: %s\n",
          redundancyStateName(payload.redundancy.state));
      break;
    default:
      LOG(DEBUG2, atPrintPacket, 130, "No information about this message to print\n");
  }
}

void printTrailer(const OtnIpcMsg& msg) {
  LOG(DEBUG1, atPrintPacket, 135, "Response error string = %.*s", textLength(msg.errorString),
      msg.errorString);
  LOG(DEBUG1, atPrintPacket, 139, "Response error value = %d %d %d %d\n", msg.errorValue[0],
      msg.errorValue[1], msg.errorValue[2], msg.errorValue[3]);
  LOG(DEBUG1, atPrintPacket, 140, "Response status = %s\n", osix(msg.status));
}

}  // namespace

int printPacket(const OtnIpcMsg& msg) {
  LOG(DEBUG1, atPrintPacket, 44, "Msg Type = %s [%d]", msgTypeName(msg.msgType),
      static_cast<int>(msg.msgType));
  if (msg.msgType == InvalidMsgType) printFirstBytes(msg);
  printPayload(msg);
  if (msg.isResponse == 1) printTrailer(msg);
  return 0;
}
