// How the simulator's functions fail where somebody will read the reason.
#pragma once

#include <optional>
#include <string>

namespace sim {

/// A reason why something is wrong, on one line.
using Problem = std::optional<std::string>;

}  // namespace sim
