#include "iss/IssModel.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "OtnIpcFields.h"
#include "base/TmpFile.h"

namespace sim {
namespace {

constexpr std::string_view defaultScript = "/etc/iss/bh_default.txt";

void fillTrailer(OtnIpcMsg& msg, const std::optional<Refusal>& refusal) {
  memset(msg.errorString, 0, sizeof(OtnIpcMsg) - offsetof(OtnIpcMsg, errorString));
  msg.isResponse = 1;
  std::string text(ops::noError);
  if (refusal) {
    text = refusal->text.substr(0, sizeof msg.errorString - 3) + "\r\n";
    msg.status = 1;
    msg.errorValue[0] = static_cast<uint8_t>(refusal->area);
    msg.errorValue[1] = static_cast<uint8_t>(refusal->reason);
    msg.errorValue[2] = static_cast<uint8_t>(refusal->line >> 8);
    msg.errorValue[3] = static_cast<uint8_t>(refusal->line);
  }
  memcpy(msg.errorString, text.data(), text.size());
}

/// ISS writes a run's output where it is told to below /tmp; a failure is no failure of the run.
void writeOutput(const std::string& path, std::string_view output, std::string& notes) {
  const int fd = createTmpFile(path);
  bool good = fd >= 0;
  while (good && !output.empty()) {
    const ssize_t n = ::write(fd, output.data(), output.size());
    good = n > 0;
    if (good) output.remove_prefix(static_cast<size_t>(n));
  }
  if (!good) notes = "cannot write " + path + ": " + strerror(errno);
  if (fd >= 0) ::close(fd);
}

bool haveSameIds(const ops::TunnelEntry& left, const ops::TunnelEntry& right) {
  return left.tunnelId == right.tunnelId && left.vpnId == right.vpnId &&
         left.tunnelIndex == right.tunnelIndex && left.pwId == right.pwId;
}

bool isPort(uint32_t number) {
  return number >= 1 && number <= portCount;
}

OtnIpcMsg portRecord(const PortState& state) {
  OtnIpcMsg record{};
  record.msgType = PORT_STATUS_CHANGE_IND;
  record.payload.portStatus = {state.port, state.admin, state.operational};
  return record;
}

}  // namespace

OtnIpcMsg IssModel::answer(const OtnIpcMsg& request, std::string& notes) {
  OtnIpcMsg msg = request;
  notes.clear();
  fillTrailer(msg, handle(msg, notes));
  return msg;
}

std::vector<OtnIpcMsg> IssModel::takeReports() {
  std::vector<OtnIpcMsg> reports;
  for (const PortState& state : std::exchange(m_config.portChanges, {})) reports.push_back(portRecord(state));
  return reports;
}

bool IssModel::setPortOper(uint32_t port, bool up) {
  if (!isPort(port)) return false;
  const PortState before = m_config.portState(port);
  m_config.port(port).link = up;
  return m_config.portState(port) != before;
}

OtnIpcMsg IssModel::portReport(uint32_t port) const {
  return portRecord(isPort(port) ? m_config.portState(port) : PortState{port, false, false});
}

IssModel::Result IssModel::handle(OtnIpcMsg& msg, std::string& notes) {
  switch (msg.msgType) {
    case InvalidMsgType:
      // What the daemon sends when it could not write a script.
      msg.msgType = RUN_DEFAULT_SCRIPT_COMMAND;
      return Refusal{Area::script, CliReason::missing, std::string(scriptOpenError)};
    case IFC_INSERT_DELETE_IND:
      return insertInterface(msg.payload.ifc);
    case RUN_DEFAULT_SCRIPT_COMMAND:
      return runScriptFile(msg.payload.script, notes);
    case INTERESTED_PACKET_IND:
      return forwarding(msg.payload.rule);
    case MGMT_INTERFACE_MAPPING_IND:
      return mapTunnel(msg.payload.mapping);
    case SYNCE_CMD:
      m_synce = msg.payload.synce;
      return {};
    case SYNCE_PDU_CMD:
      m_syncePdu = msg.payload.syncePdu;
      return {};
    case FLUSH_CMD:
      flush(msg.payload.flush);
      return {};
    case GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS:
      return readCounters(msg.payload.counters);
    case SMARTSFP_PDU_CMD:
      m_smartSfpPdu = msg.payload.smartSfp;
      return {};
    case REDUNDANCY_STATE:
      m_redundancyState = msg.payload.redundancy.state;
      return {};
    case MRP_VLAN_MAPPING:
      return mapVlans(m_mrpVlans, msg);
    case ETS_VLAN_MAPPING:
      return mapVlans(m_etsVlans, msg);
    case LLDP_TLV_INFO:
      m_lldp = msg.payload.lldp;
      if (m_lldp->actionCode == ops::actionDelete) m_lldp.reset();
      return {};
    default:
      return Refusal{Area::request, CliReason::unknownCommand, "Unsupported request"};
  }
}

IssModel::Result IssModel::runScriptFile(const ops::RunScript& request, std::string& notes) {
  const std::string input(fieldText(request.inputFile));
  const std::string output(fieldText(request.outputFile));
  // The default script is ISS's own: whatever it holds, ISS runs it.
  const bool isDefault = input == defaultScript;
  std::string content;
  if (isDefault ? access(input.c_str(), R_OK) != 0 : !readScript(input, content)) {
    return Refusal{Area::script, CliReason::missing, std::string(scriptOpenError)};
  }
  if (isDefault) return {};
  const ScriptResult result = runScript(content, m_config);
  if (output.starts_with('/')) writeOutput(output, result.output, notes);
  if (!result.refused) return {};
  return Refusal{Area::script, result.refused->refusal.reason, "Script " + result.refused->text,
                 static_cast<uint32_t>(result.refused->line)};
}

uint32_t IssModel::newForwardingId() {
  // Ids travel as signed words on the bus and 0 means none.
  m_lastForwardingId = m_lastForwardingId == INT32_MAX ? 1 : m_lastForwardingId + 1;
  return m_lastForwardingId;
}

void IssModel::createForwardingEntry(ops::InterestedPacket& rule) {
  rule.fpId0 = newForwardingId();
  rule.fpId1 = rule.encapType == ops::encapMpls ? newForwardingId() : 0;
  if (m_forwardingEntries.size() >= maxForwardingEntries) {
    m_forwardingEntries.erase(m_forwardingEntries.begin());
  }
  m_forwardingEntries[rule.fpId0] = rule;
}

IssModel::Result IssModel::forwarding(ops::InterestedPacket& rule) {
  if (rule.entryCount > std::size(rule.entries)) {
    return Refusal{Area::forwarding, CliReason::badArgument, "Too many filter entries"};
  }
  if (rule.actionCode == ops::actionNone) return {};
  if (rule.actionCode > ops::actionModify) {
    return Refusal{Area::forwarding, CliReason::badArgument, "Unknown action code"};
  }
  if (rule.actionCode == ops::actionCreate) {
    createForwardingEntry(rule);
    return {};
  }
  const auto found = m_forwardingEntries.find(rule.fpId0);
  if (found == m_forwardingEntries.end() || found->second.entryKind != rule.entryKind ||
      (rule.fpId1 != 0 && found->second.fpId1 != rule.fpId1)) {
    return Refusal{Area::forwarding, CliReason::missing, "Unknown forwarding entry"};
  }
  if (rule.actionCode == ops::actionModify) {
    const uint32_t fpId1 = found->second.fpId1;
    found->second = rule;
    found->second.fpId1 = fpId1;
    return {};
  }
  // An entry that is gone has no ids: a client that takes them from the answer then has none.
  m_forwardingEntries.erase(found);
  rule.fpId0 = 0;
  rule.fpId1 = 0;
  return {};
}

IssModel::Result IssModel::mapTunnel(ops::MgmtInterfaceMapping& mapping) {
  ops::TunnelEntry& entry = mapping.entry;
  if (mapping.entryCount == 0) return Refusal{Area::tunnel, CliReason::badArgument, "No tunnel entry"};
  if (!isPort(entry.pwPort)) return Refusal{Area::tunnel, CliReason::badArgument, "Unknown port"};
  if (mapping.mapFlag == ops::MgmtInterfaceMapping::map) {
    // Ids from which a reader sees the port and the kind.
    entry.tunnelId = 1000 + entry.pwPort;
    entry.vpnId = 2000 + entry.pwPort;
    entry.tunnelIndex = 3000 + entry.pwPort;
    entry.pwId = 4000 + entry.pwPort;
    m_tunnels[entry.pwPort] = entry;
    return {};
  }
  const auto found = m_tunnels.find(entry.pwPort);
  if (found == m_tunnels.end()) return Refusal{Area::tunnel, CliReason::missing, "Port is not mapped"};
  if (!haveSameIds(found->second, entry)) {
    return Refusal{Area::tunnel, CliReason::missing, "Unknown tunnel ids"};
  }
  m_tunnels.erase(found);
  return {};
}

IssModel::Result IssModel::insertInterface(const ops::IfcInsertDelete& ifc) {
  if (ifc.statusFlag != ops::IfcInsertDelete::insert) {
    m_interfaces.erase(ifc.entry.interfaceNum);
    return {};
  }
  if (m_interfaces.size() >= maxKeys && !m_interfaces.contains(ifc.entry.interfaceNum)) {
    return Refusal{Area::interface, CliReason::full, "Interface table is full"};
  }
  m_interfaces[ifc.entry.interfaceNum] = ifc.entry;
  return {};
}

IssModel::Result IssModel::mapVlans(std::map<uint32_t, VlanMap>& maps, const OtnIpcMsg& msg) {
  const ops::VlanMapping& request = msg.payload.vlanMapping;
  if (maps.size() >= maxKeys && !maps.contains(request.key)) {
    return Refusal{Area::vlanMapping, CliReason::full, "VLAN mapping table is full"};
  }
  constexpr size_t first = offsetof(OtnIpcMsg, payload.vlanMapping.firstDataVlan);
  VlanMap& map = maps[request.key];
  map.vpn = request.vpn;
  map.dataVlans.resize(ops::VlanMapping::maxDataVlans);
  memcpy(map.dataVlans.data(), reinterpret_cast<const char*>(&msg) + first, sizeof msg - first);
  while (!map.dataVlans.empty() && map.dataVlans.back() == 0) map.dataVlans.pop_back();
  map.dataVlans.shrink_to_fit();
  return {};
}

void IssModel::flush(const ops::Flush& request) {
  const std::pair key(request.vpn, request.vp);
  if (m_flushes.size() < maxKeys || m_flushes.contains(key)) ++m_flushes[key];
}

/// Counters grow with every reading, differ between interfaces, and stand still while a port is down.
IssModel::Result IssModel::readCounters(ops::Counters& counters) {
  const uint32_t number = counters.interfaceNum;
  if (m_counters.size() >= maxKeys && !m_counters.contains(number)) {
    return Refusal{Area::counters, CliReason::full, "Counter table is full"};
  }
  ops::Counters& kept = m_counters[number];
  kept.interfaceNum = number;
  if (!isPort(number) || m_config.port(number).operational()) {
    const uint32_t frames = 100 + number % 100;
    kept.rxUnicastPackets += frames;
    kept.rxOctets += frames * 512;
    kept.rxDiscarded += 1;
    kept.rxUnknownProtocol += 2;
    kept.txUnicastPackets += frames * 2;
    kept.txOctets += frames * 2 * 512;
    kept.txDiscarded += 3;
  }
  counters = kept;
  return {};
}

}  // namespace sim
