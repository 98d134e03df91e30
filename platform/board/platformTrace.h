// The trace object of the platform's own lines: level INFO, and the identity that the program has chosen.
// Never destroyed, because the bus may still log while the process exits. Any thread.
#pragma once

#include "TraceObject.h"

extern TraceObject* const platformTrace;
