// The command `iss-sim check`: looks for mistakes in scenario files and starts nothing. One thread.
#pragma once

namespace sim {

/// Its own arguments begin at argv[2]. Returns the exit status: 0 when there is no mistake, 1 when there are,
/// 2 for a wrong command line and for a file that cannot be read.
int checkCommand(int argc, char* const* argv);

}  // namespace sim
