// OPS messages of the ISS manager rules. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <string>

#include "OtnIpcMsg.h"

enum class RuleType : uint32_t {
  ETS = 0,
  MST_TOPO_LAN = 1,
  MST_TOPO_WAN = 2,
  FLUSH = 3,
  MRP = 4,
  MRP_GLOB = 5,
  LLDP = 6,
};
/// "UnknownRuleType" for any other value.
const char* ruleTypeName(uint32_t ruleType);

enum class RuleAction : uint32_t { CREATE = 0, DELETE = 1, MODIFY = 2, NOT_APPLICABLE = 3 };
/// "UnknownL2cpRuleAction" for any other value.
const char* ruleActionName(uint32_t action);
/// What OPS is sent for the action; 0 for all but create, delete and modify.
uint8_t actionCodeOf(uint32_t action);

/// The arguments of setIssMgrParams.
struct IssMgrArguments {
  uint32_t ruleType;  ///< RuleType, any value
  uint32_t action;    ///< RuleAction, any value
  uint32_t L2Pbmp;    ///< bit i = front port i + 1; for MRP the low 16 bits are a port number
  uint32_t MplsPbmp;
  int32_t flushAct;  ///< 1 = also flush, 2 = also map VLANs
  uint32_t vpn;
  uint32_t vp;    ///< encapsulation of ETS and MRP rules: 1 = L2, 2 = MPLS
  uint32_t port;  ///< WAN port of an MSTP rule, bit index 0..27
  uint32_t vlan;
  uint32_t mplsLbl;  ///< 0 = none
  uint32_t pwLbl;    ///< 0 = none
  int32_t fpId0;     ///< forwarding-entry ids of ETS and MRP rules
  int32_t fpId1;
  std::string dataVfis;  ///< data VLANs, comma-separated decimal numbers
  uint32_t chassisId;
  uint32_t lldpReserved;
  uint32_t MgmtIp;
  uint16_t slotId;
};

/// Encapsulation of an ETS or MRP rule by its `vp`; 0 for a value that has none.
uint32_t encapOfVp(uint32_t vp);

/// Each returns the rule with the request's action code. `encap` is ops::encapL2 or ops::encapMpls.
OtnIpcMsg etsRule(const IssMgrArguments& arguments, uint32_t encap);
OtnIpcMsg mstpLanRule(const IssMgrArguments& arguments, uint32_t fpId0);
OtnIpcMsg mstpWanRule(const IssMgrArguments& arguments, int32_t fpId0, int32_t fpId1);
OtnIpcMsg mrpRule(const IssMgrArguments& arguments, uint32_t encap);
OtnIpcMsg mrpGlobalRule(const IssMgrArguments& arguments);
OtnIpcMsg lldpInfo(const IssMgrArguments& arguments);

OtnIpcMsg flushCommand(const IssMgrArguments& arguments);
/// The data VLANs follow the header up to the record's end; what does not fit is left out.
OtnIpcMsg vlanMapping(const IssMgrArguments& arguments);
/// What a VLAN mapping is keyed by.
uint32_t vlanMappingKey(const IssMgrArguments& arguments);

/// The port word of an MSTP WAN rule: 0 for a port that the word has no bit for.
uint32_t wanPortWord(uint32_t port);
