#include "request/PortRequest.h"

#include <cstdio>

namespace ctl {
namespace {

constexpr uint32_t pseudowireVlan = 4000;  ///< of port 0

const char* words(PortAction action) {
  switch (action) {
    case PortAction::setUp:
      return "set-up";
    case PortAction::release:
      return "release";
    case PortAction::probe:
      return "probe";
    case PortAction::detach:
      return "detach";
    case PortAction::acknowledge:
      return "acknowledgement";
  }
  return "request";
}

void addScript(Plan& plan, uint32_t port) {
  PlannedMessage& message = addMessage(plan, RUN_DEFAULT_SCRIPT_COMMAND);
  ops::RunScript& script = message.record.payload.script;
  snprintf(script.inputFile, sizeof script.inputFile, "/tmp/SetVlanPort%d_", static_cast<int32_t>(port));
  snprintf(script.outputFile, sizeof script.outputFile, "/tmp/outscr.sh");
  message.filledIn = "the end of inputFile: the ring slot's number";
}

void addMapping(Plan& plan, const PortRequest& request, uint32_t acVlan) {
  const bool map = request.action == PortAction::setUp;
  PlannedMessage& message = addMessage(plan, MGMT_INTERFACE_MAPPING_IND);
  ops::MgmtInterfaceMapping& mapping = message.record.payload.mapping;
  constexpr uint8_t destination[6] = {0x01, 0x00, 0x5e, 0x90, 0x00, 0x00};
  memcpy(mapping.entry.destinationMac, destination, sizeof destination);
  mapping.entry.acVlan = acVlan;
  mapping.entry.pwVlan = pseudowireVlan + request.port;
  mapping.entry.acPort = 24;
  mapping.entry.pwPort = request.port;
  mapping.entry.peakRate = mapping.entry.committedRate = 1000;
  mapping.entry.outTunnelLabel = mapping.entry.inTunnelLabel = 1500;
  if (map) {
    mapping.entry.tunnelId = mapping.entry.vpnId = mapping.entry.tunnelIndex = mapping.entry.pwId = 1;
  }
  mapping.entryCount = 1;
  mapping.mapFlag = map ? ops::MgmtInterfaceMapping::map : ops::MgmtInterfaceMapping::unmap;
  message.filledIn = "sourceMac: the board's own; acPort: none when the daemon runs with -p";
  if (!map) message.filledIn += "; tunnelId, vpnId, tunnelIndex, pwId: those of the set-up";
}

void addInterface(Plan& plan, const PortRequest& request) {
  ops::IfcInsertDelete& ifc = addMessage(plan, IFC_INSERT_DELETE_IND).record.payload.ifc;
  ifc.entry = {request.port, request.speed, request.type};
  ifc.interfaceCount = 1;
  ifc.statusFlag =
      request.action == PortAction::probe ? ops::IfcInsertDelete::insert : ops::IfcInsertDelete::remove;
}

}  // namespace

Plan planOf(const PortRequest& request) {
  // "no vlan" of the port's own VLAN a second time takes no other away.
  const bool keepsAcVlan = request.action == PortAction::release && request.acVlan == 0;
  const uint32_t acVlan = keepsAcVlan ? pseudowireVlan + request.port : request.acVlan;
  Plan plan{.what = "port " + std::to_string(request.port) + ", " + words(request.action),
            .call = {.path = "/otn/Trelvik/IssSetLanWanAsync",
                     .interface = "otn.OBsetPortParams_1_0",
                     .method = "setPortParams",
                     .arguments = {{"action", static_cast<uint32_t>(request.action)},
                                   {"ifType", request.type},
                                   {"portNr", request.port},
                                   {"ifSpeed", request.speed},
                                   {"bConfigure", request.configure},
                                   {"acVlan", acVlan},
                                   {"extra1", request.extra1},
                                   {"extra2", request.extra2}}}};
  if (request.action == PortAction::setUp && request.configure) {
    addScript(plan, request.port);
    addMapping(plan, request, acVlan);
  } else if (request.action == PortAction::release && request.configure) {
    addMapping(plan, request, acVlan);
    addScript(plan, request.port);
  } else if (request.action == PortAction::probe || request.action == PortAction::detach) {
    addInterface(plan, request);
  }
  return plan;
}

}  // namespace ctl
