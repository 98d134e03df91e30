// The rule message that the daemon makes of each kind of request. Pure; any thread.
#pragma once

#include "request/RuleRequest.h"

namespace ctl {

/// The code that ISS gets for an action.
ops::ActionCode actionCode(RuleAction action);

/// Appends the rule message of a request, where there is one.
void addRule(Plan& plan, const RuleRequest& request);

}  // namespace ctl
