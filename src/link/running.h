// Whether the process keeps running. Any thread may ask.
#pragma once

#include <cstdint>

#include "link/Relaxed.h"

/// 1 from the start, 0 once the stop signal has been handled; never back.
extern Relaxed<uint8_t> running;

/// True also while a stop signal is pending that the main thread has not yet opened for: whoever waits long
/// for something else gives up on it.
bool stopRequested();
