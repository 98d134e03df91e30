// ISS's command line: takes one command after another, in the modes that earlier commands led to, and carries
// them out on the configuration. One owner, one thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "iss/CliConfig.h"

namespace sim {

/// Why a command or a script is refused. The numbers are ISS's second error value.
enum class CliReason : uint8_t {
  unknownCommand = 1,
  wrongMode = 2,    ///< a command, but not of this mode
  badArgument = 3,  ///< missing, malformed or out of range
  missing = 4,      ///< names what is not there
  conflict = 5,     ///< what is there forbids it
  full = 6,
  scriptForm = 7,  ///< an empty script, a line without end, an end inside a mode
};

struct CliRefusal {
  CliReason reason;
  std::string text;
};

using CliResult = std::optional<CliRefusal>;  ///< nothing = carried out

enum class CliMode : uint8_t { exec, config, vlan, port, vlanInterface };

/// What a command's pattern took out of its words.
struct CliArguments {
  uint32_t number = 0;
  uint32_t ports[2] = {0, 0};
  std::string_view text[2];
};

class CliInterpreter {
 public:
  explicit CliInterpreter(CliConfig& config) : m_config(config) {}

  std::string_view prompt() const;
  CliMode mode() const { return m_mode; }

  /// Carries out one line without its end. A refused line changes nothing. A blank line and a comment ("!")
  /// do nothing.
  CliResult run(std::string_view line);

  /// The commands, one member for each.
  CliResult configureTerminal(const CliArguments& arguments);
  CliResult end(const CliArguments& arguments);
  CliResult vlan(const CliArguments& arguments);
  CliResult noVlan(const CliArguments& arguments);
  CliResult interfacePort(const CliArguments& arguments);
  CliResult interfaceVlan(const CliArguments& arguments);
  CliResult noInterfaceVlan(const CliArguments& arguments);
  CliResult snmpSet(const CliArguments& arguments);
  CliResult ports(const CliArguments& arguments);
  CliResult shutdown(const CliArguments& arguments);
  CliResult noShutdown(const CliArguments& arguments);
  CliResult mtu(const CliArguments& arguments);
  CliResult pvid(const CliArguments& arguments);
  CliResult accepted(const CliArguments& arguments);

 private:
  CliResult setAdmin(bool up);

  CliConfig& m_config;
  CliMode m_mode = CliMode::exec;
  uint32_t m_current = 0;  ///< the VLAN, port or VLAN interface that the mode is about
};

/// "snmpset mib name NAME value VALUE" on the interface tables.
CliResult setMibObject(CliConfig& config, std::string_view name, std::string_view value);

/// Takes away a VLAN's interface row and what is stacked on it.
void removeRowsOfVlan(CliConfig& config, uint32_t vlan);

/// A whole decimal number.
bool parseCliNumber(std::string_view word, uint32_t& value);

/// Octets as two-digit hex numbers with ":" between them, at least two.
bool isOctets(std::string_view word);

}  // namespace sim
