// The switch as its command line configures it: ports, VLANs, VLAN interfaces and the interface tables behind
// the MIB names. Plain data, every table bounded; one owner, one thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace sim {

inline constexpr uint32_t portCount = 28;
inline constexpr uint32_t gigabitPortCount = 24;
inline constexpr uint32_t allPorts = (uint32_t{1} << portCount) - 1;
inline constexpr uint32_t defaultVlan = 1;
inline constexpr uint32_t maxVlan = 4094;
inline constexpr uint32_t minMtu = 64;
inline constexpr uint32_t maxMtu = 9246;
inline constexpr size_t maxRows = 4096;  ///< of the interface table and of the stack table

/// Bitmaps of ports: bit n = port n + 1.
constexpr uint32_t portBit(uint32_t port) {
  return uint32_t{1} << (port - 1);
}

struct Port {
  bool admin = true;
  bool link = true;  ///< something is plugged in
  uint32_t mtu = 1500;
  uint32_t pvid = defaultVlan;

  bool operational() const { return admin && link; }
};

struct Vlan {
  uint32_t members = 0;
  uint32_t untagged = 0;
};

struct VlanInterface {
  bool admin = true;
};

enum class RowStatus : uint32_t {
  active = 1,
  notInService = 2,
  createAndGo = 4,
  createAndWait = 5,
  destroy = 6
};

/// A row of the interface table ifMain*.
struct InterfaceRow {
  RowStatus status = RowStatus::notInService;
  uint32_t type = 0;  ///< 0 = not set
  bool admin = false;
  uint32_t ipAddrAllocMethod = 0;
  std::string alias;
  std::string ipDestMacAddress;  ///< as octets
};

/// A port as it was reported or is to be: 1..28, and whether it is up.
struct PortState {
  uint32_t port;
  bool admin;
  bool operational;
  bool operator==(const PortState&) const = default;
};

struct CliConfig {
  static constexpr size_t maxPortChanges = 128;  ///< further ones of one script are not reported

  std::array<Port, portCount> ports;
  std::map<uint32_t, Vlan> vlans{{defaultVlan, {allPorts, allPorts}}};
  std::map<uint32_t, VlanInterface> vlanInterfaces;
  std::map<uint32_t, InterfaceRow> rows;                     ///< by interface index
  std::map<std::pair<uint32_t, uint32_t>, RowStatus> stack;  ///< by higher and lower interface index
  std::vector<PortState> portChanges;                        ///< not reported yet, oldest first

  Port& port(uint32_t number) { return ports[number - 1]; }
  const Port& port(uint32_t number) const { return ports[number - 1]; }
  PortState portState(uint32_t number) const {
    return {number, port(number).admin, port(number).operational()};
  }
};

/// "gigabitethernet 0/5": the name of port 1..28.
std::string portName(uint32_t port);

}  // namespace sim
