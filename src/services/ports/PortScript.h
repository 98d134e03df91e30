// The ISS command scripts that set a port up and release it. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <string>

struct PortScriptInput {
  uint32_t portNr;  ///< front port, from 1
  uint32_t pwVlan;
  uint32_t acVlan;
  bool noAcPort;  ///< front port 24 carries no attachment-circuit VLAN
};

std::string setUpScript(const PortScriptInput& input);
std::string releaseScript(const PortScriptInput& input);
