#include "services/ports/DcnTunnel.h"

DcnTunnelEntry dcnTunnel[dcnTunnelPorts];

DcnTunnelEntry* dcnTunnelOfPort(uint32_t portNr) {
  return portNr >= 1 && portNr <= dcnTunnelPorts ? &dcnTunnel[portNr - 1] : nullptr;
}
