// Attributes of the bus thread, the sender thread and the service workers.
#pragma once

#include <pthread.h>

#include <cstddef>

inline constexpr size_t workerStackSize = 131072;  ///< bytes

/// Initialises `attr` with the common stack size. False, after an ERROR line, when the system refuses.
bool init_pthread_attr(pthread_attr_t* attr);
