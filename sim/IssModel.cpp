#include "IssModel.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "PortBitmap.h"
#include "ScriptCheck.h"

namespace sim {
namespace {

constexpr std::string_view defaultScript = "/etc/iss/bh_default.txt";
constexpr const char* unknownEntry = "Unknown forwarding entry\r\n";

void fillTrailer(OtnIpcMsg& msg, std::string_view error) {
  memset(msg.errorString, 0, sizeof(OtnIpcMsg) - offsetof(OtnIpcMsg, errorString));
  msg.status = error.empty() ? 0 : 1;
  msg.isResponse = 1;
  if (error.empty()) error = ops::noError;
  memcpy(msg.errorString, error.data(), std::min(error.size(), sizeof msg.errorString - 1));
}

/// ISS writes a run's output where it is told to by an absolute path; a failure is no failure of the run.
void writeOutput(const std::string& path, std::string_view output, std::string& notes) {
  const int fd =
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
  bool good = fd >= 0;
  while (good && !output.empty()) {
    const ssize_t n = ::write(fd, output.data(), output.size());
    good = n > 0;
    if (good) output.remove_prefix(static_cast<size_t>(n));
  }
  if (!good) notes = "cannot write " + path + ": " + strerror(errno);
  if (fd >= 0) ::close(fd);
}

TunnelIds idsOf(const ops::TunnelEntry& entry) {
  return {entry.tunnelId, entry.vpnId, entry.tunnelIndex, entry.pwId};
}

/// Ids that tell the port and their kind at a glance.
TunnelIds idsForPort(uint32_t port) {
  return {1000 + port, 2000 + port, 3000 + port, 4000 + port};
}

}  // namespace

OtnIpcMsg IssModel::answer(const OtnIpcMsg& request, std::string& notes) {
  OtnIpcMsg msg = request;
  notes.clear();
  const std::string error = handle(msg, notes);
  fillTrailer(msg, error);
  return msg;
}

std::string IssModel::handle(OtnIpcMsg& msg, std::string& notes) {
  switch (msg.msgType) {
    case InvalidMsgType:
      // What the daemon sends when it could not write a script.
      msg.msgType = RUN_DEFAULT_SCRIPT_COMMAND;
      return std::string(scriptOpenError);
    case IFC_INSERT_DELETE_IND:
      return insertInterface(msg.payload.ifc);
    case RUN_DEFAULT_SCRIPT_COMMAND:
      return runScript(msg.payload.script, notes);
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
      ++m_flushCount;
      return {};
    case GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS:
      readCounters(msg.payload.counters);
      return {};
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
      m_lldp = msg.payload.lldp.actionCode == ops::actionDelete ? ops::LldpTlv{} : msg.payload.lldp;
      return {};
    default:
      return "Unsupported request\r\n";
  }
}

std::string IssModel::runScript(const ops::RunScript& request, std::string& notes) {
  const std::string input(fieldText(request.inputFile));
  const std::string output(fieldText(request.outputFile));
  // The default script is ISS's own: whatever it holds, ISS runs it.
  const bool isDefault = input == defaultScript;
  std::string content;
  if (isDefault ? access(input.c_str(), R_OK) != 0 : !readScript(input, content)) {
    return std::string(scriptOpenError);
  }
  if (isDefault) return {};
  ScriptResult result = checkScript(content);
  if (output.starts_with('/')) writeOutput(output, result.output, notes);
  return std::move(result.error);
}

uint32_t IssModel::newForwardingId() {
  // Ids travel as signed words on the bus and 0 means none.
  m_lastForwardingId = m_lastForwardingId == INT32_MAX ? 1 : m_lastForwardingId + 1;
  return m_lastForwardingId;
}

std::string IssModel::createForwardingEntry(ops::InterestedPacket& rule) {
  rule.fpId0 = newForwardingId();
  rule.fpId1 = rule.encapType == ops::encapMpls ? newForwardingId() : 0;
  if (m_forwardingEntries.size() >= maxForwardingEntries)
    m_forwardingEntries.erase(m_forwardingEntries.begin());
  m_forwardingEntries[rule.fpId0] = {rule.entryKind, rule.encapType, portListToBitmap(rule.portList),
                                     rule.fpId1};
  return {};
}

std::string IssModel::forwarding(ops::InterestedPacket& rule) {
  if (rule.entryCount > std::size(rule.entries)) return "Too many filter entries\r\n";
  if (rule.actionCode == ops::actionCreate) return createForwardingEntry(rule);
  if (rule.actionCode == ops::actionNone) return {};
  if (rule.actionCode > ops::actionModify) return "Unknown action code\r\n";
  const auto found = m_forwardingEntries.find(rule.fpId0);
  if (found == m_forwardingEntries.end() || found->second.entryKind != rule.entryKind ||
      (rule.fpId1 != 0 && found->second.fpId1 != rule.fpId1)) {
    return unknownEntry;
  }
  if (rule.actionCode == ops::actionModify) {
    found->second.portBitmap = portListToBitmap(rule.portList);
    return {};
  }
  // An entry that is gone has no ids: who keeps them from the answer then keeps none.
  m_forwardingEntries.erase(found);
  rule.fpId0 = 0;
  rule.fpId1 = 0;
  return {};
}

std::string IssModel::mapTunnel(ops::MgmtInterfaceMapping& mapping) {
  ops::TunnelEntry& entry = mapping.entry;
  if (mapping.entryCount == 0) return "No tunnel entry\r\n";
  if (entry.pwPort < 1 || entry.pwPort > portCount) return "Unknown port\r\n";
  if (mapping.mapFlag == ops::MgmtInterfaceMapping::map) {
    const TunnelIds ids = idsForPort(entry.pwPort);
    m_tunnels[entry.pwPort] = ids;
    entry.tunnelId = ids.tunnelId;
    entry.vpnId = ids.vpnId;
    entry.tunnelIndex = ids.tunnelIndex;
    entry.pwId = ids.pwId;
    return {};
  }
  const auto found = m_tunnels.find(entry.pwPort);
  if (found == m_tunnels.end()) return "Port is not mapped\r\n";
  if (found->second != idsOf(entry)) return "Unknown tunnel ids\r\n";
  m_tunnels.erase(found);
  return {};
}

std::string IssModel::insertInterface(const ops::IfcInsertDelete& ifc) {
  if (ifc.statusFlag != ops::IfcInsertDelete::insert) {
    m_interfaces.erase(ifc.entry.interfaceNum);
    return {};
  }
  if (m_interfaces.size() >= maxKeys && !m_interfaces.contains(ifc.entry.interfaceNum)) {
    return "Interface table is full\r\n";
  }
  m_interfaces[ifc.entry.interfaceNum] = ifc.entry;
  return {};
}

std::string IssModel::mapVlans(std::map<uint32_t, VlanMap>& maps, const OtnIpcMsg& msg) {
  const ops::VlanMapping& request = msg.payload.vlanMapping;
  if (maps.size() >= maxKeys && !maps.contains(request.key)) return "VLAN mapping table is full\r\n";
  constexpr size_t first = offsetof(OtnIpcMsg, payload.vlanMapping.firstDataVlan);
  VlanMap& map = maps[request.key];
  map.vpn = request.vpn;
  map.dataVlans.resize(ops::VlanMapping::maxDataVlans);
  memcpy(map.dataVlans.data(), reinterpret_cast<const char*>(&msg) + first, sizeof msg - first);
  while (!map.dataVlans.empty() && map.dataVlans.back() == 0) map.dataVlans.pop_back();
  map.dataVlans.shrink_to_fit();
  return {};
}

/// Counters grow with every reading and differ between interfaces.
void IssModel::readCounters(ops::Counters& counters) {
  const uint32_t frames = ++m_counterReads * 100 + counters.interfaceNum;
  counters.rxUnicastPackets = frames;
  counters.rxOctets = frames * 512;
  counters.rxDiscarded = m_counterReads;
  counters.rxErrors = 0;
  counters.rxUnknownProtocol = m_counterReads / 2;
  counters.txUnicastPackets = frames * 2;
  counters.txOctets = frames * 2 * 512;
  counters.txDiscarded = m_counterReads / 4;
  counters.txErrors = 0;
}

}  // namespace sim
