// The tables that `iss-sim show` can show. Pure functions of what they show; the model's thread.
#pragma once

#include <optional>
#include <string_view>

#include "base/Table.h"
#include "control/Watch.h"
#include "iss/IssModel.h"

namespace sim {

/// What ISS knows and what passed; nothing for an unknown subject. `ports` are those that `ports` shows, a
/// bitmap.
std::optional<View> show(std::string_view subject, const IssModel& model,
                         const std::map<uint32_t, MessageCount>& messages, uint32_t ports = allPorts);

}  // namespace sim
