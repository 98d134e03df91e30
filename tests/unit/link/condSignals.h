// Sees the conditions that the program under test signals.
#pragma once

#include <pthread.h>

#include <functional>

/// Called with each condition before it is signalled; null ends it. While no other thread runs.
void onCondSignal(std::function<void(pthread_cond_t*)> look);
