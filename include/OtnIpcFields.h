// The fields of each OPS message type: name, place, size and how to show them, each named once, for whatever
// shows or takes apart a record without acting on it (decoder, simulator, dissector). Names are the members'
// names in OtnIpcMsg.h. Constant data; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "OtnIpcMsg.h"

namespace ops {

enum class FieldKind : uint8_t {
  number,           ///< unsigned, 1, 2 or 4 bytes
  signedNumber,     ///< signed, 4 bytes
  label,            ///< unsigned, 4 bytes, shown in hex
  text,             ///< bounded text
  mac,              ///< 6 bytes
  ipAddress,        ///< unsigned, 4 bytes, the first number in the most significant byte
  bytes,            ///< shown in hex up to the last one that is not zero
  values,           ///< one number a byte
  bigEndianNumber,  ///< unsigned, 4 bytes, most significant first
  portList,         ///< 4 bytes, see PortBitmap.h
  filterEntries,    ///< FilterEntry records up to the last one that is not all zero, or the entry count
  vlanList,  ///< signed 32-bit values up to the last one that is not zero; in an answer the trailer ends them
  redundancyState,  ///< see RedundancyState.h
};

struct FieldInfo {
  const char* name;
  uint16_t offset;  ///< from the start of the record
  uint16_t size;
  FieldKind kind;
};

constexpr FieldInfo fieldInfo(const char* name, size_t offset, size_t size, FieldKind kind) {
  return {name, static_cast<uint16_t>(offset), static_cast<uint16_t>(size), kind};
}
// A member designator takes no parentheses. NOLINTBEGIN(bugprone-macro-parentheses)
#define OPS_FIELD(path, member, shown) \
  fieldInfo(#member, offsetof(OtnIpcMsg, path.member), sizeof(OtnIpcMsg::path.member), FieldKind::shown)
#define OPS_TRAILER_FIELD(member, shown) \
  fieldInfo(#member, offsetof(OtnIpcMsg, member), sizeof(OtnIpcMsg::member), FieldKind::shown)
// NOLINTEND(bugprone-macro-parentheses)

inline constexpr FieldInfo msrReloadFields[] = {OPS_FIELD(payload.msrReload, reloadStatus, number)};
inline constexpr FieldInfo goActiveStandbyFields[] = {OPS_FIELD(payload.goActiveStandby, nodeType, number),
                                                      OPS_FIELD(payload.goActiveStandby, statusFlag, number)};
inline constexpr FieldInfo ifcFields[] = {
    OPS_FIELD(payload.ifc.entry, interfaceNum, number), OPS_FIELD(payload.ifc.entry, interfaceSpeed, number),
    OPS_FIELD(payload.ifc.entry, interfaceType, number), OPS_FIELD(payload.ifc, interfaceCount, number),
    OPS_FIELD(payload.ifc, statusFlag, number)};
inline constexpr FieldInfo scriptFields[] = {OPS_FIELD(payload.script, inputFile, text),
                                             OPS_FIELD(payload.script, outputFile, text)};
inline constexpr FieldInfo ruleFields[] = {
    OPS_FIELD(payload.rule, entries, filterEntries), OPS_FIELD(payload.rule, portList, portList),
    OPS_FIELD(payload.rule, entryKind, number),      OPS_FIELD(payload.rule, encapType, number),
    OPS_FIELD(payload.rule, ruleWord, number),       OPS_FIELD(payload.rule, fpId0, number),
    OPS_FIELD(payload.rule, fpId1, number),          OPS_FIELD(payload.rule, entryCount, number),
    OPS_FIELD(payload.rule, actionCode, number)};
inline constexpr FieldInfo mappingFields[] = {OPS_FIELD(payload.mapping.entry, destinationMac, mac),
                                              OPS_FIELD(payload.mapping.entry, sourceMac, mac),
                                              OPS_FIELD(payload.mapping.entry, acVlan, number),
                                              OPS_FIELD(payload.mapping.entry, pwVlan, number),
                                              OPS_FIELD(payload.mapping.entry, acPort, number),
                                              OPS_FIELD(payload.mapping.entry, pwPort, number),
                                              OPS_FIELD(payload.mapping.entry, peakRate, number),
                                              OPS_FIELD(payload.mapping.entry, committedRate, number),
                                              OPS_FIELD(payload.mapping.entry, outTunnelLabel, number),
                                              OPS_FIELD(payload.mapping.entry, inTunnelLabel, number),
                                              OPS_FIELD(payload.mapping.entry, tunnelId, number),
                                              OPS_FIELD(payload.mapping.entry, vpnId, number),
                                              OPS_FIELD(payload.mapping.entry, tunnelIndex, number),
                                              OPS_FIELD(payload.mapping.entry, pwId, number),
                                              OPS_FIELD(payload.mapping, entryCount, number),
                                              OPS_FIELD(payload.mapping, mapFlag, number)};
inline constexpr FieldInfo synceFields[] = {
    OPS_FIELD(payload.synce, enableClk, number), OPS_FIELD(payload.synce, slot, number),
    OPS_FIELD(payload.synce, clksrc, number), OPS_FIELD(payload.synce, phymode, number)};
inline constexpr FieldInfo syncePduFields[] = {OPS_FIELD(payload.syncePdu, pduWord1, label),
                                               OPS_FIELD(payload.syncePdu, pduWord2, label),
                                               OPS_FIELD(payload.syncePdu, pduWord3, label)};
inline constexpr FieldInfo flushFields[] = {OPS_FIELD(payload.flush, vpn, number),
                                            OPS_FIELD(payload.flush, vp, number)};
inline constexpr FieldInfo counterFields[] = {OPS_FIELD(payload.counters, interfaceNum, number),
                                              OPS_FIELD(payload.counters, rxOctets, number),
                                              OPS_FIELD(payload.counters, rxUnicastPackets, number),
                                              OPS_FIELD(payload.counters, rxDiscarded, number),
                                              OPS_FIELD(payload.counters, rxErrors, number),
                                              OPS_FIELD(payload.counters, rxUnknownProtocol, number),
                                              OPS_FIELD(payload.counters, txOctets, number),
                                              OPS_FIELD(payload.counters, txUnicastPackets, number),
                                              OPS_FIELD(payload.counters, txDiscarded, number),
                                              OPS_FIELD(payload.counters, txErrors, number)};
inline constexpr FieldInfo smartSfpFields[] = {OPS_FIELD(payload.smartSfp, pdu, bytes),
                                               OPS_FIELD(payload.smartSfp, pbmp, label),
                                               OPS_FIELD(payload.smartSfp, size, number)};
inline constexpr FieldInfo portStatusFields[] = {OPS_FIELD(payload.portStatus, interfaceNum, number),
                                                 OPS_FIELD(payload.portStatus, adminStatus, number),
                                                 OPS_FIELD(payload.portStatus, operationalStatus, number)};
inline constexpr FieldInfo redundancyFields[] = {OPS_FIELD(payload.redundancy, state, redundancyState)};
inline constexpr FieldInfo vlanMappingFields[] = {
    OPS_FIELD(payload.vlanMapping, key, number), OPS_FIELD(payload.vlanMapping, vpn, number),
    FieldInfo{"dataVlans", static_cast<uint16_t>(offsetof(OtnIpcMsg, payload.vlanMapping.firstDataVlan)),
              static_cast<uint16_t>(VlanMapping::maxDataVlans * sizeof(int32_t)), FieldKind::vlanList}};
inline constexpr FieldInfo lldpFields[] = {
    OPS_FIELD(payload.lldp, chassisId, number), OPS_FIELD(payload.lldp, mgmtIp, ipAddress),
    OPS_FIELD(payload.lldp, slotId, number), OPS_FIELD(payload.lldp, create, number),
    OPS_FIELD(payload.lldp, actionCode, number)};
/// The alarm uses the trailer's places for its own ends.
inline constexpr FieldInfo cpuThresholdFields[] = {
    FieldInfo{"threadName", offsetof(OtnIpcMsg, errorString), sizeof(OtnIpcMsg::errorString),
              FieldKind::text},
    FieldInfo{"pid", offsetof(OtnIpcMsg, errorValue), sizeof(OtnIpcMsg::errorValue),
              FieldKind::bigEndianNumber}};

/// What an answer carries in its trailer, whatever its type.
inline constexpr FieldInfo trailerFields[] = {
    OPS_TRAILER_FIELD(errorString, text), OPS_TRAILER_FIELD(errorValue, values),
    OPS_TRAILER_FIELD(status, number), OPS_TRAILER_FIELD(isResponse, number)};
#undef OPS_FIELD
#undef OPS_TRAILER_FIELD

/// The fields of a type; none for a type without payload and for an unknown type.
constexpr std::span<const FieldInfo> fieldsOf(uint32_t type) {
  switch (type) {
    case MSR_RELOAD_STATUS:
      return msrReloadFields;
    case RM_GO_ACTIVE_STANDBY_IND:
      return goActiveStandbyFields;
    case IFC_INSERT_DELETE_IND:
      return ifcFields;
    case RUN_DEFAULT_SCRIPT_COMMAND:
      return scriptFields;
    case INTERESTED_PACKET_IND:
      return ruleFields;
    case MGMT_INTERFACE_MAPPING_IND:
      return mappingFields;
    case SYNCE_CMD:
      return synceFields;
    case SYNCE_PDU_CMD:
      return syncePduFields;
    case FLUSH_CMD:
      return flushFields;
    case GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS:
      return counterFields;
    case CPU_THRESHOLD:
      return cpuThresholdFields;
    case SMARTSFP_PDU_CMD:
      return smartSfpFields;
    case PORT_STATUS_CHANGE_IND:
      return portStatusFields;
    case REDUNDANCY_STATE:
      return redundancyFields;
    case MRP_VLAN_MAPPING:
    case ETS_VLAN_MAPPING:
      return vlanMappingFields;
    case LLDP_TLV_INFO:
      return lldpFields;
    default:
      return {};
  }
}

}  // namespace ops
