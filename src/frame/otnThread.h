// The bus thread: builds the component, attaches the services, runs the bus dispatch until the component is
// told to stop, and tears the services down.
#pragma once

#include <atomic>
#include <cstdint>

/// Set once the component is built, just before its dispatch starts; what the bus thread made until then may
/// be used by who has seen it set.
extern std::atomic<int32_t> otnThreadRunning;

/// Thread function. `arg` points to the flag of option -p; null counts as false. Returns null.
void* start_otn_comm(void* arg);

/// Waits for otnThreadRunning, looking once a second, about 5 s at most. False when it stays unset. A pending
/// stop shortens the steps, not the limit.
bool waitForOtnThread();
