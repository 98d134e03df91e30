// The tables that `iss-sim show` can show. Pure functions of what they show; the model's thread.
#pragma once

#include <optional>
#include <string_view>

#include "IssModel.h"
#include "ShowTable.h"
#include "Watch.h"

namespace sim {

/// What can be shown, for a message.
inline constexpr std::string_view showSubjects =
    "vlans, ports, interfaces, tunnels, rules, synce, lldp, smartsfp, redundancy, counters or messages";

/// Nothing for an unknown subject.
std::optional<View> show(std::string_view subject, const IssModel& model,
                         const std::map<uint32_t, MessageCount>& messages);

}  // namespace sim
