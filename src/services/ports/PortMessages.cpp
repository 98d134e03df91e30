#include "services/ports/PortMessages.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr uint8_t tunnelMac[6] = {0x01, 0x00, 0x5e, 0x90, 0x00, 0x00};
constexpr uint32_t acFrontPort = 24;
constexpr uint32_t noAcFrontPort = 0xFFFFFFFF;
constexpr uint32_t tunnelRate = 1000;
constexpr uint32_t tunnelLabel = 1500;
/// Stands for an id that ISS is to assign.
constexpr uint32_t placeholderId = 1;

OtnIpcMsg mappingMessage(const PortMappingInput& input, const DcnTunnelEntry& ids, uint8_t mapFlag) {
  OtnIpcMsg msg{};
  msg.msgType = MGMT_INTERFACE_MAPPING_IND;
  ops::TunnelEntry& entry = msg.payload.mapping.entry;
  memcpy(entry.destinationMac, tunnelMac, sizeof tunnelMac);
  memcpy(entry.sourceMac, input.mac, sizeof entry.sourceMac);
  entry.acVlan = input.acVlan;
  entry.pwVlan = input.pwVlan;
  entry.acPort = input.noAcPort ? noAcFrontPort : acFrontPort;
  entry.pwPort = input.portNr;
  entry.peakRate = tunnelRate;
  entry.committedRate = tunnelRate;
  entry.outTunnelLabel = tunnelLabel;
  entry.inTunnelLabel = tunnelLabel;
  entry.tunnelId = ids.tunnelId;
  entry.vpnId = ids.vpnId;
  entry.tunnelIndex = ids.tunnelIndex;
  entry.pwId = ids.pwId;
  msg.payload.mapping.entryCount = 1;
  msg.payload.mapping.mapFlag = mapFlag;
  return msg;
}

}  // namespace

OtnIpcMsg mapMessage(const PortMappingInput& input) {
  return mappingMessage(input, {placeholderId, placeholderId, placeholderId, placeholderId},
                        ops::MgmtInterfaceMapping::map);
}

OtnIpcMsg unmapMessage(const PortMappingInput& input, const DcnTunnelEntry& ids) {
  return mappingMessage(input, ids, ops::MgmtInterfaceMapping::unmap);
}

OtnIpcMsg interfaceMessage(uint32_t portNr, uint32_t ifSpeed, uint32_t ifType, uint8_t statusFlag) {
  OtnIpcMsg msg{};
  msg.msgType = IFC_INSERT_DELETE_IND;
  msg.payload.ifc.entry = {portNr, ifSpeed, ifType};
  msg.payload.ifc.interfaceCount = 1;
  msg.payload.ifc.statusFlag = statusFlag;
  return msg;
}
