// The conditions that stand in front of a directive: on, after, every. Pure; any thread.
#pragma once

#include "directive/Directive.h"
#include "record/WordReader.h"

namespace sim {

/// Takes them off the words, and the texts of them and of the action behind them.
Problem parseConditions(WordReader& words, Directive& result);

}  // namespace sim
