// The process's signals. Stop signals and SIGPIPE are blocked in every thread and opened only where their
// handlers, which log, cannot interrupt a log statement: the stop signals while the main thread waits,
// SIGPIPE there and in a send to OPS that has failed. No handler is interrupted by another.
#pragma once

#include <csignal>

/// SIGTERM, SIGQUIT, SIGINT: stops the bus component and clears `running`. Once it is cleared, only logs.
void handle_sig(int sig);
/// SIGPIPE: only logged, so that a write to a closed connection reports an error.
void handle_sig_pipe(int sig);

/// Blocks the handled signals in the calling thread and all that it starts. main's first statement.
void blockSignals();
/// SIGCHLD: default, because a starter may leave it ignored, and the system would then keep no child's
/// status. SIGXFSZ: ignored, so that a write beyond a file-size limit fails as one to a full disk does.
void setDispositions();
void installSignalHandlers();
/// The mask with which the main thread waits: the handled signals open.
sigset_t waitMask();
/// Has the handlers of all that is pending run now, on the calling thread.
void letSignalsIn();
