// The whole command line: reads it, and carries out the command that stands on it.
#pragma once

namespace ctl {

/// Prints what comes of it, and returns the exit status.
int perform(int argc, char** argv);

}  // namespace ctl
