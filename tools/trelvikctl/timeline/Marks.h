// What stands out in a log: refusals, silences, reconnects, kicks. Pure functions; any thread.
#pragma once

#include <optional>

#include "timeline/History.h"

namespace ctl {

std::optional<LogMark> markOf(const LogLine& line);

}  // namespace ctl
