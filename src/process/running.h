// Whether the process keeps running. Any thread may ask.
//
// A loop whose wait is woken at the stop tests `running`: the order of the shutdown's steps hangs on it. A
// wait that nobody wakes asks stopRequested() in steps of process/intervals.h. The platform's
// otn::stopPending() is the same question one floor below, for the platform itself.
#pragma once

#include <cstdint>

#include "process/Relaxed.h"

/// 1 from the start, 0 once the stop signal has been handled; never back.
extern Relaxed<uint8_t> running;

/// True also while a stop signal is pending that the main thread has not yet opened for.
bool stopRequested();
