// The tables of `iss-sim show faults` and `show schedule`: what stands, what it has left and what comes next.
// Pure functions of what they show; the poll loop's thread.
#pragma once

#include "DirectiveInterpreter.h"
#include "Fault.h"
#include "OpsServer.h"
#include "Table.h"

namespace sim {

View showFaults(const FaultTable& faults);

/// Times count from `now`.
View showSchedule(const OpsServer& server, const DirectiveInterpreter& interpreter, Clock::time_point now);

}  // namespace sim
