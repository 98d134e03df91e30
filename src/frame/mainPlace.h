// Where the main thread's lines say that they come from.
#pragma once

#include "TraceObject.h"

inline constexpr LogPlace atMain{"main", "main"};
