// What the simulated ISS knows, and its answer to each request. It survives its clients, as ISS survives a
// restart of the daemon. Every table is bounded, so that a simulator may run for days. Not synchronised: one
// owner, one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "OtnIpcMsg.h"
#include "iss/CliScript.h"

namespace sim {

/// What a refusal is about: ISS's first error value.
enum class Area : uint8_t {
  request = 1,
  script = 2,
  forwarding = 3,
  tunnel = 4,
  interface = 5,
  vlanMapping = 6,
  counters = 7,
};

/// Why a request is refused. The answer's four error values are the area, the reason and the script's line,
/// most significant byte first (0 where there is none).
struct Refusal {
  Area area;
  CliReason reason;
  std::string text;  ///< OPS's error text without its line end
  uint32_t line = 0;
};

struct VlanMap {
  uint32_t vpn;
  std::vector<int32_t> dataVlans;
};

class IssModel {
 public:
  static constexpr size_t maxForwardingEntries = 65536;  ///< beyond it the oldest is forgotten
  static constexpr size_t maxKeys = 4096;                ///< of interfaces, VLAN maps, flushes and counters

  /// The answer to a request: the request's type and payload with the ids filled in, and the trailer. `notes`
  /// gets what the operator should see besides (one line, or empty).
  OtnIpcMsg answer(const OtnIpcMsg& request, std::string& notes);

  /// Reports of the port changes that requests have made since the last call, oldest first. They are sent
  /// before the answer to the request that made them.
  std::vector<OtnIpcMsg> takeReports();

  /// Plugs a port's link in or out; true when the port's operational state changed. Nothing is queued: the
  /// caller sends portReport().
  bool setPortOper(uint32_t port, bool up);
  OtnIpcMsg portReport(uint32_t port) const;

  const CliConfig& config() const { return m_config; }
  const std::map<uint32_t, ops::InterestedPacket>& forwardingEntries() const { return m_forwardingEntries; }
  const std::map<uint32_t, ops::TunnelEntry>& tunnels() const { return m_tunnels; }
  const std::map<uint32_t, ops::InterfaceEntry>& interfaces() const { return m_interfaces; }
  const std::map<uint32_t, VlanMap>& etsVlans() const { return m_etsVlans; }
  const std::map<uint32_t, VlanMap>& mrpVlans() const { return m_mrpVlans; }
  const std::map<uint32_t, ops::Counters>& counters() const { return m_counters; }
  const std::map<std::pair<uint32_t, uint32_t>, uint64_t>& flushes() const { return m_flushes; }
  /// What was set last; nothing before the first time, and for LLDP after its deletion.
  const std::optional<ops::SyncECommand>& synce() const { return m_synce; }
  const std::optional<ops::SyncEPdu>& syncePdu() const { return m_syncePdu; }
  const std::optional<ops::LldpTlv>& lldp() const { return m_lldp; }
  const std::optional<ops::SmartSfpPdu>& smartSfpPdu() const { return m_smartSfpPdu; }
  std::optional<int32_t> redundancyState() const { return m_redundancyState; }

 private:
  using Result = std::optional<Refusal>;

  /// Each carries out one request in place.
  Result handle(OtnIpcMsg& msg, std::string& notes);
  Result runScriptFile(const ops::RunScript& request, std::string& notes);
  Result forwarding(ops::InterestedPacket& rule);
  void createForwardingEntry(ops::InterestedPacket& rule);
  Result mapTunnel(ops::MgmtInterfaceMapping& mapping);
  Result insertInterface(const ops::IfcInsertDelete& ifc);
  Result mapVlans(std::map<uint32_t, VlanMap>& maps, const OtnIpcMsg& msg);
  Result readCounters(ops::Counters& counters);
  void flush(const ops::Flush& request);
  uint32_t newForwardingId();

  CliConfig m_config;
  std::map<uint32_t, ops::InterestedPacket> m_forwardingEntries;  ///< by fpId0
  uint32_t m_lastForwardingId = 0;
  std::map<uint32_t, ops::TunnelEntry> m_tunnels;  ///< by pwPort
  std::map<uint32_t, ops::InterfaceEntry> m_interfaces;
  std::map<uint32_t, VlanMap> m_etsVlans;
  std::map<uint32_t, VlanMap> m_mrpVlans;
  std::map<uint32_t, ops::Counters> m_counters;                 ///< by interface, as read last
  std::map<std::pair<uint32_t, uint32_t>, uint64_t> m_flushes;  ///< how often, by VPN and virtual port
  std::optional<ops::SyncECommand> m_synce;
  std::optional<ops::SyncEPdu> m_syncePdu;
  std::optional<ops::LldpTlv> m_lldp;
  std::optional<ops::SmartSfpPdu> m_smartSfpPdu;
  std::optional<int32_t> m_redundancyState;
};

}  // namespace sim
