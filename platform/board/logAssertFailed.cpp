#include "logAssertFailed.h"

#include "board/platformTrace.h"

void logAssertFailed(const char* expression, const char* file, const char* function) {
  TRACE_TO(platformTrace(), ERROR, "board", __LINE__, __func__, "Assertion failed: %s, %s, %s", expression,
           file, function);
}
