// The other end of the control socket: `iss-sim show`, `watch` and `inject`. One thread, blocking.
#pragma once

#include <string>

namespace sim {

/// True for the first argument of a command that this file knows.
bool isControlCommand(const char* word);

/// Carries out "iss-sim COMMAND ..." and returns the exit status: 0, 1 when no simulator answers, 2 for a
/// wrong command line and for what the simulator refuses; the reason goes to standard error on one line.
int controlCommand(int argc, char* const* argv);

}  // namespace sim
