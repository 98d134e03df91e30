#include "fuzz/log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "TraceObject.h"

void fuzzLog::begin(int level) {
  static TraceObject trace("Trelvik", level);
  trace.levelHolder()->level = level;
  g_traceObject = &trace;
  counts = {};
}

extern "C" {

/// In place of the C library's.
void syslog(int priority, const char* format, ...) {
  constexpr int warning = 4;
  char line[8192];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  ++fuzzLog::counts.lines;
  if (priority <= warning) ++fuzzLog::counts.warnings;
  fuzzLog::counts.longest = std::max(fuzzLog::counts.longest, static_cast<size_t>(std::max(length, 0)));
}
}
