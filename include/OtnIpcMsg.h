// The OPS message: the one fixed-size record that passes between this daemon and ISS's IPC endpoint OPS, in
// both directions, and every payload that is read or written, each field described once.
//
// Plain data, little-endian hosts only: all integers stand in host order. A record that is built starts all
// zero; a field that a type does not use stays zero. Offsets in the comments count from the start of the
// record. Text fields are NUL-terminated in what is built and may lack the NUL in what is received: print
// and compare them bounded (fieldText).
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

static_assert(std::endian::native == std::endian::little, "OPS messages are little-endian");

enum OtnIpcMsgType : uint32_t {
  InvalidMsgType = 0,
  MSR_RELOAD_STATUS = 1,
  TASK_INIT_STATUS = 2,
  RM_ACTIVE_STANDBY_READY_STATUS = 3,
  RM_SYNC_UP_STATUS = 4,
  RM_GO_ACTIVE_STANDBY_IND = 5,
  CONFIG_STATUS = 6,
  IFC_INSERT_DELETE_IND = 7,
  RUN_DEFAULT_SCRIPT_COMMAND = 8,
  MGMT_INTERFACE_MAPPING = 9,
  INTERESTED_PACKET_IND = 10,
  MGMT_INTERFACE_MAPPING_IND = 11,
  WATCH_DOG_ISS_ACTIVE = 12,
  WATCH_DOG_INTERVAL = 13,
  SYNCE_CMD = 14,
  SYNCE_PDU_CMD = 15,
  FLUSH_CMD = 16,
  GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS = 17,
  CPU_THRESHOLD = 18,
  SMARTSFP_PDU_CMD = 19,
  PORT_STATUS_CHANGE_IND = 20,
  GET_PORT_STATUS = 21,
  REDUNDANCY_STATE = 22,
  MRP_VLAN_MAPPING = 23,
  ETS_VLAN_MAPPING = 24,
  LLDP_TLV_INFO = 25,
};

inline constexpr uint32_t OtnIpcMsgTypeCount = 26;

/// Names of the message types, indexed by value.
inline constexpr const char* OtnIpcMsgTypeStrings[OtnIpcMsgTypeCount] = {
    "InvalidMsgType",
    "MSR_RELOAD_STATUS",
    "TASK_INIT_STATUS",
    "RM_ACTIVE_STANDBY_READY_STATUS",
    "RM_SYNC_UP_STATUS",
    "RM_GO_ACTIVE_STANDBY_IND",
    "CONFIG_STATUS",
    "IFC_INSERT_DELETE_IND",
    "RUN_DEFAULT_SCRIPT_COMMAND",
    "MGMT_INTERFACE_MAPPING",
    "INTERESTED_PACKET_IND",
    "MGMT_INTERFACE_MAPPING_IND",
    "WATCH_DOG_ISS_ACTIVE",
    "WATCH_DOG_INTERVAL",
    "SYNCE_CMD",
    "SYNCE_PDU_CMD",
    "FLUSH_CMD",
    "GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS",
    "CPU_THRESHOLD",
    "SMARTSFP_PDU_CMD",
    "PORT_STATUS_CHANGE_IND",
    "GET_PORT_STATUS",
    "REDUNDANCY_STATE",
    "MRP_VLAN_MAPPING",
    "ETS_VLAN_MAPPING",
    "LLDP_TLV_INFO",
};

/// Name of a message type; "UnknownMsgType" above the table.
constexpr const char* msgTypeName(uint32_t type) {
  return type < OtnIpcMsgTypeCount ? OtnIpcMsgTypeStrings[type] : "UnknownMsgType";
}

namespace ops {

/// Every payload begins at byte 4 of the record.
#define OPS_AT(type, field, offset) static_assert(offsetof(type, field) + 4 == (offset))

/// MSR_RELOAD_STATUS, from OPS: how restoring its saved configuration went.
struct MsrReloadStatus {
  uint8_t reserved[10];
  uint8_t reloadStatus;  ///< 14: 0 = restored, other = failed
};
OPS_AT(MsrReloadStatus, reloadStatus, 14);

/// RM_GO_ACTIVE_STANDBY_IND: only logged.
struct GoActiveStandby {
  uint8_t nodeType;    ///< 4: 1 = active, other = standby
  uint8_t statusFlag;  ///< 5: 0 = OSIX_SUCCESS, other = OSIX_FAILURE
};
OPS_AT(GoActiveStandby, nodeType, 4);
OPS_AT(GoActiveStandby, statusFlag, 5);

/// IFC_INSERT_DELETE_IND: insertion or removal of an interface.
struct InterfaceEntry {
  uint32_t interfaceNum;    ///< 4
  uint32_t interfaceSpeed;  ///< 8
  uint32_t interfaceType;   ///< 12
};
OPS_AT(InterfaceEntry, interfaceNum, 4);
OPS_AT(InterfaceEntry, interfaceSpeed, 8);
OPS_AT(InterfaceEntry, interfaceType, 12);
struct IfcInsertDelete {
  static constexpr uint32_t maxEntries = 42;  ///< what the list can hold
  static constexpr uint8_t insert = 1;
  static constexpr uint8_t remove = 2;

  InterfaceEntry entry;  ///< 4: the first entry; only it is read or written
  uint8_t moreEntries[512 - sizeof(InterfaceEntry)];
  uint32_t interfaceCount;  ///< 516
  uint8_t statusFlag;       ///< 520: insert, any other value = remove
};
OPS_AT(IfcInsertDelete, entry, 4);
OPS_AT(IfcInsertDelete, interfaceCount, 516);
OPS_AT(IfcInsertDelete, statusFlag, 520);

/// RUN_DEFAULT_SCRIPT_COMMAND: OPS runs an ISS command script.
struct RunScript {
  char inputFile[24];   ///< 4: path of the script
  char outputFile[24];  ///< 28: where ISS writes the script's output
};
OPS_AT(RunScript, inputFile, 4);
OPS_AT(RunScript, outputFile, 28);

/// One match of a filter rule.
struct FilterEntry {
  uint32_t type;
  uint8_t value[8];
  uint8_t mask[8];
};
static_assert(sizeof(FilterEntry) == 20);
enum EntryKind : uint32_t { synceRule = 1, mstpRule = 2, etsRule = 3, smartSfpRule = 4, mrpRule = 5 };
enum EncapType : uint32_t { encapL2 = 1, encapL3 = 2, encapMpls = 3 };
enum ActionCode : uint8_t { actionNone = 0, actionCreate = 1, actionDelete = 2, actionModify = 3 };

/// INTERESTED_PACKET_IND: a filter rule; its answer carries the forwarding-entry ids.
struct InterestedPacket {
  FilterEntry entries[10];  ///< 4
  uint8_t portList[4];      ///< 204: see PortBitmap.h
  uint32_t entryKind;       ///< 208: EntryKind
  uint32_t encapType;       ///< 212: EncapType
  uint32_t ruleWord;        ///< 216: fixed per rule
  uint32_t fpId0;           ///< 220: forwarding-entry id, assigned by ISS
  uint32_t fpId1;           ///< 224
  uint32_t reserved;        ///< 228
  uint8_t entryCount;       ///< 232: filter entries in use
  uint8_t padding[3];
  uint8_t actionCode;  ///< 236: ActionCode; in an answer 1 = the entry was created
};
OPS_AT(InterestedPacket, entries, 4);
OPS_AT(InterestedPacket, portList, 204);
OPS_AT(InterestedPacket, entryKind, 208);
OPS_AT(InterestedPacket, encapType, 212);
OPS_AT(InterestedPacket, ruleWord, 216);
OPS_AT(InterestedPacket, fpId0, 220);
OPS_AT(InterestedPacket, fpId1, 224);
OPS_AT(InterestedPacket, reserved, 228);
OPS_AT(InterestedPacket, entryCount, 232);
OPS_AT(InterestedPacket, actionCode, 236);
/// An answer to an MSTP rule carries its label stack entries in the second filter entry.
constexpr size_t mplsLabelEntryOffset = 28;
constexpr size_t pwLabelEntryOffset = 32;

/// MGMT_INTERFACE_MAPPING_IND: map or unmap a management (DCN) tunnel.
struct TunnelEntry {
  uint8_t destinationMac[6];  ///< 4
  uint8_t sourceMac[6];       ///< 10
  uint32_t acVlan;            ///< 16: attachment-circuit VLAN
  uint32_t pwVlan;            ///< 20: pseudowire VLAN
  uint32_t acPort;            ///< 24: 24, or 0xFFFFFFFF for none
  uint32_t pwPort;            ///< 28: front port 1..28
  uint32_t peakRate;          ///< 32
  uint32_t committedRate;     ///< 36
  uint32_t outTunnelLabel;    ///< 40
  uint32_t inTunnelLabel;     ///< 44
  uint32_t tunnelId;          ///< 48: this and the ids below are assigned by ISS in its answer
  uint32_t reserved;          ///< 52
  uint32_t vpnId;             ///< 56
  uint32_t tunnelIndex;       ///< 60: attachment-circuit id
  uint32_t pwId;              ///< 64
};
static_assert(sizeof(TunnelEntry) == 64);
OPS_AT(TunnelEntry, destinationMac, 4);
OPS_AT(TunnelEntry, sourceMac, 10);
OPS_AT(TunnelEntry, acVlan, 16);
OPS_AT(TunnelEntry, pwVlan, 20);
OPS_AT(TunnelEntry, acPort, 24);
OPS_AT(TunnelEntry, pwPort, 28);
OPS_AT(TunnelEntry, peakRate, 32);
OPS_AT(TunnelEntry, committedRate, 36);
OPS_AT(TunnelEntry, outTunnelLabel, 40);
OPS_AT(TunnelEntry, inTunnelLabel, 44);
OPS_AT(TunnelEntry, tunnelId, 48);
OPS_AT(TunnelEntry, reserved, 52);
OPS_AT(TunnelEntry, vpnId, 56);
OPS_AT(TunnelEntry, tunnelIndex, 60);
OPS_AT(TunnelEntry, pwId, 64);
struct MgmtInterfaceMapping {
  static constexpr uint32_t maxEntries = 100;  ///< what the table can hold
  static constexpr uint8_t map = 1;
  static constexpr uint8_t unmap = 2;

  TunnelEntry entry;  ///< 4: the first entry; only it is read or written
  uint8_t moreEntries[6400 - sizeof(TunnelEntry)];
  uint32_t entryCount;  ///< 6404
  uint8_t mapFlag;      ///< 6408: map, any other value = unmap
};
OPS_AT(MgmtInterfaceMapping, entry, 4);
OPS_AT(MgmtInterfaceMapping, entryCount, 6404);
OPS_AT(MgmtInterfaceMapping, mapFlag, 6408);

/// SYNCE_CMD
struct SyncECommand {
  uint32_t enableClk;  ///< 4
  uint32_t slot;       ///< 8
  uint32_t clksrc;     ///< 12
  uint32_t phymode;    ///< 16
};
OPS_AT(SyncECommand, enableClk, 4);
OPS_AT(SyncECommand, slot, 8);
OPS_AT(SyncECommand, clksrc, 12);
OPS_AT(SyncECommand, phymode, 16);

/// SYNCE_PDU_CMD
struct SyncEPdu {
  uint32_t pduWord1;  ///< 4
  uint32_t pduWord2;  ///< 8
  uint32_t pduWord3;  ///< 12
};
OPS_AT(SyncEPdu, pduWord1, 4);
OPS_AT(SyncEPdu, pduWord2, 8);
OPS_AT(SyncEPdu, pduWord3, 12);

/// FLUSH_CMD
struct Flush {
  uint32_t vpn;  ///< 4
  uint32_t vp;   ///< 8
};
OPS_AT(Flush, vpn, 4);
OPS_AT(Flush, vp, 8);

/// GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS
struct Counters {
  uint32_t interfaceNum;       ///< 4
  uint32_t rxOctets;           ///< 8
  uint32_t rxUnicastPackets;   ///< 12
  uint32_t rxDiscarded;        ///< 16
  uint32_t rxErrors;           ///< 20
  uint32_t rxUnknownProtocol;  ///< 24
  uint32_t txOctets;           ///< 28
  uint32_t txUnicastPackets;   ///< 32
  uint32_t txDiscarded;        ///< 36
  uint32_t txErrors;           ///< 40
};
OPS_AT(Counters, interfaceNum, 4);
OPS_AT(Counters, rxOctets, 8);
OPS_AT(Counters, rxUnicastPackets, 12);
OPS_AT(Counters, rxDiscarded, 16);
OPS_AT(Counters, rxErrors, 20);
OPS_AT(Counters, rxUnknownProtocol, 24);
OPS_AT(Counters, txOctets, 28);
OPS_AT(Counters, txUnicastPackets, 32);
OPS_AT(Counters, txDiscarded, 36);
OPS_AT(Counters, txErrors, 40);

/// SMARTSFP_PDU_CMD
struct SmartSfpPdu {
  uint8_t pdu[516];  ///< 4
  uint32_t pbmp;     ///< 520: port bitmap
  uint32_t size;     ///< 524: as the caller gave it
};
OPS_AT(SmartSfpPdu, pdu, 4);
OPS_AT(SmartSfpPdu, pbmp, 520);
OPS_AT(SmartSfpPdu, size, 524);

/// PORT_STATUS_CHANGE_IND, from OPS
struct PortStatusChange {
  uint32_t interfaceNum;      ///< 4
  uint8_t adminStatus;        ///< 8: 1 = up, other = down
  uint8_t operationalStatus;  ///< 9: 1 = up, other = down
};
OPS_AT(PortStatusChange, interfaceNum, 4);
OPS_AT(PortStatusChange, adminStatus, 8);
OPS_AT(PortStatusChange, operationalStatus, 9);

/// REDUNDANCY_STATE
struct Redundancy {
  int32_t state;  ///< 4: see RedundancyState.h
};
OPS_AT(Redundancy, state, 4);

/// MRP_VLAN_MAPPING and ETS_VLAN_MAPPING; there is no count, unused values are zero.
struct VlanMapping {
  static constexpr size_t maxDataVlans = 1728;  ///< up to the end of the record

  uint32_t key;           ///< 4
  uint32_t vpn;           ///< 8
  int32_t firstDataVlan;  ///< 12: the data VLANs follow each other from here
};
OPS_AT(VlanMapping, key, 4);
OPS_AT(VlanMapping, vpn, 8);
OPS_AT(VlanMapping, firstDataVlan, 12);

/// LLDP_TLV_INFO
struct LldpTlv {
  uint32_t chassisId;  ///< 4
  uint32_t mgmtIp;     ///< 8
  uint16_t slotId;     ///< 12
  uint8_t create;      ///< 14: 1 = create
  uint8_t reserved[221];
  uint8_t actionCode;  ///< 236: ActionCode
};
OPS_AT(LldpTlv, chassisId, 4);
OPS_AT(LldpTlv, mgmtIp, 8);
OPS_AT(LldpTlv, slotId, 12);
OPS_AT(LldpTlv, create, 14);
OPS_AT(LldpTlv, actionCode, 236);

union Payload {
  uint8_t bytes[6408];
  MsrReloadStatus msrReload;
  GoActiveStandby goActiveStandby;
  IfcInsertDelete ifc;
  RunScript script;
  InterestedPacket rule;
  MgmtInterfaceMapping mapping;
  SyncECommand synce;
  SyncEPdu syncePdu;
  Flush flush;
  Counters counters;
  SmartSfpPdu smartSfp;
  PortStatusChange portStatus;
  Redundancy redundancy;
  VlanMapping vlanMapping;
  LldpTlv lldp;
};
#undef OPS_AT

/// OPS's text for success in an answer.
inline constexpr std::string_view noError = "No Error\r\n";

}  // namespace ops

struct OtnIpcMsg {
  uint32_t msgType;       ///< 0: OtnIpcMsgType; any value may arrive
  ops::Payload payload;   ///< 4
  char errorString[500];  ///< 6412: in an answer OPS's error text; in CPU_THRESHOLD the thread's name
  uint8_t
      errorValue[4];  ///< 6912: in an answer four values; in CPU_THRESHOLD the pid, most significant first
  uint8_t status;     ///< 6916: in an answer 0 = OSIX_SUCCESS, other = OSIX_FAILURE
  uint8_t reserved1[3];
  uint8_t isResponse;  ///< 6920: 1 = 6412..6916 are filled
  uint8_t reserved2[3];
};
static_assert(sizeof(OtnIpcMsg) == 6924 && alignof(OtnIpcMsg) == 4);
static_assert(offsetof(OtnIpcMsg, msgType) == 0);
static_assert(offsetof(OtnIpcMsg, payload) == 4);
static_assert(offsetof(OtnIpcMsg, errorString) == 6412);
static_assert(offsetof(OtnIpcMsg, errorValue) == 6912);
static_assert(offsetof(OtnIpcMsg, status) == 6916);
static_assert(offsetof(OtnIpcMsg, isResponse) == 6920);

/// The text of a fixed field, up to its NUL or its end.
template <size_t N>
std::string_view fieldText(const char (&field)[N]) {
  return {field, strnlen(field, N)};
}
