// Requests for ISS manager rules. Pure; any thread.
#pragma once

#include "request/Plan.h"

namespace ctl {

enum class RuleType : uint32_t { ets, mstpLan, mstpWan, flush, mrp, mrpGlobal, lldp };
enum class RuleAction : uint32_t { create, remove, modify, none };

struct RuleRequest {
  RuleType type = RuleType::flush;
  RuleAction action = RuleAction::none;
  uint32_t l2Ports = 0;     ///< bitmap; of MRP the port's number, from 1
  uint32_t mplsPorts = 0;   ///< bitmap
  int32_t flushAction = 0;  ///< 1 flush, 2 mapping of the data VLANs
  uint32_t vpn = 0;
  uint32_t vp = 0;    ///< encapsulation of ETS and MRP: 1 L2, 2 MPLS; else virtual port
  uint32_t port = 0;  ///< of MSTP WAN: the bit's number, from 0
  uint32_t vlan = 0;
  uint32_t mplsLabel = 0;
  uint32_t pwLabel = 0;
  std::string dataVlans = {};
  uint32_t chassisId = 0;
  uint32_t mgmtIp = 0;
  uint16_t slotId = 0;
  int32_t fpId0 = 0;
  int32_t fpId1 = 0;
};

Plan planOf(const RuleRequest& request);

}  // namespace ctl
