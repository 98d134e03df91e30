// The tables of `iss-sim show faults` and `show schedule`: what stands, what it has left and what comes next.
// Pure functions of what they show; the poll loop's thread.
#pragma once

#include "base/Table.h"
#include "directive/Fault.h"
#include "ops/OpsServer.h"
#include "scenario/DirectiveInterpreter.h"

namespace sim {

View showFaults(const FaultTable& faults);

/// Times count from `now`.
View showSchedule(const OpsServer& server, const DirectiveInterpreter& interpreter, Clock::time_point now);

}  // namespace sim
