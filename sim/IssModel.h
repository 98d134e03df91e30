// What the simulated ISS knows, and its answer to each request. It survives its clients, as ISS survives a
// restart of the daemon. Every table is bounded, so that a simulator may run for days. Not synchronised: one
// owner, one thread.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "OtnIpcMsg.h"

namespace sim {

struct ForwardingEntry {
  uint32_t entryKind;
  uint32_t encapType;
  uint32_t portBitmap;
  uint32_t fpId1;  ///< 0 = the entry has one id
};

struct TunnelIds {
  uint32_t tunnelId;
  uint32_t vpnId;
  uint32_t tunnelIndex;
  uint32_t pwId;
  bool operator==(const TunnelIds&) const = default;
};

struct VlanMap {
  uint32_t vpn;
  std::vector<int32_t> dataVlans;
};

class IssModel {
 public:
  static constexpr uint32_t portCount = 28;
  static constexpr size_t maxForwardingEntries = 65536;  ///< beyond it the oldest is forgotten
  static constexpr size_t maxKeys = 4096;                ///< of interfaces and of VLAN maps

  /// The answer to a request: the request's type and payload with the ids filled in, and the trailer. `notes`
  /// gets what the operator should see besides (one line, or empty).
  OtnIpcMsg answer(const OtnIpcMsg& request, std::string& notes);

  const std::map<uint32_t, ForwardingEntry>& forwardingEntries() const { return m_forwardingEntries; }
  const std::map<uint32_t, TunnelIds>& tunnels() const { return m_tunnels; }
  const std::map<uint32_t, ops::InterfaceEntry>& interfaces() const { return m_interfaces; }
  const std::map<uint32_t, VlanMap>& etsVlans() const { return m_etsVlans; }
  const std::map<uint32_t, VlanMap>& mrpVlans() const { return m_mrpVlans; }
  const ops::SyncECommand& synce() const { return m_synce; }
  const ops::SyncEPdu& syncePdu() const { return m_syncePdu; }
  const ops::LldpTlv& lldp() const { return m_lldp; }
  const ops::SmartSfpPdu& smartSfpPdu() const { return m_smartSfpPdu; }
  int32_t redundancyState() const { return m_redundancyState; }
  uint64_t flushCount() const { return m_flushCount; }

 private:
  /// Each carries out one request in place and returns OPS's error text, empty for success.
  std::string handle(OtnIpcMsg& msg, std::string& notes);
  std::string runScript(const ops::RunScript& request, std::string& notes);
  std::string forwarding(ops::InterestedPacket& rule);
  std::string createForwardingEntry(ops::InterestedPacket& rule);
  std::string mapTunnel(ops::MgmtInterfaceMapping& mapping);
  std::string insertInterface(const ops::IfcInsertDelete& ifc);
  std::string mapVlans(std::map<uint32_t, VlanMap>& maps, const OtnIpcMsg& msg);
  void readCounters(ops::Counters& counters);
  uint32_t newForwardingId();

  std::map<uint32_t, ForwardingEntry> m_forwardingEntries;  ///< by fpId0
  uint32_t m_lastForwardingId = 0;
  std::map<uint32_t, TunnelIds> m_tunnels;  ///< by pwPort
  std::map<uint32_t, ops::InterfaceEntry> m_interfaces;
  std::map<uint32_t, VlanMap> m_etsVlans;
  std::map<uint32_t, VlanMap> m_mrpVlans;
  ops::SyncECommand m_synce{};
  ops::SyncEPdu m_syncePdu{};
  ops::LldpTlv m_lldp{};
  ops::SmartSfpPdu m_smartSfpPdu{};
  int32_t m_redundancyState = 0;
  uint64_t m_flushCount = 0;
  uint32_t m_counterReads = 0;
};

}  // namespace sim
