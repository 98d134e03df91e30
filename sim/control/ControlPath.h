// Where the control socket lies unless told otherwise: in a directory that only its own user can enter.
// Stateless; any thread.
#pragma once

#include <cstdint>
#include <string>

#include "base/Problem.h"

namespace sim {

/// The socket of this user's simulator on this TCP port, "/tmp/iss-sim-UID/PORT.sock".
std::string defaultControlPath(uint16_t port);

/// Makes the directory of the default control sockets where it is not there. The problem names it when it is
/// not the user's alone.
Problem makeControlDirectory();

/// The same without making it; one that is not there is no problem.
Problem checkControlDirectory();

}  // namespace sim
