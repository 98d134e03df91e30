// Requests for Smart SFP modules. Pure; any thread.
#pragma once

#include "request/Plan.h"

namespace ctl {

struct SmartSfpRequest {
  bool filter = false;  ///< install, change or, without ports, remove the packet filter
  uint32_t ports = 0;   ///< bitmap
  bool send = false;
  uint32_t size = 0;  ///< only passed on
  std::string pdu = {};
};

Plan planOf(const SmartSfpRequest& request);

}  // namespace ctl
