// Whether this process has been told to stop. Any thread may call; both functions are async-signal-safe.
//
// The stop signals (SIGTERM, SIGQUIT, SIGINT) are blocked except while the main thread waits, so whatever
// else may wait long asks here in short steps and gives up.
#pragma once

namespace otn {

/// How often the platform's own waits ask, ms: a stop that is noticed so late still ends within its 2 s.
inline constexpr int stopCheckInterval = 50;

/// True once setStopping(true) was called, or while a stop signal is pending.
bool stopPending();

/// Called by the signal handler, because a delivered signal is pending no longer.
void setStopping(bool stopping);

}  // namespace otn
