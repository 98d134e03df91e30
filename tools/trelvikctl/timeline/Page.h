// A history as one page of HTML that needs nothing besides. Pure; any thread.
#pragma once

#include <string>

#include "timeline/History.h"

namespace ctl {

std::string historyPage(const History& history);

}  // namespace ctl
