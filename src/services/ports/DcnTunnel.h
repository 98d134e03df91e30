// The ids of the management (DCN) tunnels, one record per front port, from OPS's answers to map messages.
//
// Written by the main thread, read by port-parameters workers, both with the ring's mutex held. Records are
// overwritten, never removed.
#pragma once

#include <cstdint>

struct DcnTunnelEntry {
  uint32_t tunnelId;
  uint32_t vpnId;
  uint32_t pwId;
  uint32_t tunnelIndex;  ///< attachment-circuit id
};

inline constexpr uint32_t dcnTunnelPorts = 28;

extern DcnTunnelEntry dcnTunnel[dcnTunnelPorts];
static_assert(sizeof dcnTunnel == 448);

/// The record of a front port; null for a port outside 1..28, which has none.
DcnTunnelEntry* dcnTunnelOfPort(uint32_t portNr);
