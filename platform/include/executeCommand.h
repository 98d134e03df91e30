// The board's command runner. Safe in a process of many threads.
#pragma once

#include <string>

namespace otn {

/// Runs `/bin/sh -c command` with an empty signal mask, default signal dispositions and none of the caller's
/// descriptors but the standard ones, and returns true when it exited with status 0.
///
/// wait       false: do not wait; true means only that the command could be started
/// exitStatus when not null, receives the exit status, or -1 when the command did not exit by itself or the
///            wait was broken off
/// output     when not null, receives what the command wrote to its standard output
/// logFailure true: a command that cannot be started is logged at ERROR, source `board`
///
/// A stop of the process (stopPending.h) breaks the wait off; the command is left to finish on its own.
bool executeCommand(const char* command, bool wait, int* exitStatus, std::string* output, bool logFailure);

}  // namespace otn
