// Puts the messages of a capture beside those that a log tells of. Pure; any thread.
#pragma once

#include <vector>

#include "capture/CaptureReader.h"
#include "timeline/History.h"

namespace ctl {

/// Joins what has the same type and the same time; tells in a note how much of the capture found no place.
void joinCapture(const std::vector<sim::CapturedConnection>& connections, History& history);

}  // namespace ctl
