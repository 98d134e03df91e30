// The board's command runner. Safe in a process of many threads.
#pragma once

#include <string>

namespace otn {

/// The exit status of a command of which nothing is known, because the wait was broken off by a stop of the
/// process (stopPending.h), or because the system keeps no status (SIGCHLD is ignored). No failure of the
/// command: it is left to finish on its own, or has finished somehow.
inline constexpr int statusUnknown = -2;

/// Runs `/bin/sh -c command` with an empty signal mask, default signal dispositions and none of the caller's
/// descriptors but the standard ones, and returns true when it exited with status 0.
///
/// wait       false: do not wait; true means only that the command could be started
/// exitStatus when not null, receives the exit status, -1 when the command could not be started or did not
///            exit by itself, or statusUnknown
/// output     when not null, receives what the command wrote to its standard output
/// logFailure true: a command that cannot be started is logged at ERROR, source `board`
bool executeCommand(const char* command, bool wait, int* exitStatus, std::string* output, bool logFailure);

}  // namespace otn
