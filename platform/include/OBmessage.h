// One bus call or signal, decoded: what waits for the bus thread.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

class OBstubReply;

/// One argument; D-Bus types b, i, u, q, s, x, t.
using OBvalue = std::variant<bool, int32_t, uint32_t, uint16_t, std::string, int64_t, uint64_t>;

struct OBmessage {
  unsigned method = 0;             ///< index of the method in its interface, in the order of the description
  std::vector<OBvalue> arguments;  ///< already checked against the method's signature
  OBstubReply* reply = nullptr;    ///< null for a signal
};

/// Who sent a message.
struct peer_info_t {
  std::string name;  ///< unique bus name
};
