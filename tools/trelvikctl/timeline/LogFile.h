// A whole log as the history of its requests. Pure; any thread.
#pragma once

#include <string_view>

#include "timeline/History.h"

namespace ctl {

/// Lines of other programs are counted and passed over. `hint` stands in for a day or a year that lines lack.
History readHistory(std::string_view log, const DayHint& hint);

}  // namespace ctl
