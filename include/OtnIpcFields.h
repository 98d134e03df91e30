// Every OPS message type, described once in the words of OtnIpcFieldInfo.h: who sends it, who answers it, and
// each of its fields: name, place, size, meaning, unit and how to show it. The simulator's decoder reads it.
// tools/message-reference makes docs/messages.md and the Wireshark dissector (docs/wireshark.md) from it.
// Names of fields are the members' names in OtnIpcMsg.h. Constant data; any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "OtnIpcFieldInfo.h"
#include "OtnIpcMsg.h"
#include "RedundancyState.h"

namespace ops {

inline constexpr ValueName successOrFailure[] = {{0, "OSIX_SUCCESS"}, {anyOther, "OSIX_FAILURE"}};
inline constexpr ValueName restoredOrFailed[] = {{0, "restored"}, {anyOther, "failed"}};
inline constexpr ValueName activeOrStandby[] = {{1, "active"}, {anyOther, "standby"}};
inline constexpr ValueName insertOrRemove[] = {{1, "insert"}, {anyOther, "remove"}};
inline constexpr ValueName mapOrUnmap[] = {{1, "map"}, {anyOther, "unmap"}};
inline constexpr ValueName upOrDown[] = {{1, "up"}, {anyOther, "down"}};
inline constexpr ValueName yesOrNo[] = {{1, "yes"}, {anyOther, "no"}};
inline constexpr ValueName acPorts[] = {{24, "front port 24"}, {0xFFFFFFFF, "none"}};
inline constexpr ValueName entryKinds[] = {{synceRule, "SyncE"},
                                           {mstpRule, "MSTP"},
                                           {etsRule, "ETS"},
                                           {smartSfpRule, "Smart SFP"},
                                           {mrpRule, "MRP"}};
inline constexpr ValueName encapTypes[] = {{encapL2, "L2"}, {encapL3, "L3"}, {encapMpls, "MPLS"}};
inline constexpr ValueName actionCodes[] = {
    {actionNone, "none"}, {actionCreate, "create"}, {actionDelete, "delete"}, {actionModify, "modify"}};
inline constexpr auto redundancyStates = [] {
  std::array<ValueName, RedundancyStateLast + 1> states{};
  for (int32_t i = 0; i <= RedundancyStateLast; ++i)
    states[static_cast<size_t>(i)] = {i, redundancyStateName(i)};
  return states;
}();

// A member designator takes no parentheses. NOLINTBEGIN(bugprone-macro-parentheses)
/// What follows the kind: the meaning, then its unit or the names of its values.
#define OPS_FIELD(path, member, shown, ...)                                                              \
  fieldInfo(#member, offsetof(OtnIpcMsg, path.member), sizeof(OtnIpcMsg::path.member), FieldKind::shown, \
            __VA_ARGS__)
#define OPS_TRAILER_FIELD(name, member, shown, ...) \
  fieldInfo(name, offsetof(OtnIpcMsg, member), sizeof(OtnIpcMsg::member), FieldKind::shown, __VA_ARGS__)
// NOLINTEND(bugprone-macro-parentheses)

inline constexpr FieldInfo msrReloadFields[] = {
    OPS_FIELD(payload.msrReload, reloadStatus, number, "how the restore went", restoredOrFailed),
};
inline constexpr FieldInfo goActiveStandbyFields[] = {
    OPS_FIELD(payload.goActiveStandby, nodeType, number, "node type", activeOrStandby),
    OPS_FIELD(payload.goActiveStandby, statusFlag, number, "how it went", successOrFailure),
};
inline constexpr FieldInfo ifcFields[] = {
    OPS_FIELD(payload.ifc.entry, interfaceNum, number, "front port, from 1"),
    OPS_FIELD(payload.ifc.entry, interfaceSpeed, number, "as the caller gave it"),
    OPS_FIELD(payload.ifc.entry, interfaceType, number, "as the caller gave it"),
    OPS_FIELD(payload.ifc, interfaceCount, number, "length of the list, of which only the first is used"),
    OPS_FIELD(payload.ifc, statusFlag, number, "whether the interface comes or goes", insertOrRemove),
};
inline constexpr FieldInfo scriptFields[] = {
    OPS_FIELD(payload.script, inputFile, text, "path of the script"),
    OPS_FIELD(payload.script, outputFile, text, "where ISS writes what the commands print"),
};
inline constexpr FieldInfo ruleFields[] = {
    OPS_FIELD(
        payload.rule, entries, filterEntries,
        "what a frame must match; an answer to an MSTP rule has its MPLS and PW label entries at 28 and 32"),
    OPS_FIELD(payload.rule, portList, portList, "ports that the rule is for"),
    OPS_FIELD(payload.rule, entryKind, number, "which protocol's rule", entryKinds),
    OPS_FIELD(payload.rule, encapType, number, "what the frames come in", encapTypes),
    OPS_FIELD(payload.rule, ruleWord, number,
              "fixed for each rule: 1 for MRP global, 2 for SyncE and Smart SFP, 3 for the others"),
    OPS_FIELD(payload.rule, fpId0, number, "forwarding-entry id, given by ISS in the answer to a creation"),
    OPS_FIELD(payload.rule, fpId1, number, "second forwarding-entry id, of an MPLS rule"),
    OPS_FIELD(payload.rule, entryCount, number, "filter entries in use"),
    OPS_FIELD(payload.rule, actionCode, number,
              "what to do with the rule; create in an answer: the entry is there", actionCodes),
};
inline constexpr FieldInfo mappingFields[] = {
    OPS_FIELD(payload.mapping.entry, destinationMac, mac, "01:00:5e:90:00:00"),
    OPS_FIELD(payload.mapping.entry, sourceMac, mac, "the board's own"),
    OPS_FIELD(payload.mapping.entry, acVlan, number, "attachment-circuit VLAN"),
    OPS_FIELD(payload.mapping.entry, pwVlan, number, "pseudowire VLAN, 4000 + pwPort"),
    OPS_FIELD(payload.mapping.entry, acPort, number, "attachment-circuit port", acPorts),
    OPS_FIELD(payload.mapping.entry, pwPort, number, "front port, 1 to 28"),
    OPS_FIELD(payload.mapping.entry, peakRate, number, "1000"),
    OPS_FIELD(payload.mapping.entry, committedRate, number, "1000"),
    OPS_FIELD(payload.mapping.entry, outTunnelLabel, number, "1500"),
    OPS_FIELD(payload.mapping.entry, inTunnelLabel, number, "1500"),
    OPS_FIELD(payload.mapping.entry, tunnelId, number,
              "1 to map; the answer has the real one, to unmap with"),
    OPS_FIELD(payload.mapping.entry, vpnId, number, "same"),
    OPS_FIELD(payload.mapping.entry, tunnelIndex, number, "same: the attachment circuit's id"),
    OPS_FIELD(payload.mapping.entry, pwId, number, "same: the pseudowire's id"),
    OPS_FIELD(payload.mapping, entryCount, number, "length of the table, of which only the first is used"),
    OPS_FIELD(payload.mapping, mapFlag, number, "whether the tunnel comes or goes", mapOrUnmap),
};
inline constexpr FieldInfo synceFields[] = {
    OPS_FIELD(payload.synce, enableClk, number, "as the caller gave it, not 0"),
    OPS_FIELD(payload.synce, slot, number, "slot of the clock source"),
    OPS_FIELD(payload.synce, clksrc, number, "clock source"),
    OPS_FIELD(payload.synce, phymode, number, "PHY mode"),
};
inline constexpr FieldInfo syncePduFields[] = {
    OPS_FIELD(payload.syncePdu, pduWord1, label, "word 1 of the PDU, as the caller gave it"),
    OPS_FIELD(payload.syncePdu, pduWord2, label, "word 2 of the PDU, as the caller gave it"),
    OPS_FIELD(payload.syncePdu, pduWord3, label, "word 3 of the PDU, as the caller gave it"),
};
inline constexpr FieldInfo flushFields[] = {
    OPS_FIELD(payload.flush, vpn, number, "VPN to flush"),
    OPS_FIELD(payload.flush, vp, number, "the caller's vp"),
};
inline constexpr FieldInfo counterFields[] = {
    OPS_FIELD(payload.counters, interfaceNum, number, "interface that is asked for"),
    OPS_FIELD(payload.counters, rxOctets, number, "received", "octets"),
    OPS_FIELD(payload.counters, rxUnicastPackets, number, "received, unicast", "packets"),
    OPS_FIELD(payload.counters, rxDiscarded, number, "received, discarded", "packets"),
    OPS_FIELD(payload.counters, rxErrors, number, "received, in error", "packets"),
    OPS_FIELD(payload.counters, rxUnknownProtocol, number, "received, protocol unknown", "packets"),
    OPS_FIELD(payload.counters, txOctets, number, "sent", "octets"),
    OPS_FIELD(payload.counters, txUnicastPackets, number, "sent, unicast", "packets"),
    OPS_FIELD(payload.counters, txDiscarded, number, "to be sent, discarded", "packets"),
    OPS_FIELD(payload.counters, txErrors, number, "to be sent, in error", "packets"),
};
inline constexpr FieldInfo smartSfpFields[] = {
    OPS_FIELD(payload.smartSfp, pdu, bytes, "the PDU"),
    OPS_FIELD(payload.smartSfp, pbmp, label, "port bitmap: bit n is front port n + 1"),
    OPS_FIELD(payload.smartSfp, size, number, "the caller's size of the PDU; cuts nothing"),
};
inline constexpr FieldInfo portStatusFields[] = {
    OPS_FIELD(payload.portStatus, interfaceNum, number, "interface"),
    OPS_FIELD(payload.portStatus, adminStatus, number, "what the port is set to", upOrDown),
    OPS_FIELD(payload.portStatus, operationalStatus, number, "what the port is", upOrDown),
};
inline constexpr FieldInfo redundancyFields[] = {
    OPS_FIELD(payload.redundancy, state, redundancyState,
              "the node's redundancy state; any other value is shown as RED?", redundancyStates),
};
inline constexpr FieldInfo vlanMappingFields[] = {
    OPS_FIELD(payload.vlanMapping, key, number, "for ETS the caller's vlan, else its L2Pbmp"),
    OPS_FIELD(payload.vlanMapping, vpn, number, "the caller's VPN"),
    fieldInfo("dataVlans", offsetof(OtnIpcMsg, payload.vlanMapping.firstDataVlan),
              VlanMapping::maxDataVlans * sizeof(int32_t), FieldKind::vlanList,
              "the data VLANs, without a count; unused ones are zero"),
};
inline constexpr FieldInfo lldpFields[] = {
    OPS_FIELD(payload.lldp, chassisId, number, "chassis id to announce"),
    OPS_FIELD(payload.lldp, mgmtIp, ipAddress, "management address to announce"),
    OPS_FIELD(payload.lldp, slotId, number, "slot to announce"),
    OPS_FIELD(payload.lldp, create, number, "whether it is a creation", yesOrNo),
    OPS_FIELD(payload.lldp, actionCode, number, "what to do", actionCodes),
};
/// The alarm uses the trailer's places for its own ends.
inline constexpr FieldInfo cpuThresholdFields[] = {
    OPS_TRAILER_FIELD("threadName", errorString, text, "ISS thread that takes too much of the processor"),
    OPS_TRAILER_FIELD("pid", errorValue, bigEndianNumber, "its process id"),
};

/// What an answer carries in its trailer, whatever its type.
inline constexpr FieldInfo trailerFields[] = {
    OPS_TRAILER_FIELD("errorString", errorString, text,
                      "\"No Error\\r\\n\" for success; any other text, and none, is an error"),
    OPS_TRAILER_FIELD("errorValue", errorValue, values, "four numbers of ISS's own"),
    OPS_TRAILER_FIELD("status", status, number, "how it went", successOrFailure),
    OPS_TRAILER_FIELD("isResponse", isResponse, number, "whether the trailer is filled", yesOrNo),
};

/// One entry of FieldKind::filterEntries; offsets from the entry's start.
inline constexpr FieldInfo filterEntryFields[] = {
    fieldInfo("type", offsetof(FilterEntry, type), sizeof(FilterEntry::type), FieldKind::number,
              "which part of the frame"),
    fieldInfo("value", offsetof(FilterEntry, value), sizeof(FilterEntry::value), FieldKind::bytes,
              "what must stand there"),
    fieldInfo("mask", offsetof(FilterEntry, mask), sizeof(FilterEntry::mask), FieldKind::bytes,
              "which bits of it count"),
};
#undef OPS_FIELD
#undef OPS_TRAILER_FIELD

/// Every type, indexed by its number.
inline constexpr MessageInfo messages[OtnIpcMsgTypeCount] = {
    {InvalidMsgType,
     Direction::toIss,
     false,
     "port parameters",
     "Stands in, all zero, for a script command whose script could not be written. An answer of this type "
     "answers nothing.",
     {}},
    {MSR_RELOAD_STATUS, Direction::fromIss, false, "readiness",
     "How restoring the saved configuration (MSR) went. After a success ISS is ready.", msrReloadFields},
    {TASK_INIT_STATUS, Direction::fromIss, false, "readiness", "ISS takes messages now.", {}},
    {RM_ACTIVE_STANDBY_READY_STATUS, Direction::unused, false, "", "", {}},
    {RM_SYNC_UP_STATUS, Direction::unused, false, "", "", {}},
    {RM_GO_ACTIVE_STANDBY_IND, Direction::unused, false, "", "The dump shows its fields.",
     goActiveStandbyFields},
    {CONFIG_STATUS, Direction::unused, false, "", "", {}},
    {IFC_INSERT_DELETE_IND, Direction::toIss, true, "port parameters",
     "Probe or detach: a port is inserted or removed.", ifcFields},
    {RUN_DEFAULT_SCRIPT_COMMAND, Direction::toIss, true, "port parameters, readiness",
     "Runs a command script. After the default script ISS is ready.", scriptFields},
    {MGMT_INTERFACE_MAPPING, Direction::unused, true, "", "", {}},
    {INTERESTED_PACKET_IND, Direction::toIss, true, "ISS manager rules, SyncE, Smart SFP",
     "Makes, changes or removes the trap rule for frames of a protocol.", ruleFields},
    {MGMT_INTERFACE_MAPPING_IND, Direction::toIss, true, "port parameters",
     "Maps or unmaps the management (DCN) tunnel of a port.", mappingFields},
    {WATCH_DOG_ISS_ACTIVE, Direction::fromIss, false, "watchdog", "ISS is alive.", {}},
    {WATCH_DOG_INTERVAL, Direction::fromIss, false, "watchdog", "ISS is alive.", {}},
    {SYNCE_CMD, Direction::toIss, true, "SyncE", "Sets the clock.", synceFields},
    {SYNCE_PDU_CMD, Direction::toIss, true, "SyncE",
     "A SyncE PDU; what its words mean is for ISS and the caller.", syncePduFields},
    {FLUSH_CMD, Direction::toIss, true, "ISS manager rules", "Flushes a VPN.", flushFields},
    {GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS, Direction::toIss, true, "counters (not on the bus)",
     "Reads the counters of an interface: the request names it, the answer has the numbers.", counterFields},
    {CPU_THRESHOLD, Direction::fromIss, false, "log",
     "An ISS thread takes too much of the processor. Its fields stand where an answer has its trailer.",
     cpuThresholdFields},
    {SMARTSFP_PDU_CMD, Direction::toIss, true, "Smart SFP", "A PDU to send to Smart SFP modules.",
     smartSfpFields},
    {PORT_STATUS_CHANGE_IND, Direction::fromIss, false, "link status signal",
     "The status of a port has changed.", portStatusFields},
    {GET_PORT_STATUS, Direction::unused, false, "", "", {}},
    {REDUNDANCY_STATE, Direction::toIss, true, "redundancy", "The node's redundancy state has changed.",
     redundancyFields},
    {MRP_VLAN_MAPPING, Direction::toIss, true, "ISS manager rules",
     "The data VLANs of a VPN, for every rule but ETS.", vlanMappingFields},
    {ETS_VLAN_MAPPING, Direction::toIss, true, "ISS manager rules", "The data VLANs of a VPN, for ETS.",
     vlanMappingFields},
    {LLDP_TLV_INFO, Direction::toIss, true, "ISS manager rules", "What LLDP announces of the node.",
     lldpFields},
};
constexpr bool everyTypeHasItsRow() {
  for (uint32_t type = 0; type < OtnIpcMsgTypeCount; ++type)
    if (messages[type].type != type) return false;
  return true;
}
static_assert(everyTypeHasItsRow());

/// The fields of a type; none for a type without payload and for an unknown type.
constexpr std::span<const FieldInfo> fieldsOf(uint32_t type) {
  if (type >= OtnIpcMsgTypeCount) return {};
  return messages[type].fields;
}

}  // namespace ops
