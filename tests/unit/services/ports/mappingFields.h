// What a mapping of a front port has in its fields, for attachment-circuit VLAN 77.
#pragma once

#include <vector>

#include "support/Record.h"

inline std::vector<Field> mappingFields(const char* sourceMac, uint32_t portNr, uint32_t acPort,
                                        uint32_t tunnelId, uint32_t vpnId, uint32_t acId, uint32_t pwId,
                                        uint32_t flag) {
  return {ofType(MGMT_INTERFACE_MAPPING_IND),
          {"destinationMac", hex("01005e900000")},
          {"sourceMac", hex(sourceMac)},
          {"acVlan", 77},
          {"pwVlan", portNr + 4000},
          {"acPort", acPort},
          {"pwPort", portNr},
          {"peakRate", 1000},
          {"committedRate", 1000},
          {"outTunnelLabel", 1500},
          {"inTunnelLabel", 1500},
          {"tunnelId", tunnelId},
          {"vpnId", vpnId},
          {"tunnelIndex", acId},
          {"pwId", pwId},
          {"entryCount", 1},
          {"mapFlag", flag}};
}
