// What `iss-sim show` is asked for: a subject, for ports perhaps which. Pure; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/Problem.h"
#include "iss/CliConfig.h"

namespace sim {

/// What can be shown, for a message.
inline constexpr std::string_view showSubjects =
    "vlans, ports, interfaces, tunnels, rules, synce, lldp, smartsfp, redundancy, counters, messages, faults "
    "or "
    "schedule";

struct ShowRequest {
  std::string subject;
  uint32_t ports = allPorts;  ///< bitmap
  bool json = false;
};

/// Reads "SUBJECT [PORTS] [--json]"; whether the subject is known is for whoever shows it.
Problem parseShow(std::string_view words, ShowRequest& request);

}  // namespace sim
