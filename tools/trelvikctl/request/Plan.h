// A request as it is made: the call, and what the daemon makes of it for ISS. Pure; any thread.
#pragma once

#include <string>
#include <vector>

#include "OtnIpcMsg.h"
#include "base/Values.h"
#include "bus/BusCall.h"

namespace ctl {

/// A message that the daemon will send to ISS.
struct PlannedMessage {
  OtnIpcMsg record{};
  std::string filledIn = {};  ///< what stands in it that only the daemon knows; empty = nothing
};

struct Plan {
  std::string what;  ///< names the request to people: "port 5, set up"
  BusCall call;
  std::vector<PlannedMessage> messages = {};
  std::string whyNoAnswer = {};  ///< a request that by design gets no reply; else empty
};

/// Appends a message, all zero but for its type.
inline PlannedMessage& addMessage(Plan& plan, OtnIpcMsgType type) {
  plan.messages.emplace_back().record.msgType = type;
  return plan.messages.back();
}

/// {"call": ..., "messages": [...]}, as --dry-run shows it.
Node toNode(const Plan& plan);

/// The same for people.
std::string toText(const Plan& plan);

}  // namespace ctl
