// The daemon's log statement: TRACE_TO on the process's trace object.
//
//   TRACE(INFO, "main", 242, "main", "Connected to OPS");
//
// A line number that operators know from the documents is written as a literal; any other is __LINE__.
#pragma once

#include "TraceObject.h"

#define TRACE(LEVEL, source, line, function, format, ...) \
  TRACE_TO(::g_traceObject, LEVEL, source, line, function, format __VA_OPT__(, ) __VA_ARGS__)
