// A history for programs and for terminals. Pure functions; any thread.
#pragma once

#include <string>

#include "base/Node.h"
#include "timeline/History.h"

namespace ctl {

/// {requests, marks, ring, notes}; times are microseconds since 1970.
Node historyNode(const History& history);

/// Two tables, requests and marks, and the notes.
std::string historyText(const History& history, bool colour);

/// "12 requests, 2 refused, ...".
std::string summary(const History& history);

}  // namespace ctl
