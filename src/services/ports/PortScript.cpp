#include "services/ports/PortScript.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>

namespace {

constexpr uint32_t gigabitPorts = 24;
constexpr uint32_t acPort = 24;
constexpr uint32_t ipInterfaceBase = 37;
constexpr uint32_t stackedInterfaceBase = 183;

// Numbers are printed signed, as ISS reads them.

int number(uint32_t value) {
  return static_cast<int>(value);
}

bool gigabit(uint32_t portNr) {
  return portNr <= gigabitPorts;
}

int portOnCard(uint32_t portNr) {
  return number(gigabit(portNr) ? portNr : portNr - gigabitPorts);
}

void addAcVlan(PortScript& script, const PortScriptInput& input) {
  script.line("configure terminal\n");
  script.line("vlan %d\n", number(input.acVlan));
  script.line("ports gigabitethernet 0/%d\n", number(acPort));
  script.line("end\n");
}

void addPwVlan(PortScript& script, const PortScriptInput& input) {
  const int port = portOnCard(input.portNr);
  script.line("configure terminal\n");
  script.line("vlan %d\n", number(input.pwVlan));
  if (gigabit(input.portNr)) {
    script.line("ports gigabitethernet 0/%d untagged gigabitethernet 0/%d\n", port, port);
  } else {
    script.line("ports extreme-ethernet 0/%d untagged extreme-ethernet 0/%d\n", port, port);
  }
  script.line("end\n");
}

void addPort(PortScript& script, const PortScriptInput& input) {
  const int port = portOnCard(input.portNr);
  script.line("configure terminal\n");
  if (gigabit(input.portNr)) {
    script.line("interface gigabitethernet 0/%d\n", port);
  } else {
    script.line("interface extreme-ethernet 0/%d\n", port);
  }
  script.line("shutdown\n");
  script.line("mtu 9246\n");
  script.line("switchport pvid %d\n", number(input.pwVlan));
  script.line("no shutdown\n");
  script.line("end\n");
}

void addIpInterface(PortScript& script, const PortScriptInput& input) {
  const int ip = number(input.portNr + ipInterfaceBase);
  const int stacked = number(input.portNr + stackedInterfaceBase);
  std::array<char, 12> alias{};
  snprintf(alias.data(), alias.size(), "%04d", number(input.pwVlan & 0xFFFU));
  const auto digit = [&alias](size_t i) { return static_cast<unsigned>(alias[i]); };

  script.line("configure terminal\n");
  script.line("snmpset mib name ifMainRowStatus.%d value 5\n", ip);
  script.line("snmpset mib name ifAlias.%d value 76:6c:61:6e:%02x:%02x:%02x:%02x\n", ip, digit(0), digit(1),
              digit(2), digit(3));
  script.line("snmpset mib name ifMainType.%d value 136\n", ip);
  script.line("snmpset mib name ifIpAddrAllocMethod.%d value 1\n", ip);
  script.line("snmpset mib name ifIpDestMacAddress.%d value 01:00:5e:90:00:00\n", ip);
  script.line("snmpset mib name ifMainRowStatus.%d value 1\n", ip);
  script.line("snmpset mib name ifMainRowStatus.%d value 5\n", stacked);
  script.line("snmpset mib name ifMainType.%d value 166\n", stacked);
  script.line("snmpset mib name ifStackStatus.%d.%d value 5\n", stacked, ip);
  script.line("snmpset mib name ifStackStatus.%d.%d value 1\n", stacked, ip);
  script.line("snmpset mib name ifMainRowStatus.%d value 1\n", stacked);
  script.line("snmpset mib name ifMainAdminStatus.%d value 1\n", stacked);
  script.line("snmpset mib name ifMainAdminStatus.%d value 1\n", ip);
  script.line("end\n");
}

}  // namespace

void PortScript::line(const char* format, ...) {
  const size_t left = sizeof m_text - m_size;
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(m_text + m_size, left, format, arguments);
  va_end(arguments);
  if (length > 0) m_size += std::min(static_cast<size_t>(length), left - 1);
}

PortScript setUpScript(const PortScriptInput& input) {
  PortScript script;
  if (!input.noAcPort) addAcVlan(script, input);
  addPwVlan(script, input);
  addPort(script, input);
  addIpInterface(script, input);
  return script;
}

PortScript releaseScript(const PortScriptInput& input) {
  PortScript script;
  script.line("configure terminal\n");
  script.line("no vlan %d\n", number(input.pwVlan));
  if (!input.noAcPort) script.line("no vlan %d\n", number(input.acVlan));
  script.line("end\n");

  script.line("configure terminal\n");
  script.line("interface vlan %d\n", number(input.pwVlan));
  script.line("shutdown\n");
  // Upper case here and lower case in the set-up script: both as ISS has always been given them.
  script.line("no ip unnumbered 01:00:5E:90:00:00\n");
  script.line("no mpls ip\n");
  script.line("end\n");

  script.line("configure terminal\n");
  script.line("no interface vlan %d\n", number(input.pwVlan));
  script.line("end\n");
  return script;
}
