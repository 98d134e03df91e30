#include "services/rules/IssMgrRules.h"

#include <iterator>
#include <optional>
#include <string_view>

#include "PortBitmap.h"
#include "services/pattern/FilterRule.h"
#include "services/pattern/NumberText.h"

namespace {

constexpr const char* ruleTypeNames[] = {"ETS", "MST_TOPO_LAN", "MST_TOPO_WAN", "FLUSH",
                                         "MRP", "MRP_GLOB",     "LLDP"};
constexpr const char* ruleActionNames[] = {"CREATE", "DELETE", "MODIFY", "NOT_APPLICABLE"};

/// Filter entry types of ISS, named by what is matched with them here.
enum EntryType : uint32_t {
  sourceMacL2 = 1,
  destinationMacL2 = 2,
  vlanId = 3,
  etherTypeL2 = 4,
  vpnId = 7,
  destinationMacMpls = 8,
  tagEtherType = 9,
  etherTypeMpls = 10,
  labelStack = 11,
  payloadBytes = 12,
  sourceMacMpls = 15,
};

constexpr uint32_t trapRuleWord = 3;
constexpr uint32_t globalRuleWord = 1;
constexpr uint16_t mrpEtherType = 0x88E3;
constexpr uint16_t vlanEtherType = 0x8100;
constexpr uint32_t halfWordMask = 0x0000FFFF;
constexpr uint32_t labelMask = 0x00F0FFFF;

/// A label as a label stack entry, cut to its low 24 bits.
uint32_t labelEntry(uint32_t label) {
  return label << 12 & 0x00FFFFFFU;
}

void matchLabels(ops::FilterEntry& entry, const IssMgrArguments& arguments) {
  const uint32_t values[2] = {labelEntry(arguments.mplsLbl), labelEntry(arguments.pwLbl)};
  const uint32_t masks[2] = {arguments.mplsLbl != 0 ? labelMask : 0, arguments.pwLbl != 0 ? labelMask : 0};
  entry.type = labelStack;
  memcpy(entry.value, values, sizeof values);
  memcpy(entry.mask, masks, sizeof masks);
}

bool hasLabel(const IssMgrArguments& arguments) {
  return arguments.mplsLbl != 0 || arguments.pwLbl != 0;
}

OtnIpcMsg ruleOf(const IssMgrArguments& arguments, uint32_t entryKind, uint32_t encap, uint32_t ruleWord) {
  OtnIpcMsg msg = emptyRule();
  ops::InterestedPacket& rule = msg.payload.rule;
  rule.entryKind = entryKind;
  rule.encapType = encap;
  rule.ruleWord = ruleWord;
  rule.actionCode = actionCodeOf(arguments.action);
  return msg;
}

void setFpIds(OtnIpcMsg& msg, int32_t fpId0, int32_t fpId1) {
  msg.payload.rule.fpId0 = static_cast<uint32_t>(fpId0);
  msg.payload.rule.fpId1 = static_cast<uint32_t>(fpId1);
}

/// MRP's port list has the bit of one port number, 1..32; any other number sets none.
void setPortNumber(uint8_t (&portList)[4], int16_t number) {
  if (number < 1 || number > 32) return;
  const auto bit = static_cast<unsigned>(number - 1);
  portList[bit / 8] = static_cast<uint8_t>(0x80U >> bit % 8);
}

/// Comma-separated decimal numbers: what is between one and the next comma is skipped, and the first thing
/// that is no number ends the list.
void copyDataVlans(std::string_view text, OtnIpcMsg& msg) {
  auto* at = reinterpret_cast<uint8_t*>(&msg) + offsetof(OtnIpcMsg, payload.vlanMapping.firstDataVlan);
  for (size_t count = 0; count < ops::VlanMapping::maxDataVlans; ++count) {
    const std::optional<int32_t> vlan = takeNumber(text);
    if (!vlan) return;
    memcpy(at, &*vlan, sizeof *vlan);
    at += sizeof *vlan;
    const size_t comma = text.find(',');
    text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
  }
}

}  // namespace

const char* ruleTypeName(uint32_t ruleType) {
  return ruleType < std::size(ruleTypeNames) ? ruleTypeNames[ruleType] : "UnknownRuleType";
}

const char* ruleActionName(uint32_t action) {
  return action < std::size(ruleActionNames) ? ruleActionNames[action] : "UnknownL2cpRuleAction";
}

uint8_t actionCodeOf(uint32_t action) {
  switch (static_cast<RuleAction>(action)) {
    case RuleAction::CREATE:
      return ops::actionCreate;
    case RuleAction::DELETE:
      return ops::actionDelete;
    case RuleAction::MODIFY:
      return ops::actionModify;
    default:
      return ops::actionNone;
  }
}

uint32_t encapOfVp(uint32_t vp) {
  if (vp == 1) return ops::encapL2;
  return vp == 2 ? ops::encapMpls : 0U;
}

OtnIpcMsg etsRule(const IssMgrArguments& arguments, uint32_t encap) {
  const bool l2 = encap == ops::encapL2;
  OtnIpcMsg msg = ruleOf(arguments, ops::etsRule, encap, trapRuleWord);
  ops::InterestedPacket& rule = msg.payload.rule;
  bitmapToPortList(l2 ? arguments.L2Pbmp : arguments.MplsPbmp, rule.portList);
  matchMac(rule.entries[0], l2 ? sourceMacL2 : sourceMacMpls, {0x02, 0x5A, 0xC3, 0x00, 0x1E, 0xFF});
  matchBytes(rule.entries[1], l2 ? destinationMacL2 : destinationMacMpls, {0, 0, 0, 0, 0, 0x01},
             {0, 0, 0, 0, 0, 0x03});
  matchBytes(rule.entries[2], payloadBytes, {0x6E, 0x78, static_cast<uint8_t>(arguments.vlan), 0x00},
             {0xFF, 0xFF, 0xFF, 0x00});
  matchWord(rule.entries[3], vpnId, arguments.vpn, halfWordMask);
  rule.entryCount = 4;
  setFpIds(msg, arguments.fpId0, arguments.fpId1);
  return msg;
}

OtnIpcMsg mstpLanRule(const IssMgrArguments& arguments, uint32_t fpId0) {
  OtnIpcMsg msg = ruleOf(arguments, ops::mstpRule, ops::encapL2, trapRuleWord);
  ops::InterestedPacket& rule = msg.payload.rule;
  matchMac(rule.entries[0], destinationMacL2, {0x01, 0x80, 0xC2, 0x00, 0x00, 0x00});
  matchBytes(rule.entries[1], payloadBytes, {0x00, 0x00, 0x00, 0x03}, {0x00, 0xFF, 0xFF, 0xFF});
  bitmapToPortList(arguments.L2Pbmp, rule.portList);
  rule.entryCount = 2;
  rule.fpId0 = fpId0;
  return msg;
}

OtnIpcMsg mstpWanRule(const IssMgrArguments& arguments, int32_t fpId0, int32_t fpId1) {
  OtnIpcMsg msg = ruleOf(arguments, ops::mstpRule, ops::encapMpls, trapRuleWord);
  ops::InterestedPacket& rule = msg.payload.rule;
  matchMac(rule.entries[0], destinationMacMpls, {0x01, 0x80, 0xC2, 0x00, 0x00, 0x00});
  if (hasLabel(arguments)) matchLabels(rule.entries[1], arguments);
  matchBytes(rule.entries[2], payloadBytes, {0x00, 0x00, 0x00, 0x03}, {0x00, 0xFF, 0xFF, 0xFF});
  storePortWord(wanPortWord(arguments.port), rule.portList);
  rule.entryCount = 3;  // the label entry counts also when it is empty
  setFpIds(msg, fpId0, fpId1);
  return msg;
}

OtnIpcMsg mrpRule(const IssMgrArguments& arguments, uint32_t encap) {
  const bool l2 = encap == ops::encapL2;
  OtnIpcMsg msg = ruleOf(arguments, ops::mrpRule, encap, trapRuleWord);
  ops::InterestedPacket& rule = msg.payload.rule;
  setPortNumber(rule.portList, static_cast<int16_t>(arguments.L2Pbmp));
  uint8_t count = 0;
  matchMac(rule.entries[count++], l2 ? destinationMacL2 : destinationMacMpls,
           {0x01, 0x15, 0x4E, 0x00, 0x00, 0x02});
  matchHalfWord(rule.entries[count++], l2 ? etherTypeL2 : etherTypeMpls, mrpEtherType);
  matchBytes(rule.entries[count++], payloadBytes, {0x03}, {0xFF});
  if (hasLabel(arguments)) matchLabels(rule.entries[count++], arguments);
  if (l2) {
    matchWord(rule.entries[count++], vlanId, arguments.vlan, halfWordMask);
  } else {
    matchHalfWord(rule.entries[count++], tagEtherType, vlanEtherType);
  }
  rule.entryCount = count;
  setFpIds(msg, arguments.fpId0, arguments.fpId1);
  return msg;
}

OtnIpcMsg mrpGlobalRule(const IssMgrArguments& arguments) {
  OtnIpcMsg msg = ruleOf(arguments, ops::mrpRule, ops::encapL2, globalRuleWord);
  ops::InterestedPacket& rule = msg.payload.rule;
  matchBytes(rule.entries[0], destinationMacL2, {0x01, 0x15, 0x4E, 0x00, 0x00, 0x00},
             {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00});
  matchHalfWord(rule.entries[1], etherTypeL2, mrpEtherType);
  rule.entryCount = 2;
  setFpIds(msg, arguments.fpId0, arguments.fpId1);
  return msg;
}

OtnIpcMsg lldpInfo(const IssMgrArguments& arguments) {
  OtnIpcMsg msg{};
  msg.msgType = LLDP_TLV_INFO;
  ops::LldpTlv& lldp = msg.payload.lldp;
  lldp.chassisId = arguments.chassisId;
  lldp.mgmtIp = arguments.MgmtIp;
  lldp.slotId = arguments.slotId;
  lldp.create = static_cast<RuleAction>(arguments.action) == RuleAction::CREATE ? 1 : 0;
  lldp.actionCode = actionCodeOf(arguments.action);
  return msg;
}

OtnIpcMsg flushCommand(const IssMgrArguments& arguments) {
  OtnIpcMsg msg{};
  msg.msgType = FLUSH_CMD;
  msg.payload.flush = {arguments.vpn, arguments.vp};
  return msg;
}

uint32_t vlanMappingKey(const IssMgrArguments& arguments) {
  return static_cast<RuleType>(arguments.ruleType) == RuleType::ETS ? arguments.vlan : arguments.L2Pbmp;
}

OtnIpcMsg vlanMapping(const IssMgrArguments& arguments) {
  OtnIpcMsg msg{};
  msg.msgType =
      static_cast<RuleType>(arguments.ruleType) == RuleType::ETS ? ETS_VLAN_MAPPING : MRP_VLAN_MAPPING;
  msg.payload.vlanMapping.key = vlanMappingKey(arguments);
  msg.payload.vlanMapping.vpn = arguments.vpn;
  copyDataVlans(arguments.dataVfis, msg);
  return msg;
}

uint32_t wanPortWord(uint32_t port) {
  return port <= 31 ? 1U << (31 - port) : 0;
}
