// Requests for Synchronous Ethernet. Pure; any thread.
#pragma once

#include "request/Plan.h"

namespace ctl {

struct SyncERequest {
  bool filter = false;  ///< install the trap rule for ESMC frames
  uint32_t slot = 0;
  uint32_t enableClock = 0;  ///< 0 = the clock stays as it is
  uint32_t clockSource = 0;
  uint32_t phyMode = 0;
  bool sendPdu = false;
  std::vector<uint32_t> pduWords = {0, 0, 0};
};

Plan planOf(const SyncERequest& request);

}  // namespace ctl
