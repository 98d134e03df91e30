#include "board/platformTrace.h"

TraceObject* const platformTrace = new TraceObject(nullptr, trace::INFO);
