// OPS messages of the port-parameters service. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <string>

#include "OtnIpcMsg.h"
#include "services/ports/DcnTunnel.h"

struct PortMappingInput {
  uint32_t portNr;
  uint32_t pwVlan;
  uint32_t acVlan;
  bool noAcPort;
  const uint8_t (&mac)[6];  ///< the board's
};

/// Map the port's management tunnel; ISS assigns the ids and returns them in its answer.
OtnIpcMsg mapMessage(const PortMappingInput& input);
/// Unmap the tunnel that has these ids.
OtnIpcMsg unmapMessage(const PortMappingInput& input, const DcnTunnelEntry& ids);
/// Announce a port's insertion (ops::IfcInsertDelete::insert) or removal (remove).
OtnIpcMsg interfaceMessage(uint32_t portNr, uint32_t ifSpeed, uint32_t ifType, uint8_t statusFlag);
