// Requests for a network-processor port. Pure; any thread.
#pragma once

#include "request/Plan.h"

namespace ctl {

enum class PortAction : uint32_t { setUp = 1, release = 2, probe = 3, detach = 4, acknowledge = 5 };

struct PortRequest {
  PortAction action = PortAction::setUp;
  uint32_t port = 0;
  uint32_t type = 6;      ///< of the interface; probe and detach
  uint32_t speed = 1000;  ///< same
  bool configure = true;  ///< without it set-up and release do nothing
  uint32_t acVlan = 0;    ///< 0 in a release: the attachment-circuit VLAN stays
  uint32_t extra1 = 0;
  uint32_t extra2 = 0;
};

Plan planOf(const PortRequest& request);

}  // namespace ctl
