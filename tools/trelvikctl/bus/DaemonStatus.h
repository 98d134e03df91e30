// What the daemon tells of itself, and what its counters say of a request. Pure; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/Node.h"
#include "bus/BusCall.h"

namespace ctl {

/// Of one bus interface, since the daemon's start.
struct InterfaceCounts {
  std::string name;
  uint64_t received = 0;
  uint64_t answered = 0;
  uint64_t refusedByIss = 0;
  uint64_t refusedByRing = 0;
  uint64_t neverAnswered = 0;
};

struct DaemonStatus {
  std::vector<BusArgument> values;  ///< in the daemon's order, without the counts
  std::vector<InterfaceCounts> interfaces;

  /// A value as text; empty when the daemon does not tell it.
  std::string text(const std::string& name) const;
};

/// From the reply of getStatus. What is missing or further is no fault: daemons differ in age.
DaemonStatus parseStatus(const std::vector<BusValue>& reply);

/// How the way to ISS is, as one sentence: "good", or what stands still and what to look at.
std::string health(const DaemonStatus& status);

Node toNode(const DaemonStatus& status);

/// What happened to the one request that was made between two looks at an interface's counts.
enum class Verdict : uint8_t {
  accepted,    ///< nobody was refused
  refused,     ///< by ISS; nobody else called
  ringFull,    ///< the ring had no room; nobody else called
  cannotTell,  ///< somebody was refused, and others called too
};
Verdict judge(const InterfaceCounts& before, const InterfaceCounts& after);

/// The counts of one interface; nothing when the daemon does not tell them.
std::optional<InterfaceCounts> countsOf(const DaemonStatus& status, const std::string& interface);

}  // namespace ctl
