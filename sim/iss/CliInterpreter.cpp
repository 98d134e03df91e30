#include "iss/CliInterpreter.h"

#include <algorithm>
#include <charconv>
#include <span>
#include <vector>

namespace sim {
namespace {

using CommandWords = std::vector<std::string_view>;

constexpr uint32_t in(CliMode mode) {
  return uint32_t{1} << static_cast<uint32_t>(mode);
}
constexpr uint32_t anyConfiguration =
    in(CliMode::config) | in(CliMode::vlan) | in(CliMode::port) | in(CliMode::vlanInterface);
constexpr uint32_t anyInterface = in(CliMode::port) | in(CliMode::vlanInterface);

/// In a pattern NUMBER and VLAN take a number, PORT two words, OCTETS and WORD one; all else stands for
/// itself.
struct Command {
  uint32_t modes;
  const char* pattern;
  CliResult (CliInterpreter::*run)(const CliArguments&);
};

constexpr Command commands[] = {
    {in(CliMode::exec), "configure terminal", &CliInterpreter::configureTerminal},
    {anyConfiguration, "end", &CliInterpreter::end},
    {in(CliMode::config), "vlan VLAN", &CliInterpreter::vlan},
    {in(CliMode::config), "no vlan VLAN", &CliInterpreter::noVlan},
    {in(CliMode::config), "interface vlan VLAN", &CliInterpreter::interfaceVlan},
    {in(CliMode::config), "interface PORT", &CliInterpreter::interfacePort},
    {in(CliMode::config), "no interface vlan VLAN", &CliInterpreter::noInterfaceVlan},
    {in(CliMode::config), "snmpset mib name WORD value WORD", &CliInterpreter::snmpSet},
    {in(CliMode::vlan), "ports PORT", &CliInterpreter::ports},
    {in(CliMode::vlan), "ports PORT untagged PORT", &CliInterpreter::ports},
    {anyInterface, "shutdown", &CliInterpreter::shutdown},
    {anyInterface, "no shutdown", &CliInterpreter::noShutdown},
    {in(CliMode::port), "mtu NUMBER", &CliInterpreter::mtu},
    {in(CliMode::port), "switchport pvid VLAN", &CliInterpreter::pvid},
    {in(CliMode::vlanInterface), "no ip unnumbered OCTETS", &CliInterpreter::accepted},
    {in(CliMode::vlanInterface), "no mpls ip", &CliInterpreter::accepted},
};

CommandWords split(std::string_view line) {
  CommandWords words;
  for (size_t at = 0; at < line.size();) {
    const size_t end = std::min(line.find(' ', at), line.size());
    if (end > at) words.push_back(line.substr(at, end - at));
    at = end + 1;
  }
  return words;
}

/// "gigabitethernet 0/1".."0/24" are ports 1..24, "extreme-ethernet 0/1".."0/4" ports 25..28.
bool parsePort(std::string_view kind, std::string_view place, uint32_t& port) {
  const bool gigabit = kind == "gigabitethernet";
  if (!gigabit && kind != "extreme-ethernet") return false;
  const uint32_t last = gigabit ? gigabitPortCount : portCount - gigabitPortCount;
  if (!place.starts_with("0/") || !parseCliNumber(place.substr(2), port) || port < 1 || port > last) {
    return false;
  }
  if (!gigabit) port += gigabitPortCount;
  return true;
}

bool isPlaceholder(std::string_view token) {
  return token[0] >= 'A' && token[0] <= 'Z';
}

enum class Match : uint8_t { none, keywords, all };

/// `keywords`: the words begin as the pattern does, up to its first argument, but something after that is
/// wrong; `wrong` then says what, where it is an argument.
Match match(const char* pattern, const CommandWords& words, CliArguments& arguments, std::string& wrong) {
  size_t at = 0;
  size_t portsTaken = 0;
  size_t textsTaken = 0;
  bool argumentSeen = false;
  for (const std::string_view token : split(pattern)) {
    if (!isPlaceholder(token)) {
      if (at >= words.size() || words[at] != token) return argumentSeen ? Match::keywords : Match::none;
      ++at;
      continue;
    }
    argumentSeen = true;
    if (at >= words.size()) return Match::keywords;
    const std::string_view word = words[at++];
    bool good = true;
    if (token == "PORT") {
      good = at < words.size() && parsePort(word, words[at], arguments.ports[portsTaken++]);
      wrong = "no such port";
      ++at;
    } else if (token == "OCTETS") {
      good = isOctets(word);
      wrong = "not a MAC address";
    } else if (token == "WORD") {
      arguments.text[textsTaken++] = word;
    } else {
      good = parseCliNumber(word, arguments.number);
      wrong = "not a number";
      if (good && token == "VLAN" && (arguments.number < 1 || arguments.number > maxVlan)) {
        good = false;
        wrong = "no VLAN id, 1 to " + std::to_string(maxVlan);
      }
    }
    if (!good) return Match::keywords;
    wrong.clear();
  }
  if (at < words.size()) return argumentSeen ? Match::keywords : Match::none;
  return Match::all;
}

const char* nameOf(CliMode mode) {
  switch (mode) {
    case CliMode::exec:
      return "exec";
    case CliMode::config:
      return "configuration";
    case CliMode::vlan:
      return "VLAN";
    case CliMode::port:
      return "port";
    case CliMode::vlanInterface:
      return "VLAN interface";
  }
  return "";
}

CliRefusal missing(std::string text) {
  return {CliReason::missing, std::move(text)};
}

CliRefusal noSuchVlan(uint32_t vlan) {
  return missing("VLAN " + std::to_string(vlan) + " does not exist");
}

}  // namespace

bool parseCliNumber(std::string_view word, uint32_t& value) {
  const auto [end, code] = std::from_chars(word.data(), word.data() + word.size(), value);
  return code == std::errc{} && end == word.data() + word.size();
}

bool isOctets(std::string_view word) {
  if (word.size() % 3 != 2 || word.size() < 5) return false;
  for (size_t i = 0; i < word.size(); ++i) {
    const char c = word[i];
    const bool hex = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    if (i % 3 == 2 ? c != ':' : !hex) return false;
  }
  return true;
}

std::string portName(uint32_t port) {
  const bool gigabit = port <= gigabitPortCount;
  return (gigabit ? "gigabitethernet 0/" : "extreme-ethernet 0/") +
         std::to_string(gigabit ? port : port - gigabitPortCount);
}

std::string_view CliInterpreter::prompt() const {
  switch (m_mode) {
    case CliMode::exec:
      return "iss# ";
    case CliMode::config:
      return "iss(config)# ";
    case CliMode::vlan:
      return "iss(config-vlan)# ";
    case CliMode::port:
    case CliMode::vlanInterface:
      return "iss(config-if)# ";
  }
  return "";
}

CliResult CliInterpreter::run(std::string_view line) {
  const CommandWords words = split(line);
  if (words.empty() || words[0].starts_with('!')) return {};
  CliRefusal refusal{CliReason::unknownCommand, "unknown command"};
  for (const Command& command : commands) {
    CliArguments arguments;
    std::string wrong;
    const Match matched = match(command.pattern, words, arguments, wrong);
    if (matched == Match::none) continue;
    const bool ofThisMode = (command.modes & in(m_mode)) != 0;
    if (matched == Match::all && ofThisMode) return (this->*command.run)(arguments);
    if (!ofThisMode && refusal.reason == CliReason::unknownCommand) {
      refusal = {CliReason::wrongMode, std::string("not a command of ") + nameOf(m_mode) + " mode"};
    } else if (ofThisMode && refusal.reason != CliReason::badArgument) {
      refusal = {CliReason::badArgument, wrong.empty() ? std::string("expected ") + command.pattern : wrong};
    }
  }
  return refusal;
}

CliResult CliInterpreter::configureTerminal(const CliArguments&) {
  m_mode = CliMode::config;
  return {};
}

CliResult CliInterpreter::end(const CliArguments&) {
  m_mode = CliMode::exec;
  return {};
}

CliResult CliInterpreter::vlan(const CliArguments& arguments) {
  m_config.vlans.try_emplace(arguments.number);
  m_mode = CliMode::vlan;
  m_current = arguments.number;
  return {};
}

CliResult CliInterpreter::noVlan(const CliArguments& arguments) {
  if (arguments.number == defaultVlan) {
    return CliRefusal{CliReason::conflict, "the default VLAN cannot be removed"};
  }
  // Ports share a VLAN, and each release removes it: one that is gone is no error.
  if (m_config.vlans.erase(arguments.number) == 0) return {};
  for (Port& port : m_config.ports) {
    if (port.pvid == arguments.number) port.pvid = defaultVlan;
  }
  return {};
}

CliResult CliInterpreter::interfacePort(const CliArguments& arguments) {
  m_mode = CliMode::port;
  m_current = arguments.ports[0];
  return {};
}

CliResult CliInterpreter::interfaceVlan(const CliArguments& arguments) {
  m_config.vlanInterfaces.try_emplace(arguments.number);
  m_mode = CliMode::vlanInterface;
  m_current = arguments.number;
  return {};
}

CliResult CliInterpreter::noInterfaceVlan(const CliArguments& arguments) {
  if (m_config.vlanInterfaces.erase(arguments.number) == 0) {
    return missing("interface vlan " + std::to_string(arguments.number) + " does not exist");
  }
  removeRowsOfVlan(m_config, arguments.number);
  return {};
}

CliResult CliInterpreter::snmpSet(const CliArguments& arguments) {
  return setMibObject(m_config, arguments.text[0], arguments.text[1]);
}

CliResult CliInterpreter::ports(const CliArguments& arguments) {
  const auto found = m_config.vlans.find(m_current);
  if (found == m_config.vlans.end()) return noSuchVlan(m_current);
  const uint32_t untagged = arguments.ports[1];
  if (untagged != 0 && untagged != arguments.ports[0]) {
    return CliRefusal{CliReason::conflict, "the untagged port is not among the ports"};
  }
  const uint32_t bit = portBit(arguments.ports[0]);
  found->second.members |= bit;
  found->second.untagged = untagged != 0 ? found->second.untagged | bit : found->second.untagged & ~bit;
  return {};
}

CliResult CliInterpreter::setAdmin(bool up) {
  if (m_mode == CliMode::vlanInterface) {
    m_config.vlanInterfaces[m_current].admin = up;
    return {};
  }
  const PortState before = m_config.portState(m_current);
  m_config.port(m_current).admin = up;
  const PortState after = m_config.portState(m_current);
  if (after != before && m_config.portChanges.size() < CliConfig::maxPortChanges) {
    m_config.portChanges.push_back(after);
  }
  return {};
}

CliResult CliInterpreter::shutdown(const CliArguments&) {
  return setAdmin(false);
}

CliResult CliInterpreter::noShutdown(const CliArguments&) {
  return setAdmin(true);
}

CliResult CliInterpreter::mtu(const CliArguments& arguments) {
  if (arguments.number < minMtu || arguments.number > maxMtu) {
    return CliRefusal{CliReason::badArgument,
                      "no MTU, " + std::to_string(minMtu) + " to " + std::to_string(maxMtu)};
  }
  Port& port = m_config.port(m_current);
  if (port.admin) return CliRefusal{CliReason::conflict, "the port must be shut down first"};
  port.mtu = arguments.number;
  return {};
}

CliResult CliInterpreter::pvid(const CliArguments& arguments) {
  if (!m_config.vlans.contains(arguments.number)) return noSuchVlan(arguments.number);
  m_config.port(m_current).pvid = arguments.number;
  return {};
}

CliResult CliInterpreter::accepted(const CliArguments&) {
  return {};
}

}  // namespace sim
