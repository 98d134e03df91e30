#include <memory>
#include <tuple>

#include "commands/Command.h"
#include "commands/Request.h"
#include "request/RuleRequest.h"

namespace ctl {
namespace {

constexpr Name encapsulations[] = {{"l2", 1}, {"mpls", 2}};
constexpr Range fpIdRange{1, INT32_MAX};
constexpr Range vpnRange{0, 0xFFFF};

/// What the options say, before it becomes a request.
struct RuleOptions {
  RuleRequest request;
  uint32_t ports = 0;
  uint32_t fpId0 = 0;
  uint32_t fpId1 = 0;
  uint32_t slot = 0;
  uint32_t wanPort = 0;
  bool flush = false;
};
using Shared = std::shared_ptr<RuleOptions>;

Outcome perform(Context& context, const RuleOptions& options) {
  RuleRequest request = options.request;
  if (options.flush && !request.dataVlans.empty()) {
    return usage("--flush and --data-vlans exclude each other: make two requests");
  }
  if (options.flush) request.flushAction = 1;
  if (!request.dataVlans.empty()) request.flushAction = 2;
  const bool known = request.action == RuleAction::remove || request.action == RuleAction::modify;
  const bool byId =
      request.type == RuleType::ets || request.type == RuleType::mrp || request.type == RuleType::mrpGlobal;
  if (byId && known && options.fpId0 == 0 && !context.force) {
    return usage("--fp-id0 is required: the id that the rule's creation was answered with (or --force)");
  }
  request.fpId0 = static_cast<int32_t>(options.fpId0);
  request.fpId1 = static_cast<int32_t>(options.fpId1);
  request.slotId = static_cast<uint16_t>(options.slot);
  if (request.type == RuleType::ets && request.vp == 2) {
    request.mplsPorts = options.ports;
  } else {
    request.l2Ports = options.ports;
  }
  // The bus counts WAN ports from 0.
  if (request.type == RuleType::mstpWan) request.port = options.wanPort - 1;
  return carryOut(context, planOf(request));
}

Shared addAction(Command& command, RuleType type, RuleAction action) {
  auto options = std::make_shared<RuleOptions>();
  options->request.type = type;
  options->request.action = action;
  command.run([options](Context& context) { return perform(context, *options); });
  return options;
}

void addSecondCommand(Command& command, RuleOptions& options) {
  command.flag("--flush", options.flush, "also flush the VPN");
  command.value("--data-vlans", "VLANS", "also map these data VLANs (100,200)", Need::optional, {},
                [&](const std::string& word) { return parseVlanList(word, options.request.dataVlans); });
}

void addLabels(Command& command, RuleRequest& request) {
  command.number("--mpls-label", request.mplsLabel, labelRange, "MPLS label; 0, the default: none");
  command.number("--pw-label", request.pwLabel, labelRange, "pseudowire label; same");
}

void addIds(Command& command, RuleOptions& options) {
  command.number("--fp-id0", options.fpId0, fpIdRange,
                 "forwarding-entry id that the creation was answered with");
  command.number("--fp-id1", options.fpId1, fpIdRange, "second one, of an MPLS rule");
}

struct Action {
  const char* name;
  RuleAction action;
  const char* description;
};
constexpr Action create{"create", RuleAction::create, "makes the rule"};
constexpr Action remove{"delete", RuleAction::remove, "removes it"};
constexpr Action modify{"modify", RuleAction::modify, "changes it"};
constexpr Action none{"none", RuleAction::none, "leaves it as it is: for --flush or --data-vlans alone"};

void addEts(Command& rules) {
  Command ets = rules.sub("ets", "trap rule for ETS frames");
  for (const Action& one : {create, remove, modify, none}) {
    Command command = ets.sub(one.name, one.description);
    const Shared options = addAction(command, RuleType::ets, one.action);
    options->request.vp = 1;
    const Need need = one.action == RuleAction::create ? Need::required : Need::optional;
    command.choice("--encap", options->request.vp, encapsulations, "encapsulation; default l2");
    command.ports("--ports", options->ports, "ports that it is for", need);
    command.number("--vlan", options->request.vlan, vlanRange, "VLAN; key of the data VLANs", need);
    command.number("--vpn", options->request.vpn, vpnRange, "VPN; default 0");
    addIds(command, *options);
    addSecondCommand(command, *options);
  }
}

void addMstp(Command& rules) {
  Command lan = rules.sub("mstp-lan", "trap rule for MSTP frames of LAN ports");
  for (const Action& one : {create, remove}) {
    Command command = lan.sub(one.name, one.description);
    const Shared options = addAction(command, RuleType::mstpLan, one.action);
    command.ports("--ports", options->ports, "LAN ports",
                  one.action == RuleAction::create ? Need::required : Need::optional);
    command.number("--vpn", options->request.vpn, anyNumber, "VPN to flush or to map; default 0");
    command.number("--vp", options->request.vp, anyNumber, "virtual port to flush; default 0");
    addSecondCommand(command, *options);
  }
  Command wan = rules.sub("mstp-wan", "trap rule for MSTP frames of a WAN port");
  for (const Action& one : {create, remove}) {
    Command command = wan.sub(one.name, one.description);
    const Shared options = addAction(command, RuleType::mstpWan, one.action);
    command.number("--port", options->wanPort, portRange, "WAN port", Need::required);
    addLabels(command, options->request);
    command.number("--vpn", options->request.vpn, anyNumber, "VPN to flush or to map; default 0");
    command.number("--vp", options->request.vp, anyNumber, "virtual port to flush; default 0");
    addSecondCommand(command, *options);
  }
}

void addMrp(Command& rules) {
  Command mrp = rules.sub("mrp", "trap rule for MRP frames of a port");
  for (const Action& one : {create, remove, modify, none}) {
    Command command = mrp.sub(one.name, one.description);
    const Shared options = addAction(command, RuleType::mrp, one.action);
    options->request.vp = 1;
    command.number("--port", options->ports, portRange, "port; key of the data VLANs", Need::required);
    command.choice("--encap", options->request.vp, encapsulations, "encapsulation; default l2");
    command.number("--vlan", options->request.vlan, vlanRange, "VLAN of an L2 rule");
    command.number("--vpn", options->request.vpn, anyNumber, "VPN to flush or to map; default 0");
    addLabels(command, options->request);
    addIds(command, *options);
    addSecondCommand(command, *options);
  }
  Command global = rules.sub("mrp-global", "trap rule for MRP frames of all ports");
  for (const Action& one : {create, remove, modify}) {
    Command command = global.sub(one.name, one.description);
    addIds(command, *addAction(command, RuleType::mrpGlobal, one.action));
  }
}

void addLldp(Command& rules) {
  Command lldp = rules.sub("lldp", "what LLDP announces of the node");
  for (const Action& one : {create, remove, modify}) {
    Command command = lldp.sub(one.name, one.description);
    const Shared options = addAction(command, RuleType::lldp, one.action);
    const Need need = one.action == RuleAction::remove ? Need::optional : Need::required;
    command.number("--chassis-id", options->request.chassisId, anyNumber, "chassis id", need);
    command.value(
        "--mgmt-ip", "ADDRESS", "management address (10.0.0.1)", need, {},
        [options](const std::string& word) { return parseIpAddress(word, options->request.mgmtIp); });
    command.number("--slot", options->slot, {0, UINT16_MAX}, "slot; default 0");
  }
}

}  // namespace

void addRule(Command root) {
  Command rules = root.sub("rule", "makes and removes packet-trap rules, flushes VPNs");
  addEts(rules);
  addMstp(rules);
  addMrp(rules);
  addLldp(rules);
  Command flush = rules.sub("flush", "flushes a VPN");
  const Shared options = addAction(flush, RuleType::flush, RuleAction::none);
  options->flush = true;
  flush.number("--vpn", options->request.vpn, anyNumber, "VPN", Need::required);
  flush.number("--vp", options->request.vp, anyNumber, "virtual port; default 0");
}

}  // namespace ctl
