// A call to the bus as data: what is sent, shown by --dry-run, and tested. Pure; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "base/Node.h"

namespace ctl {

/// D-Bus's u, i, q, b and s; 64-bit numbers come in answers only.
using BusValue = std::variant<uint32_t, int32_t, uint16_t, bool, std::string, uint64_t, int64_t>;

struct BusArgument {
  std::string name;
  BusValue value;
};

struct BusCall {
  std::string service = "otn.Trelvik";
  std::string path;
  std::string interface;
  std::string method;
  std::vector<BusArgument> arguments = {};
};

/// The D-Bus type of a value: 'u', 'i', ...
char typeOf(const BusValue& value);

std::string signatureOf(const BusCall& call);

Node toNode(const BusValue& value);

/// {NAME: value, ...}
Node toNode(const std::vector<BusArgument>& arguments);

/// The call as a command of busctl, for a shell.
std::string busctlLine(const BusCall& call);

/// Calls of the daemon's interfaces; the setters' are made in request/.
BusCall getTraceLevel();
BusCall setTraceLevel(int32_t level);
BusCall triggerDataUser(int32_t state);
BusCall getStatus();
BusCall getRedundantState();

}  // namespace ctl
