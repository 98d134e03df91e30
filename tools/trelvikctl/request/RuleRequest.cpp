#include "request/RuleRequest.h"

#include <cstdlib>

#include "request/RuleMessages.h"

namespace ctl {
namespace {

constexpr const char* typeNames[] = {"ETS rule", "MSTP LAN rule",   "MSTP WAN rule", "flush",
                                     "MRP rule", "MRP global rule", "LLDP data"};
constexpr const char* actionNames[] = {"creation", "deletion", "change", "no change"};

void addFlush(Plan& plan, const RuleRequest& request) {
  ops::Flush& flush = addMessage(plan, FLUSH_CMD).record.payload.flush;
  flush.vpn = request.vpn;
  flush.vp = request.vp;
}

void addMapping(Plan& plan, const RuleRequest& request) {
  const bool ets = request.type == RuleType::ets;
  ops::Payload& payload = addMessage(plan, ets ? ETS_VLAN_MAPPING : MRP_VLAN_MAPPING).record.payload;
  payload.vlanMapping.key = ets ? request.vlan : request.l2Ports;
  payload.vlanMapping.vpn = request.vpn;
  size_t at = offsetof(ops::VlanMapping, firstDataVlan);
  for (const std::string& word : split(request.dataVlans, ',')) {
    const auto vlan = static_cast<int32_t>(strtol(word.c_str(), nullptr, 10));
    if (at + sizeof vlan > sizeof payload.bytes) break;
    memcpy(payload.bytes + at, &vlan, sizeof vlan);
    at += sizeof vlan;
  }
}

}  // namespace

Plan planOf(const RuleRequest& request) {
  Plan plan{.what = typeNames[static_cast<uint32_t>(request.type)],
            .call = {.path = "/otn/Trelvik/IssSetIssMgrAsync",
                     .interface = "otn.OBsetIssMgrParams_1_0",
                     .method = "setIssMgrParams",
                     .arguments = {{"ruleType", static_cast<uint32_t>(request.type)},
                                   {"action", static_cast<uint32_t>(request.action)},
                                   {"L2Pbmp", request.l2Ports},
                                   {"MplsPbmp", request.mplsPorts},
                                   {"flushAct", request.flushAction},
                                   {"vpn", request.vpn},
                                   {"vp", request.vp},
                                   {"port", request.port},
                                   {"vlan", request.vlan},
                                   {"mplsLbl", request.mplsLabel},
                                   {"pwLbl", request.pwLabel},
                                   {"dataVfis", request.dataVlans},
                                   {"chassisId", request.chassisId},
                                   {"lldpReserved", uint32_t{0}},
                                   {"MgmtIp", request.mgmtIp},
                                   {"slotId", request.slotId},
                                   {"fpId0", request.fpId0},
                                   {"fpId1", request.fpId1}}}};
  if (request.type != RuleType::flush) {
    plan.what += std::string(", ") + actionNames[static_cast<uint32_t>(request.action)];
  }
  addRule(plan, request);
  if (request.flushAction == 1) addFlush(plan, request);
  if (request.flushAction == 2) addMapping(plan, request);
  if (plan.messages.empty()) {
    plan.whyNoAnswer = "the daemon makes no message for ISS of it, and answers no such request";
  }
  return plan;
}

}  // namespace ctl
