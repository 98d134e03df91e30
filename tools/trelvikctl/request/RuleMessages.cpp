#include "request/RuleMessages.h"

#include <initializer_list>

#include "PortBitmap.h"

namespace ctl {
namespace {

using Bytes = std::initializer_list<uint8_t>;

constexpr uint32_t word16 = 0x0000FFFF;

/// Fills a rule's filter entries one after the other.
class Entries {
 public:
  explicit Entries(ops::InterestedPacket& rule) : m_rule(rule) {}

  void add(uint32_t type, Bytes value, Bytes mask) {
    ops::FilterEntry& entry = m_rule.entries[m_rule.entryCount++];
    entry.type = type;
    memcpy(entry.value, value.begin(), value.size());
    memcpy(entry.mask, mask.begin(), mask.size());
  }
  void addWord(uint32_t type, uint32_t value, uint32_t mask) {
    ops::FilterEntry& entry = m_rule.entries[m_rule.entryCount++];
    entry.type = type;
    memcpy(entry.value, &value, sizeof value);
    memcpy(entry.mask, &mask, sizeof mask);
  }
  void addMac(uint32_t type, Bytes mac) { add(type, mac, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}); }
  /// All zero when there is no label.
  void addLabels(uint32_t mpls, uint32_t pw) {
    ops::FilterEntry& entry = m_rule.entries[m_rule.entryCount++];
    if (mpls == 0 && pw == 0) return;
    entry.type = 11;
    const uint32_t values[] = {(mpls << 12) & 0xFFFFFF, (pw << 12) & 0xFFFFFF};
    const uint32_t masks[] = {mpls != 0 ? 0x00F0FFFFU : 0, pw != 0 ? 0x00F0FFFFU : 0};
    memcpy(entry.value, values, sizeof values);
    memcpy(entry.mask, masks, sizeof masks);
  }

 private:
  ops::InterestedPacket& m_rule;
};

void addEts(ops::InterestedPacket& rule, const RuleRequest& request) {
  const bool mpls = request.vp == 2;
  Entries entries(rule);
  entries.addMac(mpls ? 15 : 1, {0x02, 0x5A, 0xC3, 0x00, 0x1E, 0xFF});
  entries.add(mpls ? 8 : 2, {0, 0, 0, 0, 0, 1}, {0, 0, 0, 0, 0, 3});
  entries.add(12, {0x6E, 0x78, static_cast<uint8_t>(request.vlan), 0}, {0xFF, 0xFF, 0xFF, 0});
  entries.addWord(7, request.vpn, word16);
  bitmapToPortList(mpls ? request.mplsPorts : request.l2Ports, rule.portList);
  rule.entryKind = ops::etsRule;
  rule.encapType = mpls ? ops::encapMpls : ops::encapL2;
}

void addMstp(ops::InterestedPacket& rule, const RuleRequest& request) {
  const bool wan = request.type == RuleType::mstpWan;
  Entries entries(rule);
  entries.addMac(wan ? 8 : 2, {0x01, 0x80, 0xC2, 0x00, 0x00, 0x00});
  if (wan) entries.addLabels(request.mplsLabel, request.pwLabel);
  entries.add(12, {0, 0, 0, 3}, {0, 0xFF, 0xFF, 0xFF});
  const uint32_t wanPort = request.port < 32 ? uint32_t{1} << request.port : 0;
  bitmapToPortList(wan ? wanPort : request.l2Ports, rule.portList);
  rule.entryKind = ops::mstpRule;
  rule.encapType = wan ? ops::encapMpls : ops::encapL2;
}

void addMrp(ops::InterestedPacket& rule, const RuleRequest& request) {
  const bool mpls = request.vp == 2;
  Entries entries(rule);
  entries.addMac(mpls ? 8 : 2, {0x01, 0x15, 0x4E, 0x00, 0x00, 0x02});
  entries.add(mpls ? 10 : 4, {0xE3, 0x88}, {0xFF, 0xFF});
  entries.add(12, {0x03}, {0xFF});
  if (request.mplsLabel != 0 || request.pwLabel != 0) entries.addLabels(request.mplsLabel, request.pwLabel);
  if (mpls) {
    entries.add(9, {0x00, 0x81}, {0xFF, 0xFF});
  } else {
    entries.addWord(3, request.vlan, word16);
  }
  const uint32_t port = request.l2Ports & 0xFFFF;
  if (port >= 1 && port <= 32) bitmapToPortList(uint32_t{1} << (port - 1), rule.portList);
  rule.entryKind = ops::mrpRule;
  rule.encapType = mpls ? ops::encapMpls : ops::encapL2;
}

void addMrpGlobal(ops::InterestedPacket& rule) {
  Entries entries(rule);
  entries.add(2, {0x01, 0x15, 0x4E, 0x00, 0x00, 0x00}, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00});
  entries.add(4, {0xE3, 0x88}, {0xFF, 0xFF});
  rule.entryKind = ops::mrpRule;
  rule.encapType = ops::encapL2;
}

void addLldp(Plan& plan, const RuleRequest& request) {
  ops::LldpTlv& lldp = addMessage(plan, LLDP_TLV_INFO).record.payload.lldp;
  lldp.chassisId = request.chassisId;
  lldp.mgmtIp = request.mgmtIp;
  lldp.slotId = request.slotId;
  lldp.create = request.action == RuleAction::create ? 1 : 0;
  lldp.actionCode = actionCode(request.action);
}

}  // namespace

ops::ActionCode actionCode(RuleAction action) {
  switch (action) {
    case RuleAction::create:
      return ops::actionCreate;
    case RuleAction::remove:
      return ops::actionDelete;
    case RuleAction::modify:
      return ops::actionModify;
    default:
      return ops::actionNone;
  }
}

void addRule(Plan& plan, const RuleRequest& request) {
  const bool etsOrMrp = request.type == RuleType::ets || request.type == RuleType::mrp;
  if (request.type == RuleType::flush || (etsOrMrp && request.action == RuleAction::none)) return;
  if (request.type == RuleType::lldp) return addLldp(plan, request);
  PlannedMessage& message = addMessage(plan, INTERESTED_PACKET_IND);
  ops::InterestedPacket& rule = message.record.payload.rule;
  rule.ruleWord = request.type == RuleType::mrpGlobal ? 1 : 3;
  rule.actionCode = actionCode(request.action);
  if (request.type == RuleType::mstpLan || request.type == RuleType::mstpWan) {
    addMstp(rule, request);
    if (request.action == RuleAction::remove) message.filledIn = "fpId0, fpId1: those of the creation";
    return;
  }
  rule.fpId0 = static_cast<uint32_t>(request.fpId0);
  rule.fpId1 = static_cast<uint32_t>(request.fpId1);
  if (request.type == RuleType::ets) {
    addEts(rule, request);
  } else if (request.type == RuleType::mrp) {
    addMrp(rule, request);
  } else {
    addMrpGlobal(rule);
  }
}

}  // namespace ctl
