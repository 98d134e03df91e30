// Carries out a request of the daemon's, and tells honestly what came of it. One thread.
#pragma once

#include "bus/Bus.h"
#include "commands/Context.h"
#include "request/Plan.h"

namespace ctl {

/// Calls, or with --dry-run shows what would be called and sent.
Outcome carryOut(Context& context, const Plan& plan);

/// A plain call of the daemon: its values, or why there are none.
Outcome callDaemon(Context& context, Bus& bus, const BusCall& call, const std::string& what,
                   std::vector<BusValue>& values);

/// What --dry-run shows of a call that makes no message.
Outcome showCall(const BusCall& call);

}  // namespace ctl
